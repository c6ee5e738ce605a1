// The inner loops of SBR and parametric stereo, which exist once for every processor and once for those with
// 256-bit integer vectors. Both forms are made from one source and give the same bits.
#pragma once

#include <cstdint>

#include "aacdec/sbr/ps_synthesis.h"
#include "aacdec/sbr/sbr_qmf.h"

namespace zdr::aacdec {

// A whitening filter of two taps and what it is applied to.
struct PatchFilter {
  int source = 0;  // rows
  int target = 0;
  // Complex, Q28: of the sample before, and of the one before that.
  int32_t tap1_re = 0, tap1_im = 0;
  int32_t tap2_re = 0, tap2_im = 0;
  int shift = 28;  // right, of the result
};

// Sums over a row of |x[n]|^2 and of x[n + lag] conj(x[n]).
struct LaggedSums {
  int64_t energy = 0;
  int64_t re1 = 0, im1 = 0;
  int64_t re2 = 0, im2 = 0;
};

struct SbrKernels {
  // See qmf_analyse and qmf_synthesise.
  void (*analyse)(const int16_t* pcm, int stride, QmfAnalysisState& state, QmfScratch& scratch,
                  QmfMatrix& bands);
  void (*synthesise)(const QmfMatrix& bands, int band_count, int scale_bits, QmfSynthesisState& state,
                     QmfScratch& scratch, int16_t* pcm, int stride);
  // target[s] = (2^28 source[s] + tap1 source[s - 1] + tap2 source[s - 2]) / 2^shift, for s from kLeadSlots
  // to the end of the row; what stands behind it is overwritten. Results of 2^31 and more wrap. Returns which
  // bits the absolute values of the row have.
  uint32_t (*patch)(QmfMatrix& bands, const PatchFilter& filter);
  // Of n from 0 to count - 1. Rows may be read up to 9 values behind the last one that counts.
  void (*correlate)(const int32_t* re, const int32_t* im, int count, LaggedSums& sums);
  uint64_t (*measure_energy)(const int32_t* re, const int32_t* im, int count);
  // Multiplies by mantissa / 2^shift, shift 1 to 62. Results of 2^31 and more wrap.
  void (*apply_gain)(int32_t* re, int32_t* im, int count, int32_t mantissa, int shift);

  // Parametric stereo, in this order, see PsSynthesis::process. Splits the lowest bands into ps.hybrid and
  // limits the samples of all bands.
  void (*split_bands)(QmfMatrix& bands, PsSynthesis& ps);
  // Fills ps.energy by parameter band and slot.
  void (*measure_energies)(const QmfMatrix& bands, PsSynthesis& ps);
  // Fills ps.decorrelated.
  void (*decorrelate)(const QmfMatrix& bands, PsSynthesis& ps);
  // Makes left of `bands` and fills ps.right.
  void (*mix_channels)(PsSynthesis& ps, QmfMatrix& bands);
};

// Of this processor.
const SbrKernels& sbr_kernels();

extern const SbrKernels kBaseSbrKernels;
// Only where use_wide_vectors() can be true.
extern const SbrKernels kWideSbrKernels;

}  // namespace zdr::aacdec
