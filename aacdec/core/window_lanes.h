// Windows and output of the filter bank (ISO/IEC 14496-3, 4.6.11.3), eight lanes at a time. For kernel files
// only.
#pragma once

#include <cstdint>

#include "aacdec/fixed/fixed_lanes.h"

namespace zdr::aacdec {
namespace {

// The first half of the inverse transform is the second half of y, followed by its negated mirror image.
void window_rise(const int32_t* y, int length, const uint16_t* window, int32_t* out) {
  for (int i = 0; i < length / 2; i += kLanes) {
    const int mirrored = length - kLanes - i;
    const Lanes v = load(y + length / 2 + i);
    const Lanes back = reverse(-v);
    store(out + i, mul_q15(shift_right(v, 8), load_words(window + i)));
    store(out + mirrored, mul_q15(shift_right(back, 8), load_words(window + mirrored)));
  }
}

// The second half is the negated mirror image of the first half of y, followed by that half negated.
void window_fall(const int32_t* y, int length, const uint16_t* window, int32_t* out) {
  for (int i = 0; i < length / 2; i += kLanes) {
    const int late = length / 2 + i;
    const int early = length / 2 - kLanes - i;
    const Lanes v = shift_right(-load(y + i), 8);
    store(out + late, mul_q15(v, reverse(load_words(window + early))));
    store(out + early, mul_q15(reverse(v), reverse(load_words(window + late))));
  }
}

[[gnu::always_inline]] inline Lanes clamp_to_sample(Lanes v) {
  // Kept: the smallest sample is -32767.
  //
  // 32767 - v and v + 32767 are negative outside the range; v has 27 bits.
  const Lanes limit = broadcast(32767);
  const Lanes cut_above = select(sign_mask(limit - v), limit, v);
  return select(sign_mask(cut_above + limit), -limit, cut_above);
}

void put_samples(const int32_t* overlap, const int32_t* time, int count, int16_t* pcm, int stride) {
  for (int i = 0; i < count; i += kLanes) {
    const Lanes samples = clamp_to_sample(shift_right(load(overlap + i) + load(time + i) + 16, 5));
    put_words(pcm + stride * i, samples, stride, i + kLanes == count);
  }
}

}  // namespace
}  // namespace zdr::aacdec
