// GetTempPathW and GetTempFileNameW.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "platform/win32/file_names.h"
#include "platform/win32/runtime/api_boundary.h"
#include "platform/win32/runtime/errno_map.h"
#include "platform/win32/runtime/files/native_path.h"
#include "platform/win32/win32_paths.h"

namespace zdr::platform {

namespace {

// Room that the folder must leave for `/`, prefix, number, `.TMP` and NUL.
constexpr size_t kTempNameTail = 14;

std::string temp_folder() {
  for (const char* variable : {"TMP", "TEMP", "USERPROFILE", "TMPDIR"}) {
    const char* value = std::getenv(variable);
    if (value == nullptr || *value == '\0') continue;
    std::string folder = value;
    if (map_to_native(folder) != NO_ERROR) continue;
    if (folder.back() != '/') folder += '/';
    return folder;
  }
  return P_tmpdir "/";
}

std::string temp_name(const std::string& stem, UINT number) {
  char digits[8];
  std::snprintf(digits, sizeof digits, "%x", number & 0xFFFFu);
  return stem + digits + ".TMP";
}

DWORD create_empty(const std::string& name) noexcept {
  const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (file < 0) {
    if (errno == EEXIST) return ERROR_FILE_EXISTS;
    return errno == ENOENT || errno == ENOTDIR ? ERROR_DIRECTORY : error_from_errno(errno);
  }
  close(file);
  return NO_ERROR;
}

// Counts up from the clock until a name is free. The number 0 would mean failure and is never used.
DWORD create_unique(const std::string& stem, UINT& number, std::string& name) {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  UINT candidate = static_cast<UINT>(now.tv_sec * 1000 + now.tv_nsec / 1'000'000) & 0xFFFFu;
  for (uint32_t tries = 0; tries < 0x10000; ++tries, candidate = (candidate + 1) & 0xFFFFu) {
    if (candidate == 0) continue;
    name = temp_name(stem, candidate);
    const DWORD error = create_empty(name);
    if (error == ERROR_FILE_EXISTS) continue;
    number = candidate;
    return error;
  }
  return ERROR_FILE_EXISTS;
}

// The folder with its separator, and up to three characters of the prefix.
DWORD temp_stem(LPCWSTR directory, LPCWSTR prefix, std::string& stem) {
  if (directory == nullptr) return ERROR_INVALID_PARAMETER;
  if (std::char_traits<WCHAR>::length(directory) > MAX_PATH - kTempNameTail) return ERROR_BUFFER_OVERFLOW;
  if (*directory != 0) {
    if (const DWORD error = native_path(directory, stem); error != NO_ERROR) return error;
  }
  if (stem.empty() || stem.back() != '/') stem += '/';
  if (prefix != nullptr) stem += native_file_name(std::u16string_view(prefix).substr(0, 3));
  return NO_ERROR;
}

}  // namespace

}  // namespace zdr::platform

using namespace zdr::platform;

DWORD GetTempPathW(DWORD size, LPWSTR buffer) noexcept {
  DWORD length = 0;
  const DWORD error = guarded([&] {
    length = fill_or_size(utf16_file_name(temp_folder()), buffer, size);
    return DWORD{NO_ERROR};
  });
  return report(error) ? length : 0;
}

UINT GetTempFileNameW(LPCWSTR directory, LPCWSTR prefix, UINT unique, LPWSTR buffer) noexcept {
  UINT number = unique;
  const DWORD error = guarded([&]() -> DWORD {
    std::string stem;
    if (buffer == nullptr) return ERROR_INVALID_PARAMETER;
    if (const DWORD failure = temp_stem(directory, prefix, stem); failure != NO_ERROR) return failure;
    std::string name = temp_name(stem, unique);
    if (unique == 0) {
      if (const DWORD failure = create_unique(stem, number, name); failure != NO_ERROR) return failure;
    }
    const std::u16string text = utf16_file_name(name);
    return fill_or_size(text, buffer, MAX_PATH) == text.size() ? NO_ERROR : ERROR_BUFFER_OVERFLOW;
  });
  return report(error) ? number : 0;
}
