// Parametric stereo (PS; ISO/IEC 14496-3, subpart 8) in the 20-band configuration: two channels of QMF
// samples from one.
//
// How a frame flows: the lowest three QMF bands are split further (hybrid analysis), which gives 71 sub-bands
// with the others. Each gets a decorrelated copy, by a chain of all-passes or a delay, damped where the
// signal has a transient. Signal and copy are mixed to left and right by the transmitted level differences
// (IID) and coherences (ICC), and the split bands are joined again.
#pragma once

#include "aacdec/sbr/ps_state.h"
#include "aacdec/sbr/qmf_data.h"
#include "aacdec/syntax/ps_payload.h"

namespace zdr::aacdec {

struct PsSynthesis {
  bool active;  // PS data have arrived in this stream
  PsSynthesisState state;

  // Begins a stream. Required before the first use.
  void configure();

  // Clears delay lines and detectors, for a new signal; the parameters reached remain.
  void clear_signal();

  // Makes the left channel of `bands` in place, and state.right. The lowest kSplitBands rows of `bands` must
  // hold kHybridDelay slots more than the frame; rows from `band_end` on are silent. A frame without data
  // continues with the parameters reached.
  void process(const PsFrame& frame, int band_end, QmfMatrix& bands);
};

}  // namespace zdr::aacdec
