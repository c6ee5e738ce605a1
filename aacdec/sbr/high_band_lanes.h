// The inner loops of HF generation and HF adjustment (ISO/IEC 14496-3, 4.6.18.6 and 4.6.18.7), eight slots of
// a row at a time: covariances, patching through the whitening filter, energies, gains. For kernel files
// only.
#pragma once

#include "aacdec/fixed/wide_lanes.h"
#include "aacdec/sbr/level_lanes.h"
#include "aacdec/sbr/sbr_kernels.h"
#include "aacdec/tables/sbr_noise.h"

namespace zdr::aacdec {
namespace {

inline constexpr int32_t kTailMasks[2 * kLanes] = {-1, -1, -1, -1, -1, -1, -1, -1};

// All ones in the first min(count, 8) lanes.
[[gnu::always_inline]] inline Lanes first_lanes(int count) {
  return load(kTailMasks + kLanes - (count < kLanes ? count : kLanes));
}

// The sums of correlate() in a form that takes six products of each slot instead of eight: with
// z[n] = x[n + lag],
//   |x|^2 = (re x + im x)^2 - 2 (re x)(im x)
//   re z conj(x) = (re z + im x)(im z + re x) - (re z)(im z) - (re x)(im x)
//   im z conj(x) = (im z - im x)(re z + re x) - (re z)(im z) + (re x)(im x)
// The sum of (re z)(im z) differs from that of (re x)(im x) by the slots at both ends.
struct LaggedProducts {
  WideRegister squares;
  WideRegister crossed;  // (re x)(im x)
  WideRegister re1, im1;
  WideRegister re2, im2;
};

// Adds the products of eight slots, those that `mask` keeps.
template <class Mask>
[[gnu::always_inline]] inline void add_lagged(const int32_t* re, const int32_t* im, const Mask& mask,
                                              LaggedProducts& sums) {
  const ComplexLanes x{load(re), load(im)};
  const Lanes both = mask(x.re + x.im);
  sums.squares += folded(wide_product(both, both));
  sums.crossed += folded(wide_product(mask(x.re), x.im));
  const auto add = [&](int lag, WideRegister& re_sum, WideRegister& im_sum) {
    const ComplexLanes z{load(re + lag), load(im + lag)};
    re_sum += folded(wide_product(mask(z.re + x.im), z.im + x.re));
    im_sum += folded(wide_product(mask(z.im - x.im), z.re + x.re));
  };
  add(1, sums.re1, sums.im1);
  add(2, sums.re2, sums.im2);
}

[[gnu::always_inline]] inline uint32_t bits_of_row(const int32_t* re, const int32_t* im) {
  static_assert(kRowSlots % kLanes == 0);
  Lanes bits{};
  for (int n = 0; n < kRowSlots; n += kLanes) {
    bits |= each(absolute, load(re + n)) | each(absolute, load(im + n));
  }
  return any_bits(bits);
}

void correlate(const int32_t* re, const int32_t* im, int count, LaggedSums& sums) {
  LaggedProducts products{};
  const int whole = count & -kLanes;
  for (int n = 0; n < whole; n += kLanes) {
    add_lagged(
        re + n, im + n, [](Lanes v) { return v; }, products);
  }
  const Lanes last = first_lanes(count - whole);
  add_lagged(
      re + whole, im + whole, [last](Lanes v) { return v & last; }, products);

  const auto crossed_at = [=](int n) { return static_cast<uint64_t>(int64_t{re[n]} * im[n]); };
  const uint64_t crossed = total(products.crossed);
  const uint64_t crossed1 = crossed - crossed_at(0) + crossed_at(count);
  const uint64_t crossed2 = crossed1 - crossed_at(1) + crossed_at(count + 1);
  const auto signed_value = [](uint64_t v) { return static_cast<int64_t>(v); };
  sums.energy = signed_value(total(products.squares) - 2 * crossed);
  sums.re1 = signed_value(total(products.re1) - crossed1 - crossed);
  sums.im1 = signed_value(total(products.im1) - crossed1 + crossed);
  sums.re2 = signed_value(total(products.re2) - crossed2 - crossed);
  sums.im2 = signed_value(total(products.im2) - crossed2 + crossed);
  sums.bits = bits_of_row(re, im);
}

[[gnu::always_inline]] inline WideRegister energies(Lanes re, Lanes im) {
  return folded(wide_product(re, re) + wide_product(im, im));
}

void measure_rows(const QmfMatrix& bands, int row, int count, int first, int end, uint64_t* sums) {
  const int whole = first + ((end - first) & -kLanes);
  const Lanes mask = first_lanes(end - whole);
  for (int i = 0; i < count; ++i) {
    const int32_t* const re = bands.re[row + i];
    const int32_t* const im = bands.im[row + i];
    WideRegister energy{};
    for (int n = first; n < whole; n += kLanes) energy = energy + energies(load(re + n), load(im + n));
    if (whole < end) energy = energy + energies(load(re + whole) & mask, load(im + whole) & mask);
    sums[i] = total(energy);
  }
}

// Eight values of a row, and the eight that start one later, for products without moves of lanes.
struct RowLanes {
  Lanes now, next;
};

[[gnu::always_inline]] inline RowLanes load_row(const int32_t* from) {
  return {load(from), load(from + 1)};
}

[[gnu::always_inline]] inline RowLanes operator+(const RowLanes& a, const RowLanes& b) {
  return {a.now + b.now, a.next + b.next};
}

[[gnu::always_inline]] inline WideLanes wide_product(const RowLanes& a, Factor b) {
  return wide_product(a.now, a.next, b);
}

// Half of the unit after a shift, 0 for a shift of 0.
[[gnu::always_inline]] inline uint32_t half_of(int shift) {
  return 1U << shift >> 1;
}

// Products with mantissa / 2^shift. Shifts above 32 are rounded in two steps and so need another form.
struct LargeScale {
  Factor mantissa;
  int shift;

  [[gnu::always_inline]] Lanes operator()(const RowLanes& v) const {
    return narrowed(wide_product(v, mantissa), shift);
  }
};

struct SmallScale {
  Factor mantissa;
  uint32_t half;
  int shift;

  [[gnu::always_inline]] SmallScale(int32_t value, int all_shift)
      : mantissa(factor(value)), half(half_of(all_shift - 32)), shift(all_shift - 32) {}
  // Rounded to the upper word first.
  [[gnu::always_inline]] Lanes operator()(const RowLanes& v) const {
    return shift_right(narrowed(wide_product(v, mantissa), 32) + half, shift);
  }
  // Rounded once: for shifts of 33 and more the lower words change nothing.
  [[gnu::always_inline]] Lanes exact(const RowLanes& v) const {
    return shift_right(upper_words(wide_product(v, mantissa)) + half, shift);
  }
};

// Calls `use` with the form of mantissa / 2^shift that suits.
template <class Use>
[[gnu::always_inline]] inline void with_scale(int32_t mantissa, int shift, Use use) {
  if (shift > 32) {
    use(SmallScale(mantissa, shift));
  } else {
    use(LargeScale{factor(mantissa), shift});
  }
}

void apply_gain(int32_t* re, int32_t* im, int count, int32_t mantissa, int shift) {
  with_scale(mantissa, shift, [&](const auto& scale) {
    for (int n = 0; n < count; n += kLanes) {
      const Lanes mask = first_lanes(count - n);
      for (int32_t* row : {re + n, im + n}) {
        const RowLanes v = load_row(row);
        store(row, select(mask, scale(v), v.now));
      }
    }
  });
}

[[gnu::always_inline]] inline void mix_row(int32_t* re, int32_t* im, int count, int32_t mantissa, int shift,
                                           const NoiseMix& noise) {
  const NoiseTable& table = noise.table;
  const int step = kLanes * table.step;
  const SmallScale noise_scale(noise.mantissa, noise.shift);
  with_scale(mantissa, shift, [&, index = noise.index](const auto& scale) mutable {
    const auto mix_block = [&](int n, const auto& masked) {
      const int place = table.place[index & (kSbrNoiseLength - 1)];
      const auto mix = [&](int32_t* row, const int32_t* noise_row) {
        const RowLanes v = load_row(row);
        store(row, masked(scale(v) + noise_scale.exact(load_row(noise_row)), v.now));
      };
      mix(re + n, table.re + place);
      mix(im + n, table.im + place);
      index += step;
    };
    const int whole = count & -kLanes;
    for (int n = 0; n < whole; n += kLanes) {
      mix_block(n, [](const Lanes& v, const Lanes&) { return v; });
    }
    if (whole == count) return;
    const Lanes mask = first_lanes(count - whole);
    mix_block(whole, [&](const Lanes& v, const Lanes& before) { return select(mask, v, before); });
  });
}

void apply_gain_and_noise(int32_t* re, int32_t* im, int count, int32_t mantissa, int shift,
                          const NoiseMix& noise) {
  mix_row(re, im, count, mantissa, shift, noise);
}

uint64_t mix_rows(QmfMatrix& bands, int row, const SbrLevels& levels, int count, int first, int end,
                  int noise_index) {
  MixFactors factors;
  compute_factors(levels, count, factors);
  uint64_t rest = 0;
  for (int i = 0; i < count; ++i) {
    if (factors.is_plain[i] == 0) {
      rest |= uint64_t{1} << i;
      continue;
    }
    const NoiseMix noise{factors.noise[i], factors.noise_shift[i], noise_index + i, levels.noise_table};
    mix_row(bands.re[row + i] + first, bands.im[row + i] + first, end - first, factors.gain[i],
            factors.gain_shift[i], noise);
  }
  return rest;
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

// `sum` includes the half that rounds it.
template <PatchAddition kAddition>
[[gnu::always_inline]] inline Lanes patched(Lanes sample, const WideLanes& sum, int shift) {
  if constexpr (kAddition == PatchAddition::kInTheSum) {
    return truncated(widened(sample, 28) + sum, shift);
  } else {
    return (sample << (28 - shift)) + truncated(sum, shift);
  }
}

template <PatchAddition kAddition>
[[gnu::always_inline]] inline void patch_row(QmfMatrix& bands, const PatchFilter& filter) {
  const int32_t* const re = bands.re[filter.source];
  const int32_t* const im = bands.im[filter.source];
  const Tap tap1(filter.tap1_re, filter.tap1_im);
  const Tap tap2(filter.tap2_re, filter.tap2_im);
  for (int s = kLeadSlots; s < filter.end; s += kLanes) {
    const RowLanes re1 = load_row(re + s - 1);
    const RowLanes im1 = load_row(im + s - 1);
    const RowLanes re2 = load_row(re + s - 2);
    const RowLanes im2 = load_row(im + s - 2);
    const WideLanes common =
        with_half(wide_product(re1 + im1, tap1.re) + wide_product(re2 + im2, tap2.re), filter.shift);
    const WideLanes sum_re = common - wide_product(im1, tap1.re_plus_im) - wide_product(im2, tap2.re_plus_im);
    const WideLanes sum_im =
        common + wide_product(re1, tap1.im_minus_re) + wide_product(re2, tap2.im_minus_re);
    store(bands.re[filter.target] + s, patched<kAddition>(load(re + s), sum_re, filter.shift));
    store(bands.im[filter.target] + s, patched<kAddition>(load(im + s), sum_im, filter.shift));
  }
}

void patch(QmfMatrix& bands, const PatchFilter& filter) {
  if (filter.shift <= 28) {
    patch_row<PatchAddition::kRounded>(bands, filter);
  } else {
    patch_row<PatchAddition::kInTheSum>(bands, filter);
  }
}

}  // namespace
}  // namespace zdr::aacdec
