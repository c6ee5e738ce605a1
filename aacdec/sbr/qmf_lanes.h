// The QMF banks of SBR (ISO/IEC 14496-3, 4.6.18.4), eight slots at a time, one per lane. Windowing is
// computed as products of rows shifted by whole slots, modulation as complex transforms of 32 or 16 points.
// For kernel files only.
#pragma once

#include <cstdint>
#include <cstring>

#include "aacdec/fixed/half_lanes.h"
#include "aacdec/fixed/wide_lanes.h"
#include "aacdec/sbr/qmf_data.h"
#include "aacdec/sbr/qmf_window_lanes.h"
#include "aacdec/tables/qmf_prototype.h"
#include "aacdec/tables/qmf_twiddles.h"

namespace zdr::aacdec {
namespace {

inline constexpr int kAnalysisHistory = 9;

// Multiply by exp(-i pi / 4) and exp(-i 3 pi / 4).
[[gnu::always_inline]] inline ComplexLanes rotate_eighth(ComplexLanes a) {
  const Factor cosine = factor(kCosineOfEighth);
  return {narrowed(wide_product(a.re + a.im, cosine), 30), narrowed(wide_product(a.im - a.re, cosine), 30)};
}

[[gnu::always_inline]] inline ComplexLanes rotate_three_eighths(ComplexLanes a) {
  return {narrowed(wide_product(a.im - a.re, factor(kCosineOfEighth)), 30),
          narrowed(wide_product(a.re + a.im, factor(-kCosineOfEighth)), 30)};
}

// Multiplies by exp(-i pi kTurn / 8).
template <int kTurn>
[[gnu::always_inline]] inline ComplexLanes rotate_sixteenths(ComplexLanes a) {
  if constexpr (kTurn == 0) return a;
  if constexpr (kTurn == 2) return rotate_eighth(a);
  if constexpr (kTurn == 4) return times_minus_i(a);
  if constexpr (kTurn == 6) return rotate_three_eighths(a);
  constexpr TwiddleQ30 kTwiddle = twiddle(polar_q30(-kTurn, 16));
  return product(a, kTwiddle);
}

// One column of the first passes over 16 values: a transform of the four values that are 4 apart, each result
// rotated.
template <int kColumn>
[[gnu::always_inline]] inline void transform_column(ComplexLanes* x) {
  fourier_4(x[0], x[4], x[8], x[12], x, 4);
  x[4] = rotate_sixteenths<kColumn>(x[4]);
  x[8] = rotate_sixteenths<2 * kColumn>(x[8]);
  x[12] = rotate_sixteenths<3 * kColumn>(x[12]);
}

// Rotates the difference of values n and n + 16 of 32.
template <int n>
[[gnu::always_inline]] inline ComplexLanes rotate_difference(ComplexLanes a) {
  if constexpr (n % 4 == 0) {
    return rotate_sixteenths<n / 2>(a);
  } else {
    return product(a, kFft32Twiddles.entry[n]);
  }
}

template <int kPoints, int kColumn>
[[gnu::always_inline]] inline void first_passes_of_column(ComplexLanes* x) {
  transform_column<kColumn>(x + kColumn);
  if constexpr (kPoints == 32) {
    x[kColumn + 16] = rotate_difference<kColumn>(x[kColumn + 16]);
    x[kColumn + 20] = rotate_difference<kColumn + 4>(x[kColumn + 20]);
    x[kColumn + 24] = rotate_difference<kColumn + 8>(x[kColumn + 24]);
    x[kColumn + 28] = rotate_difference<kColumn + 12>(x[kColumn + 28]);
    transform_column<kColumn>(x + kColumn + 16);
  }
}

// Takes values n and n + 16 of a transform of 32.
[[gnu::always_inline]] inline void take_values(ComplexLanes first, ComplexLanes second, ComplexLanes* x,
                                               int n) {
  x[n] = first + second;
  x[n + 16] = first - second;
}

// All passes but the last of a discrete Fourier transform of kPoints (16 or 32) values, in place. The last
// one, last_pass(), is left to the caller, who can use its results at once.
template <int kPoints>
inline void first_passes(ComplexLanes* x) {
  first_passes_of_column<kPoints, 0>(x);
  first_passes_of_column<kPoints, 1>(x);
  first_passes_of_column<kPoints, 2>(x);
  first_passes_of_column<kPoints, 3>(x);
}

// The frequencies that last_pass() finds for a row are these and those kPoints / 4, kPoints / 2 ... higher.
template <int kPoints>
constexpr int lowest_frequency(int row) {
  return kPoints == 16 ? row : 2 * (row % 4) + row / 4;
}

// The unscaled results of row `row` (below kPoints / 4), in order of frequency.
[[gnu::always_inline]] inline void last_pass(const ComplexLanes* x, int row, ComplexLanes* out) {
  const ComplexLanes* const from = x + 4 * row;
  fourier_4(from[0], from[1], from[2], from[3], out, 1);
}

// --- Analysis ---

// Copies slots of kCoreBands samples one by one: the compiler would turn one large copy into a string
// instruction, which takes longer.
inline void copy_pcm_slots(const int16_t* from, int count, int16_t* to) {
  for (int slot = 0; slot < count; ++slot) {
    std::memcpy(to + slot * kCoreBands, from + slot * kCoreBands, kCoreBands * sizeof *to);
  }
}

inline constexpr int kLoadedSlots = 4;  // at a time

// For slots t from `slot` on, stores samples i of slots t and t - 2 as a pair in rows[i][kFrameColumn + t].
// `from` is the first sample of `slot`; the two slots before it are also read.
inline void load_slots(const int16_t* from, int slot, QmfScratch& scratch) {
  for (int i = 0; i < kCoreBands; i += 8) {
    HalfLanes lower[kLoadedSlots];
    HalfLanes upper[kLoadedSlots];
    for (int t = 0; t < kLoadedSlots; ++t) {
      const int16_t* const at = from + t * kCoreBands + i;
      const EightWords now = load_eight_words(at);
      const EightWords before = load_eight_words(at - 2 * kCoreBands);
      lower[t] = word_pairs<0>(now, before);
      upper[t] = word_pairs<1>(now, before);
    }
    transpose(lower);
    transpose(upper);
    for (int k = 0; k < 4; ++k) {
      store_four(scratch.rows[i + k] + kFrameColumn + slot, lower[k]);
      store_four(scratch.rows[i + 4 + k] + kFrameColumn + slot, upper[k]);
    }
  }
}

// Stores the pairs of all slots that the window reads: from -7 on, and -8 for whole blocks.
inline void load_samples(const int16_t* pcm, QmfAnalysisState& state, QmfScratch& scratch) {
  constexpr int kFirst = 1 - kAnalysisHistory;
  // The history, and the first slots of the frame, whose pairs reach into it. Slot -10, before the history,
  // is in a pair that is not used.
  int16_t early[(1 + kAnalysisHistory + kLoadedSlots) * kCoreBands];
  int16_t* const slot_0 = early + (1 + kAnalysisHistory) * kCoreBands;
  std::memset(early, 0, kCoreBands * sizeof *early);
  copy_pcm_slots(state.history, kAnalysisHistory, early + kCoreBands);
  copy_pcm_slots(pcm, kLoadedSlots, slot_0);
  int slot = kFirst;
  for (; slot < kLoadedSlots; slot += kLoadedSlots) load_slots(slot_0 + slot * kCoreBands, slot, scratch);
  for (; slot < kQmfSlots; slot += kLoadedSlots) load_slots(pcm + slot * kCoreBands, slot, scratch);
  copy_pcm_slots(pcm + (kQmfSlots - kAnalysisHistory) * kCoreBands, kAnalysisHistory, state.history);
}

// Windowed sample n (0 to 63, newest first) of the slots from `column` on, at 2^9 per step of PCM.
inline Lanes analysis_window(const QmfScratch& scratch, int n, int column) {
  const int32_t* const row = scratch.rows[kCoreBands - 1 - n % kCoreBands] + column - n / kCoreBands;
  const AnalysisTaps& taps = kAnalysisTaps.taps[n];
  const Lanes newest = load(row);
  const Lanes centre = load(row - (has_older_neighbour(n) ? 4 : 2));
  const Lanes oldest = load(row - 6);
  const Lanes outer_high =
      pair_product(newest, factor(taps.newest_high)) + pair_product(oldest, factor(taps.oldest_high));
  const Lanes low = pair_product(newest, factor(taps.newest_low)) +
                    pair_product(oldest, factor(taps.oldest_low)) +
                    pair_product(centre, factor(taps.centre_low));
  // Equals the exact sum, rounded by 22 bits.
  const Lanes outer = outer_high + shift_right(low, AnalysisTaps::kOuterBits) + 256;
  return shift_right(pair_product(centre, factor(taps.centre_high)) + shift_right(outer, 3), 6);
}

// The two halves of the 64 windowed samples form one complex signal of 32. Its spectrum at odd frequencies
// contains the even bands and, conjugated, the odd ones.
inline void analyse_slots(const QmfScratch& scratch, int slot, int band_end, QmfMatrix& bands) {
  ComplexLanes x[kCoreBands];
  const int column = kFrameColumn + slot;
  const auto windowed = [&](int n) {
    return ComplexLanes{analysis_window(scratch, n, column),
                        -analysis_window(scratch, n + kCoreBands, column)};
  };
  const auto rotated = [&](int n) { return product(windowed(n), kOddFrequencyTwiddles.entry[n]); };
  take_values(windowed(0), rotated(16), x, 0);
  for (int n = 1; n < 16; ++n) take_values(rotated(n), rotated(n + 16), x, n);
  first_passes<kCoreBands>(x);
  const auto put = [&](int band, ComplexLanes value) {
    if (band >= band_end) return;
    // From 2^8 per step to kSampleScaleBits.
    const ComplexLanes sample = product(value, kQuarterSampleTwiddles.entry[band], 32);
    store(bands.re[band] + kHistorySlots + slot, sample.re);
    store(bands.im[band] + kHistorySlots + slot, sample.im);
  };
  for (int row = 0; row < kCoreBands / 4; ++row) {
    ComplexLanes bins[4];
    last_pass(x, row, bins);
    const int even_band = 2 * lowest_frequency<kCoreBands>(row);
    put(even_band, conjugate(bins[0]));
    put(even_band + 16, conjugate(bins[1]));
    put(31 - even_band, bins[2]);
    put(15 - even_band, bins[3]);
  }
}

void analyse(const int16_t* pcm, int band_end, QmfAnalysisState& state, QmfScratch& scratch,
             QmfMatrix& bands) {
  load_samples(pcm, state, scratch);
  for (int slot = 0; slot < kQmfSlots; slot += kLanes) analyse_slots(scratch, slot, band_end, bands);
}

// --- Synthesis ---

// A mask of all bits up to the highest one in use; -v counts like v - 1.
inline uint32_t used_bits(const QmfMatrix& bands, int band_count) {
  Lanes all{};
  // Where a bit differs from the one below it; the highest such place is one above the highest bit in use.
  const auto changes = [](Lanes v) { return v ^ (v + v); };
  for (int band = 0; band < band_count; ++band) {
    for (int slot = kLeadSlots; slot < kLeadSlots + kQmfSlots; slot += kLanes) {
      all |= changes(load(bands.re[band] + slot)) | changes(load(bands.im[band] + slot));
    }
  }
  const uint32_t top = any_bits(all) >> 1;
  return top == 0 ? 0 : 0xFFFFFFFFU >> __builtin_clz(top);
}

// What the samples of a frame need besides the transforms.
enum class Rescaling {
  kNone,
  kLeft,      // a left shift after them
  kBothWays,  // and a right shift before them; the left shift saturates
};

struct Scaling {
  int right;  // brings all samples below 2^24, so that no sum over all bands overflows
  int left;
  Rescaling kind;
};

// Results are shifted by `left`, and by as much again as the samples are shifted to the right before.
inline Scaling scaling_of(const QmfMatrix& bands, int band_count, int left) {
  const uint32_t used = used_bits(bands, band_count);
  if (used >= 1U << 24) {
    const int right = 8 - __builtin_clz(used);
    return {right, right + left, Rescaling::kBothWays};
  }
  if (left == 0) return {0, 0, Rescaling::kNone};
  // A result is at most the sum of the absolute values of the samples, but for what rounding adds.
  const uint32_t largest = (used + 1) / 2 * 3 * static_cast<uint32_t>(band_count) + (1 << 12);
  return {0, left, largest <= 0x7FFFFFFFU >> left ? Rescaling::kLeft : Rescaling::kBothWays};
}

template <Rescaling kRescaling>
[[gnu::always_inline]] inline Lanes rescaled(Lanes v, Scaling scaling) {
  if (kRescaling == Rescaling::kNone) return v;
  if (kRescaling == Rescaling::kLeft) return v << scaling.left;
  const int32_t limit = 0x7FFFFFFF >> scaling.left;
  return clamped(v, -limit, limit) << scaling.left;
}

template <int kBands>
[[gnu::always_inline]] inline TwiddleQ30 dct_twiddle(int n) {
  return kBands == 64 ? kDct64Twiddles.entry[n] : kDct32Twiddles.entry[n];
}

template <int kBands>
[[gnu::always_inline]] inline ComplexLanes dct_twiddled(ComplexLanes value, int n) {
  return product(value, dct_twiddle<kBands>(n));
}

template <int kBands, Rescaling kRescaling>
[[gnu::always_inline]] inline ComplexLanes band_sample(const QmfMatrix& bands, int band, int column,
                                                       Scaling scaling) {
  const auto scaled = [&](Lanes v) {
    if (kRescaling != Rescaling::kBothWays) return v;
    // No sample is so large that the sum overflows.
    return shift_right(v + (1U << scaling.right >> 1), scaling.right);
  };
  const ComplexLanes sample{scaled(load(bands.re[band] + column)), scaled(load(bands.im[band] + column))};
  return kBands == 64 ? sample : product(sample, kQuarterSampleTwiddles.entry[band]);
}

// product({re, 0}, w) and product({0, im}, w).
[[gnu::always_inline]] inline ComplexLanes real_product(Lanes re, TwiddleQ30 w) {
  return {narrowed(wide_product(re, factor(w.re)), 30),
          narrowed(wide_product(re, factor(w.re_plus_im - w.re)), 30)};
}

[[gnu::always_inline]] inline ComplexLanes imaginary_product(Lanes im, TwiddleQ30 w) {
  return {narrowed(wide_product(im, factor(w.re - w.re_plus_im)), 30),
          narrowed(wide_product(im, factor(w.re)), 30)};
}

// A DCT-IV of the real parts and a DST-IV (as a DCT-IV in reversed order) of the imaginary ones; their sum
// and difference are the two halves of the time signal.
template <int kBands, Rescaling kRescaling>
inline void modulate_slots(const QmfMatrix& bands, int band_end, int slot, Scaling scaling,
                           QmfScratch& scratch) {
  constexpr int kPoints = kBands / 2;
  ComplexLanes cosines[kPoints];
  ComplexLanes sines[kPoints];
  const auto low = [&](int n) {
    return band_sample<kBands, kRescaling>(bands, 2 * n, kLeadSlots + slot, scaling);
  };
  const auto high = [&](int n) {
    return band_sample<kBands, kRescaling>(bands, kBands - 1 - 2 * n, kLeadSlots + slot, scaling);
  };
  const auto cosine = [&](int n) { return dct_twiddled<kBands>({low(n).re, high(n).re}, n); };
  const auto sine = [&](int n) { return dct_twiddled<kBands>({high(n).im, low(n).im}, n); };
  int n = 0;
  if constexpr (kPoints == 32) {
    // Where the higher band is 0.
    for (; kBands - 1 - 2 * n >= band_end && n < 16; ++n) {
      take_values(real_product(low(n).re, dct_twiddle<kBands>(n)), cosine(n + 16), cosines, n);
      take_values(imaginary_product(low(n).im, dct_twiddle<kBands>(n)), sine(n + 16), sines, n);
    }
    for (; n < 16; ++n) {
      take_values(cosine(n), cosine(n + 16), cosines, n);
      take_values(sine(n), sine(n + 16), sines, n);
    }
  } else {
    for (; n < 16; ++n) {
      cosines[n] = cosine(n);
      sines[n] = sine(n);
    }
  }
  first_passes<kPoints>(cosines);
  first_passes<kPoints>(sines);
  const int column = kFrameColumn + slot;
  for (int row = 0; row < kPoints / 4; ++row) {
    ComplexLanes cosine_bins[4];
    ComplexLanes sine_bins[4];
    last_pass(cosines, row, cosine_bins);
    last_pass(sines, row, sine_bins);
    for (int i = 0; i < 4; ++i) {
      const int k = lowest_frequency<kPoints>(row) + i * kPoints / 4;
      const ComplexLanes c = dct_twiddled<kBands>(cosine_bins[i], k);
      const ComplexLanes s = dct_twiddled<kBands>(sine_bins[i], k);
      store(scratch.rows[2 * k] + column, rescaled<kRescaling>(s.re - c.re, scaling));
      store(scratch.rows[2 * kBands - 1 - 2 * k] + column, rescaled<kRescaling>(s.re + c.re, scaling));
      store(scratch.rows[kBands - 1 - 2 * k] + column, rescaled<kRescaling>(s.im + c.im, scaling));
      store(scratch.rows[kBands + 2 * k] + column, rescaled<kRescaling>(s.im - c.im, scaling));
    }
  }
}

template <int kBands>
inline void modulate(const QmfMatrix& bands, int band_end, Scaling scaling, QmfScratch& scratch) {
  for (int slot = 0; slot < kQmfSlots; slot += kLanes) {
    switch (scaling.kind) {
      case Rescaling::kNone:
        modulate_slots<kBands, Rescaling::kNone>(bands, band_end, slot, scaling, scratch);
        break;
      case Rescaling::kLeft:
        modulate_slots<kBands, Rescaling::kLeft>(bands, band_end, slot, scaling, scratch);
        break;
      case Rescaling::kBothWays:
        modulate_slots<kBands, Rescaling::kBothWays>(bands, band_end, slot, scaling, scratch);
        break;
    }
  }
}

template <int kBands>
inline void synthesise_bands(const QmfMatrix& bands, int band_end, int scale_bits, QmfSynthesisState& state,
                             QmfScratch& scratch, const int16_t* left, int16_t* pcm) {
  const Scaling scaling =
      scaling_of(bands, band_end < kBands ? band_end : kBands, kSampleScaleBits - scale_bits);
  for (int n = 0; n < 2 * kBands; ++n) {
    std::memcpy(scratch.rows[n] + kFrameColumn - kSynthesisHistory, state.history[n],
                sizeof state.history[n]);
  }
  modulate<kBands>(bands, band_end, scaling, scratch);
  write_slots<kBands>(scratch, left, pcm);
  for (int n = 0; n < 2 * kBands; ++n) {
    std::memcpy(state.history[n], scratch.rows[n] + kFrameColumn + kQmfSlots - kSynthesisHistory,
                sizeof state.history[n]);
  }
}

void synthesise(const QmfMatrix& bands, int band_count, int band_end, int scale_bits,
                QmfSynthesisState& state, QmfScratch& scratch, const int16_t* left, int16_t* pcm) {
  if (band_count == kQmfBands) {
    synthesise_bands<kQmfBands>(bands, band_end, scale_bits, state, scratch, left, pcm);
  } else {
    synthesise_bands<kCoreBands>(bands, band_end, scale_bits, state, scratch, left, pcm);
  }
}

}  // namespace
}  // namespace zdr::aacdec
