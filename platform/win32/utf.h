// UTF-8 and UTF-16, one code point at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "win32_types.h"

namespace zdr::platform {

constexpr char32_t kReplacementCharacter = 0xFFFD;

struct DecodedPoint {
  char32_t point;
  size_t units;  // of the input that were read, at least 1
  bool well_formed;
};

// Decodes the first code point of a text that is not empty, by table 3-7 of Unicode 15. An ill-formed
// sequence gives kReplacementCharacter and ends before the first byte that cannot continue it. With
// `keep_surrogates`, a 3-byte surrogate is well formed.
ZDR_PLATFORM_API DecodedPoint decode_utf8(std::string_view bytes, bool keep_surrogates) noexcept;
// A lone surrogate is ill-formed; `point` is the surrogate itself.
ZDR_PLATFORM_API DecodedPoint decode_utf16(std::u16string_view units) noexcept;

// Write the encoding of `point` (any value below 0x110000, surrogates included) and return its length.
ZDR_PLATFORM_API size_t encode_utf8(char32_t point, char (&out)[4]) noexcept;
size_t encode_utf16(char32_t point, char16_t (&out)[2]) noexcept;

// Appends the encoding of `point`. May throw bad_alloc.
inline void append_utf8(std::string& text, char32_t point) {
  char encoded[4];
  text.append(encoded, encode_utf8(point, encoded));
}
// Lone surrogates become 3 bytes each. May throw bad_alloc.
std::string to_utf8(std::u16string_view text);

}  // namespace zdr::platform
