// The public file functions: checks of arguments and handles, and the forms of their results.
#include <limits>
#include <string>

#include "platform/win32/fault_injection.h"
#include "platform/win32/runtime/api_boundary.h"
#include "platform/win32/runtime/files/file_object.h"
#include "platform/win32/runtime/files/file_open.h"
#include "platform/win32/runtime/files/native_path.h"
#include "platform/win32/runtime/handle_table.h"
#include "platform/win32/win32_files.h"

namespace zdr::platform {

namespace {

constexpr uint64_t kLargestPosition = std::numeric_limits<int64_t>::max();
constexpr uint64_t kLargestLowPosition = std::numeric_limits<uint32_t>::max();

// Success sets the last error, from which callers learn whether the file existed.
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
  SetLastError(existed && request.disposition != OPEN_EXISTING ? ERROR_ALREADY_EXISTS : NO_ERROR);
  return handle;
}

// What ReadFile and WriteFile share. `transfer(file, moved)` does the work.
template <class Transfer>
BOOL transfer_file(HANDLE handle, LPDWORD moved_out, LPOVERLAPPED overlapped, Transfer transfer) noexcept {
  if (moved_out == nullptr) return report(ERROR_INVALID_PARAMETER);
  *moved_out = 0;
  if (overlapped != nullptr) return report(ERROR_INVALID_PARAMETER);
  const Pin pin(handle);
  auto* file = pin.as<FileObject>();
  return report(file != nullptr ? transfer(*file, *moved_out) : ERROR_INVALID_HANDLE);
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

// The low word of a valid value may equal the failure value; a last error of NO_ERROR then shows that nothing
// failed.
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

BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD count, LPDWORD got, LPOVERLAPPED overlapped) noexcept {
  return transfer_file(file, got, overlapped, [&](FileObject& object, DWORD& moved) -> DWORD {
    return object.read(buffer, count, moved);
  });
}

BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD count, LPDWORD put, LPOVERLAPPED overlapped) noexcept {
  return transfer_file(file, put, overlapped, [&](FileObject& object, DWORD& moved) -> DWORD {
    return should_fail(FaultPoint::kFileWrite) ? ERROR_DISK_FULL : object.write(buffer, count, moved);
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

DWORD GetFileSize(HANDLE file, LPDWORD high) noexcept {
  uint64_t bytes = 0;
  if (!report(size_of_file(file, bytes))) return INVALID_FILE_SIZE;
  if (high != nullptr) *high = static_cast<DWORD>(bytes >> 32);
  return low_word(bytes);
}

BOOL FlushFileBuffers(HANDLE file) noexcept {
  const Pin pin(file);
  auto* object = pin.as<FileObject>();
  return report(object != nullptr ? object->flush() : ERROR_INVALID_HANDLE);
}

BOOL DeleteFileA(LPCSTR name) noexcept {
  return delete_named(name);
}

BOOL DeleteFileW(LPCWSTR name) noexcept {
  return delete_named(name);
}
