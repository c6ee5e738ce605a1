// Concealment of lost frames: how far the sound has faded, and what replaces the spectra of a frame between
// two that arrived.
//
// A short gap is bridged by the mean of the frames at its edges, a longer one fades by halves to silence.
// What was lost comes back the same way: the level rises by one step a frame.
#pragma once

#include <cstdint>

#include "aacdec/syntax/frame.h"

namespace zdr::aacdec {

// Counts losses. `level` is the depth of the fade, 0 to 5.
struct LossCounters {
  static constexpr int kMaxLevel = 5;
  // From this length on a gap is faded instead of bridged.
  static constexpr int kLongGap = 3;
  // Good frames are heard at full level up to this one.
  static constexpr int kAudibleLevel = 2;

  int lost = 0;
  int level = 0;

  void lose();
  // A frame arrived. The level stops at 1 and never returns to 0, so that every burst after the first one
  // begins a step deeper.
  void recover();
  bool is_long_gap() const { return lost >= kLongGap; }
};

// Takes both channels' spectra down to what `level` leaves of them: a half at 2, a quarter at 3, nothing
// above.
void fade(Frame& frame, int level);

// Turns `held`, the last frame ahead of a gap, into the frame that leads over to `next`, the first behind it:
// spectra and window sequences. Both have the same number of channels.
void bridge(Frame& held, const Frame& next);

// Makes the spectra of both channels silent.
void silence(Frame& frame);

}  // namespace zdr::aacdec
