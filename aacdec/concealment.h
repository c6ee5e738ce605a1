// Concealment of lost frames. A short gap is bridged by the mean of the spectra at its edges; a longer one
// fades by halves to silence. After a gap the level recovers by one step per frame.
#pragma once

#include "aacdec/syntax/frame.h"

namespace zdr::aacdec {

struct LossCounters {
  static constexpr int kMaxLevel = 5;
  // Gaps of this many frames and more are faded instead of bridged.
  static constexpr int kLongGap = 3;
  // Up to this level, frames that arrive are output unfaded.
  static constexpr int kFullLevel = 2;

  int lost = 0;   // consecutive lost frames
  int level = 0;  // depth of the fade, 0 to kMaxLevel

  void count_lost();
  // Kept: a frame that arrives lowers the level to 1 at best, never to 0, so that every burst of losses after
  // the first one begins a step deeper.
  void count_received();
  bool is_long_gap() const { return lost >= kLongGap; }
};

// Attenuates the spectra of both channels by the depth of the fade: to a half at level 2, to a quarter at 3,
// to silence above.
void fade(Frame& frame, int level);

// Turns `held`, the last frame before a gap, into a transition to `next`, the first one after it: spectra and
// window sequences. Both must have the same number of channels.
void bridge(Frame& held, const Frame& next);

// Clears the spectra of both channels.
void silence(Frame& frame);

}  // namespace zdr::aacdec
