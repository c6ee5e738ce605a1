// The inner loops of HF generation and HF adjustment (ISO/IEC 14496-3, 4.6.18.6 and 4.6.18.7), eight slots of
// a row at a time: covariances, patching through the whitening filter, energies, gains. For kernel files
// only.
#pragma once

#include "aacdec/fixed/wide_lanes.h"
#include "aacdec/sbr/sbr_kernels.h"
#include "aacdec/tables/sbr_noise.h"

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

// Adds x[n + lag] conj(x[n]), with three multiplications; `late` is x[n + lag], `now` is x[n].
[[gnu::always_inline]] inline void add_lagged(const ComplexLanes& late, const ComplexLanes& now,
                                              WideLanes& re, WideLanes& im) {
  const WideLanes common = wide_product(late.re + late.im, now.re);
  re = re + common - wide_product(late.im, now.re - now.im);
  im = im + common - wide_product(late.re, now.re + now.im);
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
  Lanes bits{};
  static_assert(kRowSlots % kLanes == 0);
  for (int n = 0; n < kRowSlots; n += kLanes) {
    const ComplexLanes all{load(re + n), load(im + n)};
    bits |= each(absolute, all.re) | each(absolute, all.im);
    const Lanes mask = first_lanes(count - n);
    const ComplexLanes now{all.re & mask, all.im & mask};
    add_energy(now, energy);
    add_lagged({load(re + n + 1), load(im + n + 1)}, now, re1, im1);
    add_lagged({load(re + n + 2), load(im + n + 2)}, now, re2, im2);
  }
  sums = {signed_total(energy), signed_total(re1), signed_total(im1),
          signed_total(re2),    signed_total(im2), any_bits(bits)};
}

void measure_rows(const QmfMatrix& bands, int row, int count, int first, int end, uint64_t* sums) {
  for (int i = 0; i < count; ++i) {
    WideLanes energy{};
    for (int n = first; n < end; n += kLanes) {
      const Lanes mask = first_lanes(end - n);
      const ComplexLanes now{load(bands.re[row + i] + n) & mask, load(bands.im[row + i] + n) & mask};
      add_energy(now, energy);
    }
    sums[i] = total(energy);
  }
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

// noise * mantissa / 2^shift, rounded half up. With a shift of 33 or more the lower words change nothing.
[[gnu::always_inline]] inline Lanes scaled_noise(Lanes noise, Factor mantissa, int shift) {
  return shift_right(upper_words(wide_product(noise, mantissa)) + (1U << (shift - 33)), shift - 32);
}

// The noise of eight slots.
[[gnu::always_inline]] inline ComplexLanes noise_of_slots(int index, int step) {
  ComplexLanes noise;
  load_pairs([=](int slot) { return kSbrNoiseQ31[(index + slot * step) & (kSbrNoiseLength - 1)]; }, noise.re,
             noise.im);
  return noise;
}

void apply_gain_and_noise(int32_t* re, int32_t* im, int count, int32_t mantissa, int shift,
                          const NoiseMix& noise) {
  const Factor by = factor(mantissa);
  const Factor noise_by = factor(noise.mantissa);
  int index = noise.index;
  for (int n = 0; n < count; n += kLanes) {
    const ComplexLanes pair = noise_of_slots(index, noise.step);
    index += kLanes * noise.step;
    const Lanes mask = first_lanes(count - n);
    const auto mixed = [&](Lanes v, Lanes by_noise) {
      return select(mask, scaled(v, by, shift) + scaled_noise(by_noise, noise_by, noise.shift), v);
    };
    store(re + n, mixed(load(re + n), pair.re));
    store(im + n, mixed(load(im + n), pair.im));
  }
}

[[gnu::always_inline]] inline ComplexLanes load_complex(const int32_t* re, const int32_t* im) {
  return {load(re), load(im)};
}

// A tap in the form for products with three multiplications.
struct Tap {
  Factor re, re_plus_im, im_minus_re;

  Tap(int32_t tap_re, int32_t tap_im)
      : re(factor(tap_re)), re_plus_im(factor(tap_re + tap_im)), im_minus_re(factor(tap_im - tap_re)) {}
};

// How a sample is added to the sum of its two predecessors.
enum class PatchAddition {
  kRounded,   // it is a multiple of the unit of the result
  kInTheSum,  // before rounding
};

template <PatchAddition kAddition>
[[gnu::always_inline]] inline Lanes patched(Lanes sample, const WideLanes& sum, int shift) {
  if constexpr (kAddition == PatchAddition::kInTheSum) {
    return narrowed(widened(sample, 28) + sum, shift);
  } else {
    return (sample << (28 - shift)) + narrowed(sum, shift);
  }
}

template <PatchAddition kAddition>
[[gnu::always_inline]] inline uint32_t patch_row(QmfMatrix& bands, const PatchFilter& filter) {
  const int32_t* const re = bands.re[filter.source];
  const int32_t* const im = bands.im[filter.source];
  const Tap tap1(filter.tap1_re, filter.tap1_im);
  const Tap tap2(filter.tap2_re, filter.tap2_im);
  Lanes used{};
  for (int s = kLeadSlots; s < filter.end; s += kLanes) {
    const ComplexLanes one = load_complex(re + s - 1, im + s - 1);
    const ComplexLanes two = load_complex(re + s - 2, im + s - 2);
    const WideLanes common = wide_product(one.re + one.im, tap1.re) + wide_product(two.re + two.im, tap2.re);
    const WideLanes sum_re =
        common - wide_product(one.im, tap1.re_plus_im) - wide_product(two.im, tap2.re_plus_im);
    const WideLanes sum_im =
        common + wide_product(one.re, tap1.im_minus_re) + wide_product(two.re, tap2.im_minus_re);
    const ComplexLanes out{patched<kAddition>(load(re + s), sum_re, filter.shift),
                           patched<kAddition>(load(im + s), sum_im, filter.shift)};
    store(bands.re[filter.target] + s, out.re);
    store(bands.im[filter.target] + s, out.im);
    used |= ((out.re ^ sign_mask(out.re)) | (out.im ^ sign_mask(out.im))) & first_lanes(filter.end - s);
  }
  return any_bits(used);
}

uint32_t patch(QmfMatrix& bands, const PatchFilter& filter) {
  return filter.shift <= 28 ? patch_row<PatchAddition::kRounded>(bands, filter)
                            : patch_row<PatchAddition::kInTheSum>(bands, filter);
}

}  // namespace
}  // namespace zdr::aacdec
