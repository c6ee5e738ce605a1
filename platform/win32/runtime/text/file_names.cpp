// Conversion of file names, code point by code point.
#include "platform/win32/file_names.h"

#include "platform/win32/runtime/text/utf.h"

namespace zdr::platform {

std::string utf8_file_name(std::u16string_view name) {
  std::string result;
  result.reserve(name.size());
  while (!name.empty()) {
    const DecodedPoint decoded = decode_utf16(name);
    char encoded[4];
    result.append(encoded, encode_utf8(decoded.point, encoded));
    name.remove_prefix(decoded.units);
  }
  return result;
}

std::u16string utf16_file_name(std::string_view name) {
  std::u16string result;
  result.reserve(name.size());
  while (!name.empty()) {
    const DecodedPoint decoded = decode_utf8(name, true);
    char16_t encoded[2];
    result.append(encoded, encode_utf16(decoded.point, encoded));
    name.remove_prefix(decoded.units);
  }
  return result;
}

}  // namespace zdr::platform
