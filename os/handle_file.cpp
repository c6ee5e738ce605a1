// Status-returning face, the functions on an open file.
#include <windows.h>

#include "os/os.h"

namespace {

// Names the version of this layer in every binary that it is linked into.
[[gnu::used]] constexpr char kVersionMarker[] = "VERSION=UTIL_3_2_0";

// The calls that answer with a low word use 0xFFFFFFFF both for failure and for a legal low word; only the
// last error tells them apart.
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
      // Kept: an unknown origin is the beginning.
      return FILE_BEGIN;
  }
}

}  // namespace

int32_t OS_FileRead(void* handle, void* buffer, uint32_t count, uint32_t* bytes_read) noexcept {
  if (!handle || !bytes_read) return FMGR_ERR_BAD_ARGUMENT;
  *bytes_read = 0;
  if (count == 0) return FMGR_OK;
  return ReadFile(handle, buffer, count, bytes_read, nullptr) ? FMGR_OK : FMGR_ERR_READ;
}

int32_t OS_FileWrite(void* handle, const void* buffer, uint32_t count, uint32_t* bytes_written) noexcept {
  // Kept: writing nothing is an error although reading nothing is not.
  if (!handle || !bytes_written || count == 0) return FMGR_ERR_BAD_ARGUMENT;
  *bytes_written = 0;
  return WriteFile(handle, buffer, count, bytes_written, nullptr) ? FMGR_OK : FMGR_ERR_WRITE;
}

int32_t OS_FileSeek(void* handle, uint32_t offset_low, uint32_t offset_high, int32_t whence) noexcept {
  if (!handle) return FMGR_ERR_BAD_ARGUMENT;
  auto high = static_cast<LONG>(offset_high);
  const DWORD low = SetFilePointer(handle, static_cast<LONG>(offset_low), &high, seek_method(whence));
  return failed(low) ? FMGR_ERR_SEEK : FMGR_OK;
}

int32_t OS_FileTell(void* handle, uint64_t* position) noexcept {
  if (!handle || !position) return FMGR_ERR_BAD_ARGUMENT;
  LONG high = 0;
  const DWORD low = SetFilePointer(handle, 0, &high, FILE_CURRENT);
  if (failed(low)) return FMGR_ERR_SEEK;
  // Kept: positions that need the high word read back as 0.
  *position = high == 0 ? low : 0;
  return FMGR_OK;
}

int32_t OS_FileSize(void* handle, uint64_t* size) noexcept {
  if (size) *size = 0;
  if (!handle || !size) return FMGR_ERR_BAD_ARGUMENT;
  DWORD high = 0;
  const DWORD low = GetFileSize(handle, &high);
  if (failed(low)) return FMGR_ERR_GENERIC;
  *size = uint64_t{high} << 32 | low;
  return FMGR_OK;
}

int32_t OS_FileFlush(void* handle) noexcept {
  if (!handle) return FMGR_ERR_BAD_ARGUMENT;
  return FlushFileBuffers(handle) ? FMGR_OK : FMGR_ERR_GENERIC;
}

int32_t OS_FileClose(void* handle) noexcept {
  if (!handle) return FMGR_ERR_BAD_ARGUMENT;
  return CloseHandle(handle) ? FMGR_OK : FMGR_ERR_GENERIC;
}
