// Parametric stereo (PS; ISO/IEC 14496-3, subpart 8) in the 20-band configuration: turns one channel of QMF
// samples into two.
//
// Processing of a frame: hybrid analysis splits the lowest three QMF bands further, which gives 71 sub-bands
// in all. A chain of all-passes or a delay makes a decorrelated copy of each, damped where the signal has a
// transient. Signal and copy are mixed to left and right by the transmitted level differences (IID) and
// coherences (ICC), and the split bands are joined again.
#pragma once

#include "aacdec/sbr/ps_state.h"
#include "aacdec/sbr/qmf_data.h"
#include "aacdec/syntax/ps_payload.h"

namespace zdr::aacdec {

struct PsSynthesis {
  bool active;  // PS data have arrived in this stream
  PsSynthesisState state;

  // Starts a stream. Must be called before the first use.
  void configure();

  // Clears delay lines and detectors for a new signal; the current parameters remain.
  void clear_signal();

  // Replaces `bands` with the left channel and writes the right one to state.right. The lowest kSplitBands
  // rows of `bands` must hold kHybridDelay slots more than the frame. Rows from `sounding_end` on are 0;
  // those from `band_end` on are silent after this frame. A frame without data continues with the current
  // parameters.
  void process(const PsFrame& frame, int band_end, int sounding_end, QmfMatrix& bands);
};

}  // namespace zdr::aacdec
