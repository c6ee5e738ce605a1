// UTF-8 and UTF-16, one code point at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/win32/file_names.h"

namespace zdr::platform {

constexpr char32_t kReplacementCharacter = 0xFFFD;

// What one step over the input found. `units` input units were used (at least 1).
struct DecodedPoint {
  char32_t point;  // kReplacementCharacter when ill-formed
  size_t units;
  bool well_formed;
};

// UTF-8 of Unicode 15, table 3-7. An ill-formed sequence ends before the first byte that cannot continue it,
// so each maximal bad part gives one replacement character. With `keep_surrogates` a 3-byte surrogate counts
// as well formed.
DecodedPoint decode_utf8(std::string_view bytes, bool keep_surrogates) noexcept;
// A lone surrogate is ill-formed and gives itself as `point`.
DecodedPoint decode_utf16(std::u16string_view units) noexcept;

// Both write the encoding of `point` (any value below 0x110000, surrogates included) and give its length.
size_t encode_utf8(char32_t point, char (&out)[4]) noexcept;
size_t encode_utf16(char32_t point, char16_t (&out)[2]) noexcept;

}  // namespace zdr::platform
