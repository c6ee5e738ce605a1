#include "aacdec/sbr/sbr_kernels.h"

#include <algorithm>

#include "aacdec/fixed/cpu.h"

namespace zdr::aacdec {

const SbrKernels& sbr_kernels() {
#if defined(__x86_64__)
  if (use_wide_vectors()) return kWideSbrKernels;
#endif
  return kBaseSbrKernels;
}

void clear_columns(QmfMatrix& bands, int row, int first, int end) {
  std::fill(bands.re[row] + first, bands.re[row] + end, 0);
  std::fill(bands.im[row] + first, bands.im[row] + end, 0);
}

void qmf_analyse(const int16_t* pcm, int stride, QmfAnalysisState& state, QmfScratch& scratch,
                 QmfMatrix& bands) {
  sbr_kernels().analyse(pcm, stride, state, scratch, bands);
}

void qmf_synthesise(const QmfMatrix& bands, int band_count, int scale_bits, QmfSynthesisState& state,
                    QmfScratch& scratch, int16_t* pcm, int stride) {
  sbr_kernels().synthesise(bands, band_count, scale_bits, state, scratch, pcm, stride);
}

}  // namespace zdr::aacdec
