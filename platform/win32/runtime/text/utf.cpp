// UTF-8 and UTF-16 decoding and encoding.
#include "platform/win32/utf.h"

namespace zdr::platform {

namespace {

// What the first byte of a UTF-8 sequence determines: the length, and the range of the second byte.
struct LeadByte {
  size_t length;  // 0: not a lead byte
  uint8_t second_low;
  uint8_t second_high;
};

LeadByte classify_lead(uint8_t byte, bool keep_surrogates) noexcept {
  if (byte >= 0xC2 && byte <= 0xDF) return {2, 0x80, 0xBF};
  if (byte == 0xE0) return {3, 0xA0, 0xBF};
  if (byte == 0xED && !keep_surrogates) return {3, 0x80, 0x9F};
  if (byte >= 0xE1 && byte <= 0xEF) return {3, 0x80, 0xBF};
  if (byte == 0xF0) return {4, 0x90, 0xBF};
  if (byte >= 0xF1 && byte <= 0xF3) return {4, 0x80, 0xBF};
  if (byte == 0xF4) return {4, 0x80, 0x8F};
  return {0, 0, 0};
}

bool is_surrogate(char32_t point) noexcept {
  return point >= 0xD800 && point <= 0xDFFF;
}

}  // namespace

DecodedPoint decode_utf8(std::string_view bytes, bool keep_surrogates) noexcept {
  const auto first = static_cast<uint8_t>(bytes[0]);
  if (first < 0x80) return {first, 1, true};
  const LeadByte lead = classify_lead(first, keep_surrogates);
  if (lead.length == 0) return {kReplacementCharacter, 1, false};

  char32_t point = first & (0x7Fu >> lead.length);
  for (size_t i = 1; i < lead.length; ++i) {
    const uint8_t low = i == 1 ? lead.second_low : 0x80;
    const uint8_t high = i == 1 ? lead.second_high : 0xBF;
    const auto byte = static_cast<uint8_t>(i < bytes.size() ? bytes[i] : 0);
    if (byte < low || byte > high) return {kReplacementCharacter, i, false};
    point = (point << 6) | (byte & 0x3Fu);
  }
  return {point, lead.length, true};
}

DecodedPoint decode_utf16(std::u16string_view units) noexcept {
  const char32_t first = units[0];
  if (!is_surrogate(first)) return {first, 1, true};
  const bool high_first = first <= 0xDBFF;
  if (high_first && units.size() > 1 && units[1] >= 0xDC00 && units[1] <= 0xDFFF) {
    return {0x10000 + ((first - 0xD800) << 10) + (units[1] - 0xDC00u), 2, true};
  }
  return {first, 1, false};
}

size_t encode_utf8(char32_t point, char (&out)[4]) noexcept {
  if (point < 0x80) {
    out[0] = static_cast<char>(point);
    return 1;
  }
  const size_t length = point < 0x800 ? 2 : point < 0x10000 ? 3 : 4;
  for (size_t i = length - 1; i > 0; --i) {
    out[i] = static_cast<char>(0x80 | (point & 0x3F));
    point >>= 6;
  }
  constexpr uint8_t kLeadMarks[] = {0, 0, 0xC0, 0xE0, 0xF0};
  out[0] = static_cast<char>(kLeadMarks[length] | point);
  return length;
}

size_t encode_utf16(char32_t point, char16_t (&out)[2]) noexcept {
  if (point < 0x10000) {
    out[0] = static_cast<char16_t>(point);
    return 1;
  }
  point -= 0x10000;
  out[0] = static_cast<char16_t>(0xD800 + (point >> 10));
  out[1] = static_cast<char16_t>(0xDC00 + (point & 0x3FF));
  return 2;
}

std::string to_utf8(std::u16string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const DecodedPoint decoded = decode_utf16(text);
    append_utf8(result, decoded.point);
    text.remove_prefix(decoded.units);
  }
  return result;
}

}  // namespace zdr::platform
