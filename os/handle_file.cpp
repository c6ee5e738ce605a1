// The functions of the status-returning interface that work on an open file.
#include <windows.h>

#include "os/os.h"

namespace {

// Lets the version of this layer be read from every binary that contains it.
[[gnu::used]] constexpr char kVersionMarker[] = "VERSION=UTIL_3_2_0";

// Calls that return a low word return 0xFFFFFFFF both on failure and as a valid low word; only the last error
// distinguishes the two.
bool failed(DWORD low_word) {
  return low_word == 0xFFFFFFFF && GetLastError() != ERROR_SUCCESS;
}

DWORD seek_method(int32_t whence) {
  switch (whence) {
    case OS_SEEK_CURRENT:
      return FILE_CURRENT;
    case OS_SEEK_END:
      return FILE_END;
    default:
      // Kept: an unknown origin counts as the beginning.
      return FILE_BEGIN;
  }
}

}  // namespace

int32_t OS_FileRead(void* handle, void* buffer, uint32_t count, uint32_t* bytes_read) noexcept {
  if (handle == nullptr || bytes_read == nullptr) return FMGR_ERR_BAD_ARGUMENT;
  *bytes_read = 0;
  // Kept: reading 0 bytes succeeds, even on a file that is not open for reading.
  if (count == 0) return FMGR_OK;
  return ReadFile(handle, buffer, count, bytes_read, nullptr) ? FMGR_OK : FMGR_ERR_READ;
}

int32_t OS_FileWrite(void* handle, const void* buffer, uint32_t count, uint32_t* bytes_written) noexcept {
  // Kept: writing 0 bytes is an error, although reading 0 bytes is not.
  if (handle == nullptr || bytes_written == nullptr || count == 0) return FMGR_ERR_BAD_ARGUMENT;
  *bytes_written = 0;
  return WriteFile(handle, buffer, count, bytes_written, nullptr) ? FMGR_OK : FMGR_ERR_WRITE;
}

int32_t OS_FileSeek(void* handle, uint32_t offset_low, uint32_t offset_high, int32_t whence) noexcept {
  if (handle == nullptr) return FMGR_ERR_BAD_ARGUMENT;
  auto high = static_cast<LONG>(offset_high);
  const DWORD low = SetFilePointer(handle, static_cast<LONG>(offset_low), &high, seek_method(whence));
  return failed(low) ? FMGR_ERR_SEEK : FMGR_OK;
}

int32_t OS_FileTell(void* handle, uint64_t* position) noexcept {
  if (handle == nullptr || position == nullptr) return FMGR_ERR_BAD_ARGUMENT;
  LONG high = 0;
  const DWORD low = SetFilePointer(handle, 0, &high, FILE_CURRENT);
  if (failed(low)) return FMGR_ERR_SEEK;
  // Kept: a position of 4 GiB or more is reported as 0.
  *position = high == 0 ? low : 0;
  return FMGR_OK;
}

int32_t OS_FileSize(void* handle, uint64_t* size) noexcept {
  if (size != nullptr) *size = 0;
  if (handle == nullptr || size == nullptr) return FMGR_ERR_BAD_ARGUMENT;
  DWORD high = 0;
  const DWORD low = GetFileSize(handle, &high);
  if (failed(low)) return FMGR_ERR_GENERIC;
  *size = uint64_t{high} << 32 | low;
  return FMGR_OK;
}

int32_t OS_FileFlush(void* handle) noexcept {
  if (handle == nullptr) return FMGR_ERR_BAD_ARGUMENT;
  return FlushFileBuffers(handle) ? FMGR_OK : FMGR_ERR_GENERIC;
}

int32_t OS_FileClose(void* handle) noexcept {
  if (handle == nullptr) return FMGR_ERR_BAD_ARGUMENT;
  return CloseHandle(handle) ? FMGR_OK : FMGR_ERR_GENERIC;
}
