// Calls each conversion of the platform twice: for the length, then for the text.
#include "host/wide_text.h"

#include <windows.h>

namespace zdr::host {

std::string to_utf8(std::u16string_view text) {
  if (text.empty()) return {};
  const auto length = static_cast<int>(text.size());
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string out(static_cast<size_t>(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, out.data(), bytes, nullptr, nullptr);
  return out;
}

std::u16string to_wide(std::string_view text) {
  if (text.empty()) return {};
  const auto length = static_cast<int>(text.size());
  const int units = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
  std::u16string out(static_cast<size_t>(units), u'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), length, out.data(), units);
  return out;
}

}  // namespace zdr::host
