// Constant factors in the form that products of vectors need.
#pragma once

#include <cstdint>

namespace zdr::aacdec {

// |factor| with its 16-bit halves exchanged, so that a product of words multiplies each
// half by the other one of the second factor.
constexpr int32_t prepared_factor(int32_t factor) {
  const auto word = static_cast<uint32_t>(factor);
  const uint32_t bits = factor < 0 ? 0U - word : word;
  return static_cast<int32_t>(bits << 16 | bits >> 16);
}

}  // namespace zdr::aacdec
