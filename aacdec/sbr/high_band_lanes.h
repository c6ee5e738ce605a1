// The inner loops of HF generation and HF adjustment (ISO/IEC 14496-3, 4.6.18.6 and 4.6.18.7), eight slots of
// a row at a time: covariances, patching through the whitening filter, energies, gains. For kernel files
// only.
#pragma once

#include "aacdec/fixed/wide_lanes.h"
#include "aacdec/sbr/sbr_kernels.h"

namespace zdr::aacdec {
namespace {

inline constexpr int32_t kTailMasks[2 * kLanes] = {-1, -1, -1, -1, -1, -1, -1, -1};

// All ones in the first min(count, 8) lanes.
[[gnu::always_inline]] inline Lanes first_lanes(int count) {
  return load(kTailMasks + kLanes - (count < kLanes ? count : kLanes));
}

[[gnu::always_inline]] inline int64_t signed_total(const WideLanes& v) {
  return static_cast<int64_t>(total(v));
}

// Adds x[n + lag] conj(x[n]); `late` is x[n + lag], `now` is x[n].
[[gnu::always_inline]] inline void add_lagged(const ComplexLanes& late, const ComplexLanes& now,
                                              WideLanes& re, WideLanes& im) {
  re = re + wide_product(late.re, now.re) + wide_product(late.im, now.im);
  im = im + wide_product(late.im, now.re) - wide_product(late.re, now.im);
}

// Adds |x[n]|^2.
[[gnu::always_inline]] inline void add_energy(const ComplexLanes& now, WideLanes& energy) {
  energy = energy + wide_product(now.re, now.re) + wide_product(now.im, now.im);
}

void correlate(const int32_t* re, const int32_t* im, int count, LaggedSums& sums) {
  WideLanes energy{};
  WideLanes re1{};
  WideLanes im1{};
  WideLanes re2{};
  WideLanes im2{};
  for (int n = 0; n < count; n += kLanes) {
    const Lanes mask = first_lanes(count - n);
    const ComplexLanes now{load(re + n) & mask, load(im + n) & mask};
    add_energy(now, energy);
    add_lagged({load(re + n + 1), load(im + n + 1)}, now, re1, im1);
    add_lagged({load(re + n + 2), load(im + n + 2)}, now, re2, im2);
  }
  sums = {signed_total(energy), signed_total(re1), signed_total(im1), signed_total(re2), signed_total(im2)};
}

uint64_t measure_energy(const int32_t* re, const int32_t* im, int count) {
  WideLanes energy{};
  for (int n = 0; n < count; n += kLanes) {
    const Lanes mask = first_lanes(count - n);
    const ComplexLanes now{load(re + n) & mask, load(im + n) & mask};
    add_energy(now, energy);
  }
  return total(energy);
}

[[gnu::always_inline]] inline Lanes scaled(Lanes v, Factor mantissa, int shift) {
  const WideLanes wide = wide_product(v, mantissa);
  return shift <= 32 ? narrowed(wide, shift) : shift_right_rounded(narrowed(wide, 32), shift - 32);
}

void apply_gain(int32_t* re, int32_t* im, int count, int32_t mantissa, int shift) {
  const Factor by = factor(mantissa);
  for (int n = 0; n < count; n += kLanes) {
    const Lanes mask = first_lanes(count - n);
    for (int32_t* row : {re + n, im + n}) {
      const Lanes v = load(row);
      store(row, select(mask, scaled(v, by, shift), v));
    }
  }
}

uint32_t patch(QmfMatrix& bands, const PatchFilter& filter) {
  const int32_t* const re = bands.re[filter.source];
  const int32_t* const im = bands.im[filter.source];
  const Factor tap1_re = factor(filter.tap1_re);
  const Factor tap1_im = factor(filter.tap1_im);
  const Factor tap2_re = factor(filter.tap2_re);
  const Factor tap2_im = factor(filter.tap2_im);
  Lanes used{};
  // The padding after the row is filtered as well and has no effect on the result.
  for (int s = kLeadSlots; s < kRowSlots; s += kLanes) {
    const ComplexLanes one{load(re + s - 1), load(im + s - 1)};
    const ComplexLanes two{load(re + s - 2), load(im + s - 2)};
    const WideLanes sum_re = widened(load(re + s), 28) + wide_product(one.re, tap1_re) -
                             wide_product(one.im, tap1_im) + wide_product(two.re, tap2_re) -
                             wide_product(two.im, tap2_im);
    const WideLanes sum_im = widened(load(im + s), 28) + wide_product(one.re, tap1_im) +
                             wide_product(one.im, tap1_re) + wide_product(two.re, tap2_im) +
                             wide_product(two.im, tap2_re);
    const ComplexLanes out{narrowed(sum_re, filter.shift), narrowed(sum_im, filter.shift)};
    store(bands.re[filter.target] + s, out.re);
    store(bands.im[filter.target] + s, out.im);
    used |= ((out.re ^ sign_mask(out.re)) | (out.im ^ sign_mask(out.im))) & first_lanes(kRowSlots - s);
  }
  return any_bits(used);
}

}  // namespace
}  // namespace zdr::aacdec
