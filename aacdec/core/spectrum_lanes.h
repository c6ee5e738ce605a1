// The inner loops of the spectral tools, eight lanes at a time: M/S and intensity stereo, and the all-pole
// filter of TNS. For kernel files only.
#pragma once

#include <algorithm>
#include <cstdint>

#include "aacdec/core/core_kernels.h"
#include "aacdec/fixed/bounded_products.h"
#include "aacdec/fixed/fixed_lanes.h"
#include "aacdec/fixed/fixed_point.h"
#include "aacdec/fixed/half_lanes.h"

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

uint32_t combined_magnitudes(const int32_t* in, int count) {
  Lanes seen = {};
  int i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    seen |= each([](Register x) { return absolute(x); }, load(in + i));
  }
  uint32_t bits = any_bits(seen);
  for (; i < count; ++i) bits |= magnitude(in[i]);
  return bits;
}

struct Scaling {
  int left, right;  // one of them is 0
  int32_t factor;
  Lanes negation;
};

[[gnu::always_inline]] inline Lanes scaled(Lanes v, const Scaling& by) {
  const Lanes sign = sign_mask(v);
  Lanes bits = (v ^ sign) - sign;
  // The magnitude of kInt32Min is one too large for a signed word.
  bits = (bits - (bits >> 31)) << by.left >> by.right;
  if (by.factor != 0) bits = mul_q31(bits, broadcast(by.factor));
  const Lanes new_sign = sign ^ by.negation;
  return (bits ^ new_sign) - new_sign;
}

void scale(const int32_t* in, int32_t* out, int count, int shift, int32_t factor, bool negate) {
  const Scaling by = {std::max(-shift, 0), std::max(shift, 0), factor, broadcast(negate ? -1 : 0)};
  int i = 0;
  for (; i + kLanes <= count; i += kLanes) store(out + i, scaled(load(in + i), by));
  if (i < count) store_half(out + i, scaled(load_half(in + i), by));
}

// Moves all lanes of `low` down by one; the last one becomes the first lane of `high`.
[[gnu::always_inline]] inline Lanes moved_down(Lanes low, Lanes high) {
  const Lanes middle = joined(upper_half(low), lower_half(high));
  return shuffle<1, 2, 3, 8, 5, 6, 7, 12>(low, middle);
}

// Taps for lines below 2^30.
struct BoundedTaps {
  Lanes prepared, signs;

  [[gnu::always_inline]] explicit BoundedTaps(Lanes taps) : prepared(prepared_lanes(taps)), signs(taps) {}
  [[gnu::always_inline]] Lanes operator*(Lanes v) const {
    const auto product = [](Register x, Register y) { return bounded_product_q31(absolute(x), y); };
    return with_signs(with_signs(each(product, v, prepared), v), signs);
  }
};

struct GeneralTaps {
  Lanes taps;

  [[gnu::always_inline]] explicit GeneralTaps(Lanes values) : taps(values) {}
  [[gnu::always_inline]] Lanes operator*(Lanes v) const { return mul_q31_limited(v, taps); }
};

// Each output contributes to the next two lines by scalar products, and to later lines through lanes that
// accumulate their sums. No step therefore waits for a vector product. kVectors: 0, 1 or 2 for filters of up
// to 2, 10 or 18 taps.
template <class Taps, int kVectors>
inline bool run_all_pole(const AllPoleFilter& described, const LineSequence& lines, int64_t limit) {
  const AllPoleFilter filter = described;  // which the output cannot overlap
  constexpr int kNear = AllPoleFilter::kNearTaps;
  static_assert(kNear == 2);
  const Taps low_taps(load(filter.a + kNear));
  const Taps high_taps(load(filter.a + kNear + kLanes));
  Lanes low = {};
  Lanes high = {};
  int64_t nearest = 0;  // the product of the newest line for the next one
  // The other sums for the next line, and those for the line after it.
  int64_t next = 0;
  int64_t after_next = 0;
  const int64_t half = filter.shift == 0 ? 0 : int64_t{1} << (filter.shift - 1);
  const auto [in, out, count, step] = lines;
  for (int n = 0; n < count; ++n) {
    const int64_t rest = (int64_t{in[n * step]} << filter.shift) - (next << filter.exponent);
    const int64_t line = rest - (nearest << filter.exponent);
    if (line > limit || line < -limit) return false;
    out[n * step] = static_cast<int32_t>((line + half) >> filter.shift);
    const auto newest = static_cast<int32_t>(line);
    nearest = aacdec::mul_q31(newest, filter.a[0]);
    next = after_next;
    after_next = aacdec::mul_q31(newest, filter.a[1]);
    if constexpr (kVectors == 0) continue;
    after_next += static_cast<int32_t>(lane(low, 0));
    const Lanes value = broadcast(newest);
    low = moved_down(low, kVectors == 2 ? high : Lanes{}) + low_taps * value;
    if constexpr (kVectors == 2) high = moved_down(high, Lanes{}) + high_taps * value;
  }
  return true;
}

template <class Taps>
bool run_all_pole(const AllPoleRun& run, int64_t limit) {
  const auto& [filter, lines] = run;
  if (filter.taps <= AllPoleFilter::kNearTaps) return run_all_pole<Taps, 0>(filter, lines, limit);
  if (filter.taps <= AllPoleFilter::kNearTaps + kLanes) return run_all_pole<Taps, 1>(filter, lines, limit);
  return run_all_pole<Taps, 2>(filter, lines, limit);
}

bool all_pole(const AllPoleRun& run) {
  constexpr int32_t kBound = (1 << 30) - 1;
  const int32_t limit = run.filter.limit;
  if (run_all_pole<BoundedTaps>(run, std::min(limit, kBound))) return true;
  return limit > kBound && run_all_pole<GeneralTaps>(run, limit);
}

}  // namespace
}  // namespace zdr::aacdec
