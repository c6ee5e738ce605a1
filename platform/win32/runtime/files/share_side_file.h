// Share modes between processes: record locks on an empty side file for each open data file.
#pragma once

#include "platform/win32/runtime/descriptor.h"
#include "platform/win32/runtime/files/share_request.h"
#include "platform/win32/win32_types.h"

namespace zdr::platform {

// Checks the request against all other opens and takes its locks. ERROR_SHARING_VIOLATION, or NO_ERROR with
// the side file, which stays empty without a runtime folder or a lock (reported once to the debug
// output).
DWORD lock_side_file(const FileIdentity& file, const ShareRequest& request, Descriptor& side_file) noexcept;

// Drops the locks, and removes the side file when no other open holds any.
void unlock_side_file(const FileIdentity& file, Descriptor side_file) noexcept;

}  // namespace zdr::platform
