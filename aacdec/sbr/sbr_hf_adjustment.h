// High frequency adjustment (ISO/IEC 14496-3, 4.6.18.7): gives the copied bands the energies that the stream
// tells, and adds noise and sinusoids.
#pragma once

#include "aacdec/fixed/magnitude.h"
#include "aacdec/sbr/sbr_hf_generation.h"
#include "aacdec/sbr/sbr_qmf.h"
#include "aacdec/syntax/sbr_payload.h"

namespace zdr::aacdec {

struct SbrChannelState;

// Squares of what each band of an envelope gets, by band from kx on. Working memory.
struct SbrLevels {
  Magnitude wanted[kQmfBands];   // energy that the stream tells
  Magnitude present[kQmfBands];  // energy of the copied signal
  Magnitude gain[kQmfBands];
  Magnitude noise[kQmfBands];
  Magnitude sine[kQmfBands];
  bool has_sine[kQmfBands];
};

// Turns the generated rows into what is put out, in place. Slots before and behind the frame's envelopes are
// cleared. `fade` halves the levels so many times; kFadeToSilence and more is silence.
inline constexpr int kFadeToSilence = 3;
void adjust_high_bands(const SbrFrame& frame, int channel, int fade, const RowScale (&scales)[kQmfBands],
                       SbrChannelState& state, SbrLevels& levels, QmfMatrix& bands);

}  // namespace zdr::aacdec
