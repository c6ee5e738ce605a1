// Decoding of exported registry text.
#include "platform/win32/runtime/registry/export_encoding.h"

#include <cstring>

#include "platform/win32/runtime/text/windows_1252.h"
#include "platform/win32/utf.h"

namespace zdr::platform {

namespace {

constexpr std::string_view kUtf16Mark = "\xFF\xFE";
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

}  // namespace

bool decode_export(std::string_view bytes, std::u16string& text) {
  if (bytes.starts_with(kUtf16Mark)) {
    bytes.remove_prefix(kUtf16Mark.size());
    text.resize(bytes.size() / 2);
    if (!text.empty()) std::memcpy(text.data(), bytes.data(), text.size() * sizeof(char16_t));
    return bytes.size() % 2 == 0;
  }
  if (bytes.starts_with(kUtf8Mark)) bytes.remove_prefix(kUtf8Mark.size());
  text.reserve(bytes.size());
  if (bytes.starts_with("REGEDIT4")) {
    for (const char c : bytes) text += windows_1252_to_unicode(static_cast<unsigned char>(c));
    return true;
  }
  while (!bytes.empty()) {
    const DecodedPoint decoded = decode_utf8(bytes, true);
    if (!decoded.well_formed) return false;
    char16_t units[2];
    text.append(units, encode_utf16(decoded.point, units));
    bytes.remove_prefix(decoded.units);
  }
  return true;
}

}  // namespace zdr::platform
