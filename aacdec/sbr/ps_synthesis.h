// Parametric stereo (ISO/IEC 14496-3, subpart 8) in the 20-band configuration: two channels of QMF samples
// from one.
//
// How a frame flows: the lowest three QMF bands are split further (hybrid analysis), which with the others
// makes 71 sub-bands; each gets a decorrelated copy, by a chain of all-passes or a delay, damped where the
// signal has a transient; signal and copy are mixed to left and right by the transmitted level differences
// and coherences, and the split bands are put together again.
#pragma once

#include <cstdint>

#include "aacdec/sbr/sbr_qmf.h"
#include "aacdec/syntax/ps_payload.h"

namespace zdr::aacdec {

inline constexpr int kSplitBands = 3;    // QMF bands that are split
inline constexpr int kHybridBands = 10;  // what they become
inline constexpr int kSubBands = kHybridBands + kQmfBands - kSplitBands;
inline constexpr int kAllPassBands = 30;  // sub-bands with the all-pass chain; those above are delayed
inline constexpr int kAllPassLanes = 32;
inline constexpr int kAllPassLinks = 3;
inline constexpr int kHybridDelay = 6;  // slots that the hybrid filters reach back, and ahead
inline constexpr int kLongDelay = 14;   // slots, of sub-bands from kAllPassBands on
inline constexpr int kShortDelay = 1;   // of those from kShortDelayBand on
inline constexpr int kShortDelayBand = 42;

// Samples inside are at 2^5 a step, held below 2^27, twice full scale. Nothing overflows on the way then: the
// all-pass chain makes at most 5.2 times the largest complex sample, 2^29.9, and the six sub-bands of QMF
// band 0, signal and copy, add up to 2^30.6 in a channel. Left and right come out at 2^4 a step.
inline constexpr int kPsScaleBits = 5;
inline constexpr int kPsOutputScaleBits = 4;

struct ComplexRow {
  alignas(64) int32_t re[kQmfSlots];
  alignas(64) int32_t im[kQmfSlots];
};

// Delay lines by sub-band, along lanes: slot by slot, the oldest first.
struct AllPassState {
  static constexpr int kInputSlots = 2;
  alignas(64) int32_t input_re[kInputSlots][kAllPassLanes];
  alignas(64) int32_t input_im[kInputSlots][kAllPassLanes];
  // The links' delays of 3, 4 and 5 slots, one behind the other.
  static constexpr int kLinkSlots = 3 + 4 + 5;
  alignas(64) int32_t link_re[kLinkSlots][kAllPassLanes];
  alignas(64) int32_t link_im[kLinkSlots][kAllPassLanes];
};

// Follows the energy of one parameter band to find transients; in squared units of samples.
struct TransientDetector {
  uint64_t peak;
  uint64_t smooth;
  uint64_t difference;
};

// The mixing matrix of one parameter band, Q30: left and right from the signal, then from its copy.
inline constexpr int kMixingEntries = 4;

struct PsSynthesis {
  bool active;  // parametric stereo data have come
  // Of the signal, from frame to frame.
  struct Memory {
    int32_t hybrid_re[kSplitBands][kHybridDelay];
    int32_t hybrid_im[kSplitBands][kHybridDelay];
    AllPassState all_pass;
    // The last slots of sub-bands from kAllPassBands on.
    int32_t delay_re[kSubBands - kAllPassBands][kLongDelay];
    int32_t delay_im[kSubBands - kAllPassBands][kLongDelay];
    TransientDetector detector[kPsBands];
  } memory;
  int32_t mixing_q30[kPsBands][kMixingEntries];  // reached at the end of the frame before

  // The rest is working memory.
  QmfMatrix right;
  ComplexRow hybrid[kHybridBands];
  ComplexRow decorrelated[kAllPassBands];
  alignas(64) int32_t mixing_rows_q30[kPsBands][kMixingEntries][kQmfSlots];
  alignas(64) int32_t damping_q30[kPsBands][kQmfSlots];
  alignas(64) uint64_t energy[kPsBands][kQmfSlots];

  // Begins a stream.
  void configure();

  // The signal that comes now is another one: delay lines and detectors are cleared. The parameters reached
  // stay.
  void forget_signal();

  // Makes the left channel, in place, and `right` of the slots of `bands`, of which the lowest bands have
  // kHybridDelay more. Bands from `band_end` on are silent. A frame without data goes on with the parameters
  // reached.
  void process(const PsFrame& frame, int band_end, QmfMatrix& bands);
};

}  // namespace zdr::aacdec
