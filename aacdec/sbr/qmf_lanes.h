// The QMF banks of SBR (ISO/IEC 14496-3, 4.6.18.4), eight slots at a time, one per lane. Windowing is
// computed as products of rows shifted by whole slots, modulation as complex transforms of 32 or 16 points.
// For kernel files only.
#pragma once

#include <cstdint>
#include <cstring>

#include "aacdec/fixed/wide_lanes.h"
#include "aacdec/sbr/qmf_data.h"
#include "aacdec/sbr/qmf_window_lanes.h"
#include "aacdec/tables/qmf_prototype.h"
#include "aacdec/tables/qmf_twiddles.h"

namespace zdr::aacdec {
namespace {

inline constexpr int kAnalysisHistory = 9;

// Fourier transform of four values that are `step` apart, in place.
[[gnu::always_inline]] inline void fourier_4(ComplexLanes* x, int step) {
  fourier_4(x[0], x[step], x[2 * step], x[3 * step], x, step);
}

// Multiply by exp(-i pi / 4) and exp(-i 3 pi / 4).
[[gnu::always_inline]] inline ComplexLanes rotate_eighth(ComplexLanes a) {
  const Factor cosine = factor(kCosineOfEighth);
  return {narrowed(wide_product(a.re + a.im, cosine), 30), narrowed(wide_product(a.im - a.re, cosine), 30)};
}

[[gnu::always_inline]] inline ComplexLanes rotate_three_eighths(ComplexLanes a) {
  return {narrowed(wide_product(a.im - a.re, factor(kCosineOfEighth)), 30),
          narrowed(wide_product(a.re + a.im, factor(-kCosineOfEighth)), 30)};
}

inline void transform16(ComplexLanes* x) {
  constexpr TwiddleQ30 kOne = twiddle(polar_q30(-1, 16));
  constexpr TwiddleQ30 kThree = twiddle(polar_q30(-3, 16));
  constexpr TwiddleQ30 kNine = twiddle(polar_q30(-9, 16));
  for (int n = 0; n < 4; ++n) fourier_4(x + n, 4);
  // Value n + 4 p is rotated by n p sixteenths of a turn.
  x[5] = product(x[5], kOne);
  x[6] = rotate_eighth(x[6]);
  x[7] = product(x[7], kThree);
  x[9] = rotate_eighth(x[9]);
  x[10] = times_minus_i(x[10]);
  x[11] = rotate_three_eighths(x[11]);
  x[13] = product(x[13], kThree);
  x[14] = rotate_three_eighths(x[14]);
  x[15] = product(x[15], kNine);
  for (int p = 0; p < 4; ++p) fourier_4(x + 4 * p, 1);
}

// Replaces x[n] by the sum of x[n] and x[n + 16], and returns the difference.
[[gnu::always_inline]] inline ComplexLanes fold(ComplexLanes* x, int n) {
  const ComplexLanes difference = x[n] - x[n + 16];
  x[n] = x[n] + x[n + 16];
  return difference;
}

// Unscaled discrete Fourier transform of kPoints (16 or 32) values in place. Frequency f is stored at
// bin_position<kPoints>(f).
template <int kPoints>
inline void transform(ComplexLanes* x) {
  if constexpr (kPoints == 32) {
    x[16] = fold(x, 0);
    x[20] = rotate_eighth(fold(x, 4));
    x[24] = times_minus_i(fold(x, 8));
    x[28] = rotate_three_eighths(fold(x, 12));
    for (int n = 1; n < 16; ++n) {
      if (n % 4 != 0) x[n + 16] = product(fold(x, n), kFft32Twiddles.entry[n]);
    }
    transform16(x + 16);
  }
  transform16(x);
}

template <int kPoints>
constexpr int bin_position(int f) {
  if constexpr (kPoints == 16) {
    return f % 4 * 4 + f / 4;
  } else {
    return f % 2 * 16 + bin_position<16>(f / 2);
  }
}

// --- Analysis ---

// Stores samples i of slots t and t - 2 as a pair in rows[i][kFrameColumn + t].
inline void load_samples(const int16_t* pcm, int stride, QmfAnalysisState& state, QmfScratch& scratch) {
  constexpr int kHistory = kAnalysisHistory * kCoreBands;
  constexpr int kNew = kQmfSlots * kCoreBands;
  // Slot -10 is in a pair that is loaded but not used.
  int16_t samples[kCoreBands + kHistory + kNew];
  int16_t* const history = samples + kCoreBands;
  std::memset(samples, 0, kCoreBands * sizeof(int16_t));
  std::memcpy(history, state.history, sizeof state.history);
  if (stride == 1) {
    std::memcpy(history + kHistory, pcm, kNew * sizeof(int16_t));
  } else {
    for (int i = 0; i < kNew; ++i) history[kHistory + i] = pcm[2 * i];
  }
  std::memcpy(state.history, history + kNew, sizeof state.history);
  for (int slot = 1 - kAnalysisHistory; slot < kQmfSlots; slot += kLanes) {
    const auto* const from = reinterpret_cast<const uint16_t*>(history) + kHistory + slot * kCoreBands;
    for (int i = 0; i < kCoreBands; i += kLanes) {
      Lanes block[kLanes];
      for (int t = 0; t < kLanes; ++t) {
        const uint16_t* const at = from + t * kCoreBands + i;
        block[t] = pairs_of(load_words(at), load_words(at - 2 * kCoreBands));
      }
      transpose(block);
      for (int k = 0; k < kLanes; ++k) store(scratch.rows[i + k] + kFrameColumn + slot, block[k]);
    }
  }
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
  for (int n = 0; n < kCoreBands; ++n) {
    const ComplexLanes pair{analysis_window(scratch, n, column),
                            -analysis_window(scratch, n + kCoreBands, column)};
    x[n] = n == 0 ? pair : product(pair, kOddFrequencyTwiddles.entry[n]);
  }
  transform<kCoreBands>(x);
  for (int band = 0; band < band_end; ++band) {
    const bool even = band % 2 == 0;
    const ComplexLanes bin = x[bin_position<kCoreBands>(even ? band / 2 : (63 - band) / 2)];
    const ComplexLanes value = even ? conjugate(bin) : bin;
    // From 2^8 per step to kSampleScaleBits.
    const ComplexLanes sample = product(value, kQuarterSampleTwiddles.entry[band], 32);
    store(bands.re[band] + kHistorySlots + slot, sample.re);
    store(bands.im[band] + kHistorySlots + slot, sample.im);
  }
}

void analyse(const int16_t* pcm, int stride, int band_end, QmfAnalysisState& state, QmfScratch& scratch,
             QmfMatrix& bands) {
  load_samples(pcm, stride, state, scratch);
  for (int slot = 0; slot < kQmfSlots; slot += kLanes) analyse_slots(scratch, slot, band_end, bands);
}

// --- Synthesis ---

// The OR of the absolute values of the samples, those of negative ones less 1.
inline uint32_t used_bits(const QmfMatrix& bands, int band_count) {
  Lanes all{};
  for (int band = 0; band < band_count; ++band) {
    for (int slot = kLeadSlots; slot < kLeadSlots + kQmfSlots; slot += kLanes) {
      const Lanes re = load(bands.re[band] + slot);
      const Lanes im = load(bands.im[band] + slot);
      all |= (re ^ sign_mask(re)) | (im ^ sign_mask(im));
    }
  }
  return any_bits(all);
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
  int n = 0;
  // Where the higher band is 0.
  for (; kBands - 1 - 2 * n >= band_end && n < kPoints; ++n) {
    const ComplexLanes low = band_sample<kBands, kRescaling>(bands, 2 * n, kLeadSlots + slot, scaling);
    cosines[n] = real_product(low.re, dct_twiddle<kBands>(n));
    sines[n] = imaginary_product(low.im, dct_twiddle<kBands>(n));
  }
  for (; n < kPoints; ++n) {
    const ComplexLanes low = band_sample<kBands, kRescaling>(bands, 2 * n, kLeadSlots + slot, scaling);
    const ComplexLanes high =
        band_sample<kBands, kRescaling>(bands, kBands - 1 - 2 * n, kLeadSlots + slot, scaling);
    cosines[n] = dct_twiddled<kBands>({low.re, high.re}, n);
    sines[n] = dct_twiddled<kBands>({high.im, low.im}, n);
  }
  transform<kPoints>(cosines);
  transform<kPoints>(sines);
  const int column = kFrameColumn + slot;
  for (int k = 0; k < kPoints; ++k) {
    const ComplexLanes c = dct_twiddled<kBands>(cosines[bin_position<kPoints>(k)], k);
    const ComplexLanes s = dct_twiddled<kBands>(sines[bin_position<kPoints>(k)], k);
    store(scratch.rows[2 * k] + column, rescaled<kRescaling>(s.re - c.re, scaling));
    store(scratch.rows[2 * kBands - 1 - 2 * k] + column, rescaled<kRescaling>(s.re + c.re, scaling));
    store(scratch.rows[kBands - 1 - 2 * k] + column, rescaled<kRescaling>(s.im + c.im, scaling));
    store(scratch.rows[kBands + 2 * k] + column, rescaled<kRescaling>(s.im - c.im, scaling));
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
                             QmfScratch& scratch, int16_t* pcm, int stride) {
  const Scaling scaling =
      scaling_of(bands, band_end < kBands ? band_end : kBands, kSampleScaleBits - scale_bits);
  for (int n = 0; n < 2 * kBands; ++n) {
    std::memcpy(scratch.rows[n] + kFrameColumn - kSynthesisHistory, state.history[n],
                sizeof state.history[n]);
  }
  modulate<kBands>(bands, band_end, scaling, scratch);
  write_slots<kBands>(scratch, pcm, stride);
  for (int n = 0; n < 2 * kBands; ++n) {
    std::memcpy(state.history[n], scratch.rows[n] + kFrameColumn + kQmfSlots - kSynthesisHistory,
                sizeof state.history[n]);
  }
}

void synthesise(const QmfMatrix& bands, int band_count, int band_end, int scale_bits,
                QmfSynthesisState& state, QmfScratch& scratch, int16_t* pcm, int stride) {
  if (band_count == kQmfBands) {
    synthesise_bands<kQmfBands>(bands, band_end, scale_bits, state, scratch, pcm, stride);
  } else {
    synthesise_bands<kCoreBands>(bands, band_end, scale_bits, state, scratch, pcm, stride);
  }
}

}  // namespace
}  // namespace zdr::aacdec
