// Conversion of file names, code point by code point.
#include "platform/win32/file_names.h"

#include "platform/win32/utf.h"

namespace zdr::platform {

namespace {

constexpr char32_t kEscapes = 0xDC00;  // plus the byte

bool is_escaped_byte(char32_t point) noexcept {
  return point == kLiteralBackslash || (point >= kEscapes + 0x80 && point <= kEscapes + 0xFF);
}

}  // namespace

std::string native_file_name(std::u16string_view name) {
  std::string result;
  result.reserve(name.size());
  while (!name.empty()) {
    const DecodedPoint decoded = decode_utf16(name);
    if (is_escaped_byte(decoded.point)) {
      result += static_cast<char>(decoded.point - kEscapes);
    } else {
      append_utf8(result, decoded.point);
    }
    name.remove_prefix(decoded.units);
  }
  return result;
}

std::u16string utf16_file_name(std::string_view name) {
  std::u16string result;
  result.reserve(name.size());
  while (!name.empty()) {
    const DecodedPoint decoded = decode_utf8(name, false);
    if (decoded.well_formed) {
      char16_t encoded[2];
      result.append(encoded, encode_utf16(decoded.point, encoded));
    } else {
      for (const char byte : name.substr(0, decoded.units)) {
        result += static_cast<char16_t>(kEscapes + static_cast<uint8_t>(byte));
      }
    }
    name.remove_prefix(decoded.units);
  }
  return result;
}

}  // namespace zdr::platform
