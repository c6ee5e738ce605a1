// Concealment of lost frames. A short gap is bridged by the mean of the spectra at its edges; a longer one
// fades by halves to silence. After a gap the level recovers by one step per frame.
#pragma once

#include "aacdec/syntax/frame.h"

namespace zdr::aacdec {

struct LossCounters {
  static constexpr int kMaxLevel = 5;
  // Gaps of at least this many frames are faded instead of bridged.
  static constexpr int kLongGap = 3;
  // Up to this level, received frames are output unfaded.
  static constexpr int kFullLevel = 2;

  int lost = 0;   // consecutive lost frames
  int level = 0;  // depth of the fade, 0 to kMaxLevel

  void count_lost();
  // Kept: a received frame never lowers the level below 1, so every burst of losses after the first one
  // starts one step further down.
  void count_received();
  bool is_long_gap() const { return lost >= kLongGap; }
};

// Attenuates the spectra of both channels by the depth of the fade: to a half at level 2, to a quarter at 3,
// to silence above.
void fade(Frame& frame, int level);

// Turns `held`, the last frame before a gap, into a transition to `next`, the first one after it, by changing
// its spectra and window sequences. Both frames must have the same number of channels.
void bridge(Frame& held, const Frame& next);

// Clears the spectra of both channels.
void silence(Frame& frame);

}  // namespace zdr::aacdec
