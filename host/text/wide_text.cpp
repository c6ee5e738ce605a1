// Texts are converted by the platform's public function, first for the length, then for the text.
#include "host/text/wide_text.h"

#include <windows.h>

#include <algorithm>

#include "platform/win32/file_names.h"

namespace zdr::host {

std::string to_utf8(std::u16string_view text) {
  if (text.empty()) return {};
  const auto length = static_cast<int>(text.size());
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string out(static_cast<size_t>(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, out.data(), bytes, nullptr, nullptr);
  return out;
}

std::u16string wide_file_name(std::string_view name) {
  std::u16string wide = platform::utf16_file_name(name);
  std::ranges::replace(wide, u'\\', platform::kLiteralBackslash);
  return wide;
}

std::string native_file_name(std::u16string_view name) {
  return platform::native_file_name(name);
}

}  // namespace zdr::host
