// Parses the text form of GUIDs: at compile time for the constants of our headers, which can therefore be
// written as GUIDs are printed, and at run time for CLSIDFromString.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace zdr::com {

// Length of "8-4-4-4-12" without braces.
inline constexpr std::size_t kGuidTextLength = 36;

// True if "8-4-4-4-12" has a dash at this position.
constexpr bool is_guid_dash(std::size_t position) noexcept {
  return position == 8 || position == 13 || position == 18 || position == 23;
}

template <class Char>
constexpr int hex_digit_value(Char c) noexcept {
  if (c >= '0' && c <= '9') return static_cast<int>(c) - '0';
  if (c >= 'A' && c <= 'F') return static_cast<int>(c) - 'A' + 10;
  if (c >= 'a' && c <= 'f') return static_cast<int>(c) - 'a' + 10;
  return -1;
}

// Assembles a GUID from its 16 bytes in printing order: the first three fields are printed most
// significant byte first, the last eight bytes in memory order.
constexpr GUID guid_from_printed_bytes(const uint8_t (&bytes)[16]) noexcept {
  GUID guid{};
  guid.Data1 = static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
               static_cast<uint32_t>(bytes[2]) << 8 | static_cast<uint32_t>(bytes[3]);
  guid.Data2 = static_cast<uint16_t>(bytes[4] << 8 | bytes[5]);
  guid.Data3 = static_cast<uint16_t>(bytes[6] << 8 | bytes[7]);
  for (std::size_t i = 0; i < 8; ++i) guid.Data4[i] = bytes[8 + i];
  return guid;
}

// Parses "8-4-4-4-12" (no braces, digits of either case); nullopt for text of any other form.
template <class Char>
constexpr std::optional<GUID> parse_guid(std::basic_string_view<Char> text) noexcept {
  if (text.size() != kGuidTextLength) return std::nullopt;
  uint8_t bytes[16] = {};
  std::size_t digits = 0;
  for (std::size_t i = 0; i < kGuidTextLength; ++i) {
    if (is_guid_dash(i)) {
      if (text[i] != '-') return std::nullopt;
      continue;
    }
    const int value = hex_digit_value(text[i]);
    if (value < 0) return std::nullopt;
    bytes[digits / 2] = static_cast<uint8_t>(bytes[digits / 2] << 4 | value);
    ++digits;
  }
  return guid_from_printed_bytes(bytes);
}

// For constants: malformed text fails to compile, because throwing is not a constant expression.
constexpr GUID guid(std::string_view text) {
  const std::optional<GUID> parsed = parse_guid(text);
  if (!parsed) throw std::invalid_argument("not a GUID");
  return *parsed;
}

}  // namespace zdr::com
