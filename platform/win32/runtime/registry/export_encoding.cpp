// Decoding of exported registry text.
#include "platform/win32/runtime/registry/export_encoding.h"

#include <bit>

#include "platform/win32/runtime/text/windows_1252.h"
#include "platform/win32/utf.h"
#include "platform/win32/win32_registry.h"

namespace zdr::platform {

namespace {

constexpr std::string_view kUtf16Mark = "\xFF\xFE";
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

// A power of two.
size_t unit_bytes(DWORD type) noexcept {
  switch (type) {
    case REG_SZ:
    case REG_EXPAND_SZ:
    case REG_MULTI_SZ:
      return sizeof(char16_t);
    case REG_DWORD:
      return sizeof(DWORD);
    case REG_QWORD:
      return sizeof(uint64_t);
    default:
      return 1;
  }
}

}  // namespace

bool decode_export(std::string_view bytes, std::u16string& text) {
  if (bytes.starts_with(kUtf16Mark)) {
    bytes.remove_prefix(kUtf16Mark.size());
    text.resize(bytes.size() / 2);
    for (size_t i = 0; i < text.size(); ++i) {
      const auto low = static_cast<unsigned char>(bytes[2 * i]);
      const auto high = static_cast<unsigned char>(bytes[2 * i + 1]);
      text[i] = static_cast<char16_t>(high << 8 | low);
    }
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

size_t place_of_byte(DWORD type, size_t index, size_t size) noexcept {
  if constexpr (std::endian::native == std::endian::little) return index;
  const size_t unit = unit_bytes(type);
  const bool is_whole = index - index % unit + unit <= size;
  return is_whole ? index ^ (unit - 1) : index;
}

}  // namespace zdr::platform
