// From a caller's file name to the name that the system gets.
#pragma once

#include <string>

#include "platform/win32/win32_types.h"

namespace zdr::platform {

// `\` becomes `/`, a `\\?\` prefix goes, and `X:/` is replaced by the folder that the environment variable
// ZDR_DRIVE_X names (without one: ERROR_PATH_NOT_FOUND). An empty or NULL name is ERROR_PATH_NOT_FOUND too.
// A-names are UTF-8 and longer than MAX_PATH - 1 bytes ERROR_FILENAME_EXCED_RANGE. All may throw bad_alloc.
DWORD native_path(LPCSTR name, std::string& path);
DWORD native_path(LPCWSTR name, std::string& path);

// The same mapping for a name that is already UTF-8 and known not to be empty.
DWORD map_to_native(std::string& path);

}  // namespace zdr::platform
