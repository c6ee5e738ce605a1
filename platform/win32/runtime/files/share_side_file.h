// Share modes between processes: record locks on one empty side file for each opened data file.
#pragma once

#include "platform/win32/runtime/files/share_modes.h"

namespace zdr::platform {

// Checks the request against all other opens and takes its locks. NO_ERROR with the side file's descriptor,
// or with -1 when there is no runtime folder or no lock (told once to the debug output); else
// ERROR_SHARING_VIOLATION.
DWORD lock_side_file(const FileIdentity& file, const ShareRequest& request, int& side_file) noexcept;

// Drops the locks, and removes the side file when nobody else holds any.
void unlock_side_file(const FileIdentity& file, int side_file) noexcept;

}  // namespace zdr::platform
