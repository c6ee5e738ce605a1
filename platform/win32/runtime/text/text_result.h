// How functions that answer with a path fill the caller's buffer, for both character types.
#pragma once

#include <cstring>
#include <string>

#include "platform/win32/runtime/text/utf.h"
#include "platform/win32/win32_types.h"

namespace zdr::platform {

template <class Unit>
std::basic_string<Unit> in_units(const std::string& utf8);

template <>
inline std::string in_units<char>(const std::string& utf8) {
  return utf8;
}
template <>
inline std::u16string in_units<char16_t>(const std::string& utf8) {
  return utf16_file_name(utf8);
}

// Length without NUL when text and NUL fit, else the size needed with NUL and an untouched buffer.
template <class Unit>
DWORD fill_or_size(const std::basic_string<Unit>& text, Unit* buffer, DWORD size) noexcept {
  const DWORD length = static_cast<DWORD>(text.size());
  if (buffer == nullptr || size <= length) return length + 1;
  std::memcpy(buffer, text.c_str(), (text.size() + 1) * sizeof(Unit));
  return length;
}

}  // namespace zdr::platform
