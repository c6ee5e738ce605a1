// The inner loops of the spectral tools, eight lanes at a time: M/S and intensity stereo, and the all-pole
// filter of TNS. For kernel files only.
#pragma once

#include <cstdint>

#include "aacdec/core/core_kernels.h"
#include "aacdec/fixed/fixed_lanes.h"
#include "aacdec/fixed/fixed_point.h"

namespace zdr::aacdec {
namespace {

void mid_side(int32_t* left, int32_t* right, int count) {
  int i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    const Lanes mid = load(left + i);
    const Lanes side = load(right + i);
    store(left + i, add_saturating(mid, side));
    store(right + i, sub_saturating(mid, side));
  }
  if (i == count) return;
  const Lanes mid = load_half(left + i);
  const Lanes side = load_half(right + i);
  store_half(left + i, add_saturating(mid, side));
  store_half(right + i, sub_saturating(mid, side));
}

struct Attenuation {
  int shift;
  int32_t factor;
  Lanes negation;
};

[[gnu::always_inline]] inline Lanes attenuated(Lanes v, const Attenuation& by) {
  const Lanes sign = sign_mask(v);
  Lanes bits = (v ^ sign) - sign;
  // The magnitude of kInt32Min is one too large for a signed word.
  bits = (bits - (bits >> 31)) >> by.shift;
  if (by.factor != 0) bits = mul_q31(bits, broadcast(by.factor));
  const Lanes new_sign = sign ^ by.negation;
  return (bits ^ new_sign) - new_sign;
}

void attenuate(const int32_t* in, int32_t* out, int count, int shift, int32_t factor, bool negate) {
  const Attenuation by = {shift, factor, broadcast(negate ? -1 : 0)};
  int i = 0;
  for (; i + kLanes <= count; i += kLanes) store(out + i, attenuated(load(in + i), by));
  if (i < count) store_half(out + i, attenuated(load_half(in + i), by));
}

// Moves all lanes of `low` down by one; the last one becomes the first lane of `high`.
[[gnu::always_inline]] inline Lanes moved_down(Lanes low, Lanes high) {
  constexpr int32_t kLast[kLanes] = {0, 0, 0, 0, 0, 0, 0, -1};
  const Lanes rotated = shuffle<1, 2, 3, 4, 5, 6, 7, 0>(low, low);
  return select(load(kLast), shuffle<1, 2, 3, 4, 5, 6, 7, 0>(high, high), rotated);
}

// Each output contributes to the next two lines by scalar products, and to later lines through lanes that
// accumulate their sums. No step therefore waits for a vector product. kLong: the filter has more than ten
// taps.
template <bool kLong>
inline bool run_all_pole(const AllPoleFilter& described, const int32_t* in, int count, int32_t* out) {
  const AllPoleFilter filter = described;  // which `out` cannot overlap
  constexpr int kNear = AllPoleFilter::kNearTaps;
  const Lanes low_taps = load(filter.a + kNear);
  const Lanes high_taps = load(filter.a + kNear + kLanes);
  Lanes low = {};
  Lanes high = {};
  int32_t before[kNear] = {};
  int32_t next_sums[kNear] = {};
  for (int n = 0; n < count; ++n) {
    const int64_t sum = int64_t{next_sums[0]} + aacdec::mul_q31(filter.a[0], before[0]) +
                        aacdec::mul_q31(filter.a[1], before[1]);
    const int64_t line = (int64_t{in[n]} << filter.shift) - (sum << filter.exponent);
    if (line > filter.limit || line < -filter.limit) return false;
    out[n] = static_cast<int32_t>(line);
    before[1] = before[0];
    before[0] = out[n];
    next_sums[0] = next_sums[1];
    next_sums[1] = static_cast<int32_t>(lane(low, 0));
    const Lanes newest = broadcast(out[n]);
    low = moved_down(low, kLong ? high : Lanes{}) + mul_q31_limited(newest, low_taps);
    if constexpr (kLong) high = moved_down(high, Lanes{}) + mul_q31_limited(newest, high_taps);
  }
  return true;
}

bool all_pole(const AllPoleFilter& filter, const int32_t* in, int count, int32_t* out) {
  bool is_long = false;
  for (int i = AllPoleFilter::kNearTaps + kLanes; i < AllPoleFilter::kTaps; ++i) is_long |= filter.a[i] != 0;
  return is_long ? run_all_pole<true>(filter, in, count, out) : run_all_pole<false>(filter, in, count, out);
}

}  // namespace
}  // namespace zdr::aacdec
