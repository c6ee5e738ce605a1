// Opens a file in one of the OS_OPEN_ modes, for narrow and for wide paths.
#pragma once

#include <windows.h>

#include <iterator>

#include "os/os.h"

namespace zdr::os {

struct OpenMode {
  DWORD access;
  DWORD share;
  DWORD disposition;
};

// Indexed by OS_OPEN_...
inline constexpr OpenMode kOpenModes[] = {
    {GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING},
    {GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_ALWAYS},
    {GENERIC_WRITE, FILE_SHARE_WRITE, CREATE_ALWAYS},
    {GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, CREATE_ALWAYS},
    {GENERIC_READ | GENERIC_WRITE, FILE_SHARE_WRITE, OPEN_ALWAYS},
};

// `Calls` supplies Char and kCreateFile, as NarrowCalls and WideCalls of os/path_calls.h do.
template <class Calls>
int32_t open_file(void** handle, const typename Calls::Char* path, uint32_t mode) {
  if (handle == nullptr) return FMGR_ERR_BAD_ARGUMENT;
  *handle = nullptr;
  if (path == nullptr) return FMGR_ERR_BAD_ARGUMENT;
  if (mode >= std::size(kOpenModes)) return FMGR_ERR_OPEN;
  const OpenMode& how = kOpenModes[mode];
  const HANDLE opened = Calls::kCreateFile(path, how.access, how.share, nullptr, how.disposition,
                                           FILE_ATTRIBUTE_NORMAL, nullptr);
  const DWORD error = GetLastError();
  // Kept: the last error decides. With an error other than these two, a valid handle is refused and stays
  // open.
  if (error != ERROR_SUCCESS && error != ERROR_ALREADY_EXISTS) return FMGR_ERR_OPEN;
  if (opened == INVALID_HANDLE_VALUE) return FMGR_ERR_OPEN;
  if (mode == OS_OPEN_APPEND) SetFilePointer(opened, 0, nullptr, FILE_END);
  *handle = opened;
  return FMGR_OK;
}

}  // namespace zdr::os
