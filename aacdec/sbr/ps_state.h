// The state and working memory of parametric stereo synthesis, shared with its kernels.
#pragma once

#include <cstdint>

#include "aacdec/sbr/qmf_data.h"
#include "aacdec/syntax/ps_payload.h"

namespace zdr::aacdec {

inline constexpr int kSplitBands = 3;    // QMF bands that are split
inline constexpr int kHybridBands = 10;  // sub-bands that result
inline constexpr int kSubBands = kHybridBands + kQmfBands - kSplitBands;
inline constexpr int kAllPassBands = 30;  // sub-bands with the all-pass chain; those above are only delayed
inline constexpr int kAllPassLanes = 32;
inline constexpr int kAllPassLinks = 3;
inline constexpr int kHybridDelay = 6;  // slots that the hybrid filters read before and after the current one
inline constexpr int kLongDelay = 14;   // slots, of sub-bands from kAllPassBands on
inline constexpr int kLongDelayStride = 24;
inline constexpr int kShortDelay = 1;  // slots, of sub-bands from kShortDelayBand on
inline constexpr int kShortDelayBand = 42;

// Internal samples are at 2^5 per step of PCM and limited to 2^27, twice full scale, so that nothing
// overflows: the all-pass chain amplifies the largest complex sample at most 5.2 times, to 2^29.9, and the
// six sub-bands of QMF band 0, signal and copy, add up to 2^30.6 in a channel. Left and right are output at
// 2^4 per step.
inline constexpr int kPsScaleBits = 5;
inline constexpr int kPsOutputScaleBits = 4;

struct ComplexRow {
  alignas(64) int32_t re[kQmfSlots];
  alignas(64) int32_t im[kQmfSlots];
};

// Delay lines, one lane per sub-band: slot by slot, oldest first.
struct AllPassState {
  static constexpr int kInputSlots = 2;
  alignas(64) int32_t input_re[kInputSlots][kAllPassLanes];
  alignas(64) int32_t input_im[kInputSlots][kAllPassLanes];
  // The delays of the links, 3, 4 and 5 slots, stored in sequence.
  static constexpr int kLinkSlots = 3 + 4 + 5;
  alignas(64) int32_t link_re[kLinkSlots][kAllPassLanes];
  alignas(64) int32_t link_im[kLinkSlots][kAllPassLanes];
};

// These track the energies of the parameter bands to detect transients, in squared units of samples.
struct TransientDetectors {
  alignas(64) uint64_t peak[kPsBands];
  alignas(64) uint64_t smooth[kPsBands];
  alignas(64) uint64_t difference[kPsBands];
};

// The smoothed energy of each parameter band, and 1.5 times the smoothed excess of its peaks, by slot. A slot
// with less energy than this threshold is a transient.
struct Transients {
  uint32_t bands[kQmfSlots];  // one bit per parameter band
  alignas(64) uint64_t energy[kQmfSlots][kPsBands];
  alignas(64) uint64_t threshold[kQmfSlots][kPsBands];
};

// The mixing matrix of one parameter band, Q30: left and right from the signal, then left and right from its
// copy.
inline constexpr int kMixingEntries = 4;
inline constexpr int kLineFraction = 20;  // bits after the point of the step between two slots

inline constexpr int kDampingBlock = 8;  // slots

struct PsSynthesisState {
  // State of the signal, carried from frame to frame.
  struct Memory {
    int32_t hybrid_re[kSplitBands][kHybridDelay];
    int32_t hybrid_im[kSplitBands][kHybridDelay];
    AllPassState all_pass;
    // The last slots of the sub-bands before kShortDelayBand; room for the first ones of a frame follows.
    int32_t long_delay_re[kShortDelayBand - kAllPassBands][kLongDelayStride];
    int32_t long_delay_im[kShortDelayBand - kAllPassBands][kLongDelayStride];
    // The last slot of the others.
    int32_t short_delay_re[kSubBands - kShortDelayBand];
    int32_t short_delay_im[kSubBands - kShortDelayBand];
    int delay_end;  // the delay lines of sub-bands from this one on are 0
    TransientDetectors detectors;
  } memory;
  int32_t mixing_q30[kPsBands][kMixingEntries];  // reached at the end of the previous frame
  // The course of the entries over the slots of a frame. steady_slots: the number of latest slots, at most
  // kQmfSlots, that have the present value. At kQmfSlots all slots have it and need not be drawn again.
  alignas(64) int32_t mixing_rows_q30[kPsBands][kMixingEntries][kQmfSlots];
  uint8_t steady_slots[kPsBands][kMixingEntries];

  // Working memory of a frame.
  QmfMatrix right;
  ComplexRow hybrid[kHybridBands];
  ComplexRow decorrelated[kAllPassBands];
  bool mixes_copy[kPsBands];  // false where the copy has no part in either channel; it is not damped then
  // Bit i: whether slots from kDampingBlock * i on are damped. damping_q30 of a band is valid if any bit is
  // set.
  uint8_t damped_blocks[kPsBands];
  alignas(64) int32_t damping_q30[kPsBands][kQmfSlots];
  alignas(64) uint64_t energy[kPsBands][kQmfSlots];
};

}  // namespace zdr::aacdec
