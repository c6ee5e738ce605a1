// The windows of short blocks (ISO/IEC 14496-3, 4.6.11.3), eight lanes at a time. For kernel files only.
#pragma once

#include <cstdint>

#include "aacdec/fixed/bounded_products.h"
#include "aacdec/fixed/half_lanes.h"

namespace zdr::aacdec {
namespace {

// The product of mul_q31 for an absolute value up to 2^23 and a window in Q15, up to 2^15, times 2^16.
[[gnu::always_inline]] inline Register window_product(Register a, Register window) {
#ifdef __SSE2__
  // Halves of 15 bits: the upper one, and the lower one doubled. A window of 2^15 fits a signed word if it is
  // negated.
  const Register doubled = a + a;
  const Register low = upper_word_products(doubled, window);
  return low - pair_product(doubled, -(window << 16));
#else
  return (a >> 15) * window + ((a & 0x7FFF) * window >> 15);
#endif
}

// v / 2^8, rounded down, times a window.
[[gnu::always_inline]] inline Lanes windowed(Lanes v, Lanes window) {
  const Lanes shifted = shift_right(v, 8);
  const Lanes product =
      each([](Register x, Register y) { return window_product(absolute(x), y); }, shifted, window);
  return with_signs(product, shifted);
}

// The first half of the inverse transform is the second half of y, followed by its negated mirror image.
void window_rise(const int32_t* y, int length, const uint16_t* window, int32_t* out) {
  for (int i = 0; i < length / 2; i += kLanes) {
    const int mirrored = length - kLanes - i;
    const int32_t* const from = y + length / 2 + i;
    store(out + i, windowed(load(from), load_words(window + i)));
    store(out + mirrored, windowed(-load_reversed(from), load_words(window + mirrored)));
  }
}

// The second half is the negated mirror image of the first half of y, followed by that half negated.
void window_fall(const int32_t* y, int length, const uint16_t* window, int32_t* out) {
  for (int i = 0; i < length / 2; i += kLanes) {
    const int late = length / 2 + i;
    const int early = length / 2 - kLanes - i;
    store_reversed(out + late, windowed(-load_reversed(y + i), load_words(window + early)));
    store_reversed(out + early, windowed(-load(y + i), load_words(window + late)));
  }
}

}  // namespace
}  // namespace zdr::aacdec
