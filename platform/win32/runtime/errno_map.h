// errno to Win32 error code, in this one place.
#pragma once

#include "platform/win32/win32_types.h"

namespace zdr::platform {

// For calls without a path of their own. ENOENT gives ERROR_FILE_NOT_FOUND.
DWORD error_from_errno(int error) noexcept;

// For calls on `native_path`: a missing file (2) is told from a missing folder on the way to it (3).
DWORD path_error_from_errno(int error, const char* native_path) noexcept;

}  // namespace zdr::platform
