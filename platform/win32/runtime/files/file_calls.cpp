// The public file functions.
#include <sys/stat.h>

#include <cerrno>
#include <limits>
#include <optional>
#include <string>

#include "platform/win32/fault_injection.h"
#include "platform/win32/runtime/api_boundary.h"
#include "platform/win32/runtime/errno_map.h"
#include "platform/win32/runtime/files/file_object.h"
#include "platform/win32/runtime/files/file_open.h"
#include "platform/win32/runtime/files/native_path.h"
#include "platform/win32/runtime/handle_table.h"
#include "platform/win32/win32_files.h"

namespace zdr::platform {

namespace {

constexpr uint64_t kLargestPosition = std::numeric_limits<int64_t>::max();
constexpr uint64_t kLargestLowPosition = std::numeric_limits<uint32_t>::max();

// Success sets the last error: callers ask with GetLastError whether the file was there before.
template <class Unit>
HANDLE create_file(const Unit* name, const OpenRequest& request) noexcept {
  Ref<KernelObject> file;
  bool existed = false;
  const DWORD error = guarded([&]() -> DWORD {
    std::string path;
    if (const DWORD failure = native_path(name, path); failure != NO_ERROR) return failure;
    if (should_fail(FaultPoint::kFileOpen)) return ERROR_IO_DEVICE;
    return open_file(path, request, file, existed);
  });
  if (!report(error)) return INVALID_HANDLE_VALUE;
  const HANDLE handle = open_handle(std::move(file));
  if (handle == nullptr) {
    SetLastError(ERROR_TOO_MANY_OPEN_FILES);
    return INVALID_HANDLE_VALUE;
  }
  const bool tells_existence = request.disposition == CREATE_ALWAYS || request.disposition == OPEN_ALWAYS;
  SetLastError(existed && tells_existence ? ERROR_ALREADY_EXISTS : NO_ERROR);
  return handle;
}

std::optional<uint64_t> offset_of(const OVERLAPPED* at) noexcept {
  if (at == nullptr) return std::nullopt;
  return uint64_t{at->OffsetHigh} << 32 | at->Offset;
}

void advance(OVERLAPPED* at, DWORD moved) noexcept {
  if (at == nullptr) return;
  const uint64_t offset = *offset_of(at) + moved;
  at->Offset = static_cast<DWORD>(offset);
  at->OffsetHigh = static_cast<DWORD>(offset >> 32);
}

// What ReadFile and WriteFile share. `transfer(file, offset, moved)` does the work.
template <class Transfer>
BOOL transfer_file(HANDLE handle, LPDWORD moved_out, LPOVERLAPPED at, Transfer transfer) noexcept {
  if (moved_out != nullptr) *moved_out = 0;
  if (moved_out == nullptr && at == nullptr) return report(ERROR_INVALID_PARAMETER);
  const Pin pin(handle);
  auto* file = pin.as<FileObject>();
  if (file == nullptr) return report(ERROR_INVALID_HANDLE);
  DWORD moved = 0;
  const DWORD error = transfer(*file, offset_of(at), moved);
  if (moved_out != nullptr) *moved_out = moved;
  advance(at, moved);
  return report(error);
}

DWORD seek_file(HANDLE handle, int64_t distance, DWORD method, uint64_t limit, uint64_t& position) noexcept {
  const Pin pin(handle);
  auto* file = pin.as<FileObject>();
  if (file == nullptr) return ERROR_INVALID_HANDLE;
  if (should_fail(FaultPoint::kFileSeek)) return ERROR_SEEK;
  return file->seek(distance, method, limit, position);
}

DWORD size_of_file(HANDLE handle, uint64_t& bytes) noexcept {
  const Pin pin(handle);
  auto* file = pin.as<FileObject>();
  if (file == nullptr) return ERROR_INVALID_HANDLE;
  if (should_fail(FaultPoint::kFileSize)) return ERROR_IO_DEVICE;
  return file->size(bytes);
}

// A value whose low word equals the failure mark is told apart by the last error.
DWORD low_word(uint64_t value) noexcept {
  const DWORD low = static_cast<DWORD>(value);
  if (low == INVALID_SET_FILE_POINTER) SetLastError(NO_ERROR);
  return low;
}

template <class Unit>
BOOL delete_named(const Unit* name) noexcept {
  return report(guarded([&]() -> DWORD {
    std::string path;
    const DWORD error = native_path(name, path);
    return error != NO_ERROR ? error : delete_file(path);
  }));
}

DWORD attributes_of(const struct stat& info) noexcept {
  const DWORD read_only = (info.st_mode & 0222) == 0 ? FILE_ATTRIBUTE_READONLY : 0;
  if (S_ISDIR(info.st_mode)) return FILE_ATTRIBUTE_DIRECTORY | read_only;
  return FILE_ATTRIBUTE_ARCHIVE | read_only;
}

template <class Unit>
DWORD attributes_of_named(const Unit* name) noexcept {
  DWORD attributes = INVALID_FILE_ATTRIBUTES;
  report(guarded([&]() -> DWORD {
    std::string path;
    if (const DWORD error = native_path(name, path); error != NO_ERROR) return error;
    struct stat info;
    if (stat(path.c_str(), &info) != 0) return path_error_from_errno(errno, path.c_str());
    attributes = attributes_of(info);
    return NO_ERROR;
  }));
  return attributes;
}

}  // namespace

}  // namespace zdr::platform

using namespace zdr::platform;

HANDLE CreateFileA(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES, DWORD disposition,
                   DWORD flags_and_attributes, HANDLE) noexcept {
  return create_file(name, {access, share, disposition, flags_and_attributes});
}

HANDLE CreateFileW(LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES, DWORD disposition,
                   DWORD flags_and_attributes, HANDLE) noexcept {
  return create_file(name, {access, share, disposition, flags_and_attributes});
}

BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD count, LPDWORD got, LPOVERLAPPED at) noexcept {
  return transfer_file(file, got, at, [&](FileObject& object, std::optional<uint64_t> offset, DWORD& moved) {
    if (should_fail(FaultPoint::kFileRead)) return DWORD{ERROR_IO_DEVICE};
    return object.read(buffer, count, offset, moved);
  });
}

BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD count, LPDWORD put, LPOVERLAPPED at) noexcept {
  return transfer_file(file, put, at, [&](FileObject& object, std::optional<uint64_t> offset, DWORD& moved) {
    if (should_fail(FaultPoint::kFileWrite)) return DWORD{ERROR_DISK_FULL};
    return object.write(buffer, count, offset, moved);
  });
}

DWORD SetFilePointer(HANDLE file, LONG low, PLONG high, DWORD method) noexcept {
  const int64_t distance =
      high == nullptr
          ? int64_t{low}
          : static_cast<int64_t>(uint64_t{static_cast<uint32_t>(*high)} << 32 | static_cast<uint32_t>(low));
  uint64_t position = 0;
  const uint64_t limit = high == nullptr ? kLargestLowPosition : kLargestPosition;
  if (!report(seek_file(file, distance, method, limit, position))) return INVALID_SET_FILE_POINTER;
  if (high != nullptr) *high = static_cast<LONG>(position >> 32);
  return low_word(position);
}

BOOL SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, PLARGE_INTEGER position, DWORD method) noexcept {
  uint64_t reached = 0;
  if (!report(seek_file(file, distance.QuadPart, method, kLargestPosition, reached))) return FALSE;
  if (position != nullptr) position->QuadPart = static_cast<LONGLONG>(reached);
  return TRUE;
}

DWORD GetFileSize(HANDLE file, LPDWORD high) noexcept {
  uint64_t bytes = 0;
  if (!report(size_of_file(file, bytes))) return INVALID_FILE_SIZE;
  if (high != nullptr) *high = static_cast<DWORD>(bytes >> 32);
  return low_word(bytes);
}

BOOL GetFileSizeEx(HANDLE file, PLARGE_INTEGER size) noexcept {
  if (size == nullptr) return report(ERROR_INVALID_PARAMETER);
  uint64_t bytes = 0;
  if (!report(size_of_file(file, bytes))) return FALSE;
  size->QuadPart = static_cast<LONGLONG>(bytes);
  return TRUE;
}

namespace {

template <class Action>
BOOL with_file(HANDLE handle, Action action) noexcept {
  const Pin pin(handle);
  auto* file = pin.as<FileObject>();
  return report(file == nullptr ? ERROR_INVALID_HANDLE : action(*file));
}

}  // namespace

BOOL SetEndOfFile(HANDLE file) noexcept {
  return with_file(file, [](FileObject& object) { return object.cut_at_position(); });
}

BOOL FlushFileBuffers(HANDLE file) noexcept {
  return with_file(file, [](FileObject& object) { return object.flush(); });
}

BOOL DeleteFileA(LPCSTR name) noexcept {
  return delete_named(name);
}

BOOL DeleteFileW(LPCWSTR name) noexcept {
  return delete_named(name);
}

DWORD GetFileAttributesA(LPCSTR name) noexcept {
  return attributes_of_named(name);
}

DWORD GetFileAttributesW(LPCWSTR name) noexcept {
  return attributes_of_named(name);
}
