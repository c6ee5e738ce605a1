// The only mapping of errno values to Win32 error codes.
#pragma once

#include "platform/win32/win32_types.h"

namespace zdr::platform {

// For calls without a path of their own. ENOENT is ERROR_FILE_NOT_FOUND.
DWORD error_from_errno(int error) noexcept;

// For calls on `native_path`: ERROR_FILE_NOT_FOUND for a missing file, ERROR_PATH_NOT_FOUND for a missing
// folder.
DWORD path_error_from_errno(int error, const char* native_path) noexcept;

}  // namespace zdr::platform
