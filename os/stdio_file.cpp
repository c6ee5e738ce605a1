// stdio-style functions over the platform's file handles, with the results of the C library.
#include <windows.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "os/os.h"

namespace {

struct FileMode {
  std::string_view strings[3];
  DWORD access;
  DWORD disposition;
};

// Searched from the top.
// Kept: the empty third string of the first row matches an empty mode, which therefore empties the file.
constexpr FileMode OS_FileModeTable[] = {
    {{"w", "wb", ""}, GENERIC_WRITE, CREATE_ALWAYS},
    {{"r", "rb", ""}, GENERIC_READ, OPEN_EXISTING},
    {{"a", "ab", ""}, GENERIC_WRITE, OPEN_ALWAYS},
    {{"r+", "r+b", "rb+"}, GENERIC_READ | GENERIC_WRITE, OPEN_EXISTING},
    {{"w+", "w+b", "wb+"}, GENERIC_READ | GENERIC_WRITE, CREATE_ALWAYS},
    {{"a+", "a+b", "ab+"}, GENERIC_READ | GENERIC_WRITE, OPEN_ALWAYS},
};

const FileMode* find_mode(std::string_view mode) {
  for (const FileMode& row : OS_FileModeTable) {
    if (std::find(std::begin(row.strings), std::end(row.strings), mode) != std::end(row.strings)) return &row;
  }
  return nullptr;
}

// One call of the platform moves at most 2^32 - 1 bytes.
DWORD transfer_bytes(uint32_t size, uint32_t count) {
  return static_cast<DWORD>(std::min<uint64_t>(uint64_t{size} * count, 0xFFFFFFFF));
}

}  // namespace

void* OS_fopen(const char16_t* path, const char* mode) noexcept {
  if (path == nullptr || mode == nullptr) return nullptr;
  const std::string_view mode_string = mode;
  const FileMode* row = find_mode(mode_string);
  if (row == nullptr) return nullptr;
  const HANDLE file = CreateFileW(path, row->access, FILE_SHARE_READ, nullptr, row->disposition,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return nullptr;
  // Kept: only these spellings of the append modes start at the end of the file.
  if (mode_string == "a" || mode_string == "a+") SetFilePointer(file, 0, nullptr, FILE_END);
  return file;
}

uint32_t OS_fread(void* buffer, uint32_t size, uint32_t count, void* handle) noexcept {
  if (size == 0 || count == 0) return 0;
  DWORD moved = 0;
  return ReadFile(handle, buffer, transfer_bytes(size, count), &moved, nullptr) ? moved / size : 0;
}

uint32_t OS_fwrite(const void* buffer, uint32_t size, uint32_t count, void* handle) noexcept {
  if (size == 0 || count == 0) return 0;
  DWORD moved = 0;
  return WriteFile(handle, buffer, transfer_bytes(size, count), &moved, nullptr) ? moved / size : 0;
}

int32_t OS_fseek(void* handle, int32_t offset, int32_t whence) noexcept {
  const DWORD position = SetFilePointer(handle, offset, nullptr, static_cast<DWORD>(whence));
  if (position < INVALID_SET_FILE_POINTER) return 0;
  return GetLastError() != ERROR_SUCCESS ? 1 : 0;
}

int32_t OS_ftell(void* handle) noexcept {
  const DWORD position = SetFilePointer(handle, 0, nullptr, FILE_CURRENT);
  // A position of 2 GiB or more does not fit the result.
  return position > INT32_MAX ? -1 : static_cast<int32_t>(position);
}

int32_t OS_fclose(void* handle) noexcept {
  return CloseHandle(handle) ? 0 : -1;
}
