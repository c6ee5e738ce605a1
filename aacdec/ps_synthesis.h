// Parametric stereo (ISO/IEC 14496-3, subpart 8) in the 20-band configuration: two channels of QMF samples
// from one, by a hybrid filterbank for the lowest bands, a decorrelated copy of the signal, and a mixing
// matrix that follows the transmitted level differences and coherences.
#pragma once

#include <cstdint>

#include "aacdec/ps_payload.h"
#include "aacdec/sbr_qmf.h"

namespace zdr::aacdec {

inline constexpr int kHybridBands = 10;  // made of the lowest three QMF bands
inline constexpr int kSplitQmfBands = 3;
inline constexpr int kSubBands = kHybridBands + kQmfBands - kSplitQmfBands;
inline constexpr int kAllPassBands = 30;  // sub-bands with the all-pass decorrelator; others are delayed
inline constexpr int kAllPassLinks = 3;

struct PsSynthesis {
  bool active;              // parametric stereo data have come
  QmfSynthesisState right;  // of the second channel; the first one has that of its SBR channel

  // Begins a stream.
  void configure();
};

}  // namespace zdr::aacdec
