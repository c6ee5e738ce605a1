// The inner loops of SBR and parametric stereo, compiled once per instruction set. Every variant produces the
// same bits.
#pragma once

#include <cstdint>

#include "aacdec/sbr/ps_state.h"
#include "aacdec/sbr/qmf_data.h"
#include "aacdec/sbr/sbr_levels.h"

namespace zdr::aacdec {

// A whitening filter of two complex taps, and the rows that it reads and writes.
struct PatchFilter {
  int source = 0;  // row
  int target = 0;  // row
  // Q28. Tap 1 weights the previous sample, tap 2 the one before it.
  int32_t tap1_re = 0, tap1_im = 0;
  int32_t tap2_re = 0, tap2_im = 0;
  int shift = 28;       // right shift of the result
  int end = kRowSlots;  // of the slots to compute
};

// Sums over a row of |x[n]|^2 and of x[n + lag] conj(x[n]) for lags 1 and 2.
struct LaggedSums {
  int64_t energy = 0;
  int64_t re1 = 0, im1 = 0;
  int64_t re2 = 0, im2 = 0;
  uint32_t bits = 0;  // the OR of the absolute values
};

// Noise times mantissa / 2^shift.
struct NoiseMix {
  int32_t mantissa = 0;
  int shift = 33;  // 33 to 62
  int index = 0;   // of the first slot
  const NoiseTable& table;
};

struct SbrKernels {
  // QMF analysis: reads 1024 samples, writes slots from kHistorySlots on of the rows up to `band_end`, at
  // most 32.
  void (*analyse)(const int16_t* pcm, int band_end, QmfAnalysisState& state, QmfScratch& scratch,
                  QmfMatrix& bands);
  // QMF synthesis: turns the 32 slots into 32 * `band_count` samples, rounded and clamped to 16 bits. If
  // `left` is null, sample i is written to pcm[i]; otherwise left[i] and sample i are written to pcm[2 * i]
  // and pcm[2 * i + 1]. `band_count` is 64 or 32; 32 uses the lower bands alone. Bands from `band_end` on are
  // 0. Samples in `bands` are at 2^scale_bits per step, of any size below 2^31 - 2^7.
  void (*synthesise)(const QmfMatrix& bands, int band_count, int band_end, int scale_bits,
                     QmfSynthesisState& state, QmfScratch& scratch, const int16_t* left, int16_t* pcm);
  // target[s] = (2^28 source[s] + tap1 source[s - 1] + tap2 source[s - 2]) / 2^shift, for s from kLeadSlots
  // to `end`; up to 7 slots after it are overwritten. Results of 2^31 and more wrap.
  void (*patch)(QmfMatrix& bands, const PatchFilter& filter);
  // Computes the sums over n from 0 to count - 1, and the bits of all kRowSlots values. `count` is at most
  // kRowSlots - 2; samples are below 2^28.
  void (*correlate)(const int32_t* re, const int32_t* im, int count, LaggedSums& sums);
  // Sums |x[n]|^2 over slots [first, end) of `count` rows from `row` on.
  void (*measure_rows)(const QmfMatrix& bands, int row, int count, int first, int end, uint64_t* sums);

  // The kernels that take rows of magnitudes compute the first `count` numbers. The rest of the last block
  // (kMagnitudeBlock) is read and overwritten: its exponents must also stay within 2^28.
  //
  // quotients[i] = numerators[i] / denominators[i] in Q28, rounded half up and saturated. Numerators whose
  // denominators are zero must be zero.
  void (*divide_q28)(const MagnitudeRow& numerators, const MagnitudeRow& denominators, int count,
                     int32_t* quotients);

  // The steps of the HF adjustment that treat all bands alike.
  //
  // Divides by a number that is not zero, unless all levels are.
  void (*divide_levels)(MagnitudeRow& row, int count, Magnitude divisor);
  // noise = target * noise_part, gain = target * signal_part / (1 + present)
  void (*weigh_levels)(SbrLevels& levels, int count);
  // Limits the gains to `factor` and reduces the noise likewise. Multiplies `present` by the gains.
  void (*limit_levels)(SbrLevels& levels, int count);
  // Multiplies gain, noise and, unless sine_count is 0, sine by `factor` and takes their roots.
  void (*finish_levels)(SbrLevels& levels, int count);

  // Multiplies by mantissa / 2^shift, shift 1 to 62. Results of 2^31 and more wrap.
  void (*apply_gain)(int32_t* re, int32_t* im, int count, int32_t mantissa, int shift);
  // The same, and adds noise. Rows may be read up to 8 values past the last one used.
  void (*apply_gain_and_noise)(int32_t* re, int32_t* im, int count, int32_t mantissa, int shift,
                               const NoiseMix& noise);
  // Applies the gains and the noise of `count` bands, from row `row` on, to columns [first, end). The band at
  // index i starts with the noise at noise_index + i. Returns, as bits, the bands that are left as they are:
  // those with a sinusoid, without noise, or whose products may exceed 2^kPartBits. `count` is below 64; rows
  // are read as far as by apply_gain_and_noise().
  uint64_t (*mix_rows)(QmfMatrix& bands, int row, const SbrLevels& levels, int count, int first, int end,
                       int noise_index);

  // The steps of parametric stereo, in call order. Bands from `band_end` on are 0, like their delay lines.
  //
  // Limits the samples, splits the lowest bands into ps.hybrid, and fills ps.energy by parameter band and
  // slot.
  void (*split_bands)(QmfMatrix& bands, int band_end, PsSynthesisState& ps);
  // Updates the detectors with ps.energy and fills `found`.
  void (*find_transients)(PsSynthesisState& ps, Transients& found);
  // Fills ps.decorrelated.
  void (*decorrelate)(const QmfMatrix& bands, PsSynthesisState& ps);
  // row[i] = from + (i + 1) * step / 2^kLineFraction, rounded down, for i below `count`. Up to 7 values after
  // them are read.
  void (*draw_line)(int32_t* row, int count, int32_t from, int64_t step);
  // Writes the left channel to `bands` and the right one to ps.right.
  void (*mix_channels)(PsSynthesisState& ps, int band_end, QmfMatrix& bands);
};

// One table per instruction set, defined in sbr_kernels_VARIANT.cpp.
extern const SbrKernels kBaseSbrKernels;
extern const SbrKernels kSse41SbrKernels;  // exists on x86 only
extern const SbrKernels kAvx2SbrKernels;   // exists on x86 only

// The table for this processor.
const SbrKernels& sbr_kernels();

}  // namespace zdr::aacdec
