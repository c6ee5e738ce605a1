// Converts a caller's file name to the system's, and writes names to a caller's buffer.
#pragma once

#include <cstring>
#include <string>

#include "platform/win32/win32_types.h"

namespace zdr::platform {

// `\` becomes `/`, a `\\?\` prefix is dropped, and `X:/` is replaced by the folder that the environment
// variable ZDR_DRIVE_X names (without one: ERROR_PATH_NOT_FOUND). An empty or null name is
// ERROR_PATH_NOT_FOUND as well. A-names are UTF-8; one of MAX_PATH bytes or more is
// ERROR_FILENAME_EXCED_RANGE. All may throw bad_alloc.
DWORD native_path(LPCSTR name, std::string& path);
DWORD native_path(LPCWSTR name, std::string& path);

// The same mapping for a name in UTF-8.
DWORD map_to_native(std::string& path);

// Returns the length without NUL when text and NUL fit, else the size needed with NUL, leaving the buffer
// alone.
template <class Unit>
DWORD fill_or_size(const std::basic_string<Unit>& text, Unit* buffer, DWORD size) noexcept {
  const DWORD length = static_cast<DWORD>(text.size());
  if (buffer == nullptr || size <= length) return length + 1;
  std::memcpy(buffer, text.c_str(), (text.size() + 1) * sizeof(Unit));
  return length;
}

}  // namespace zdr::platform
