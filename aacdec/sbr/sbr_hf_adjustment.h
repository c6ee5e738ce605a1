// High frequency adjustment (ISO/IEC 14496-3, 4.6.18.7): gives the copied bands the energies that the stream
// tells, and adds noise and sinusoids.
#pragma once

#include "aacdec/sbr/qmf_data.h"
#include "aacdec/sbr/sbr_channel_state.h"
#include "aacdec/sbr/sbr_levels.h"
#include "aacdec/syntax/sbr_frame.h"

namespace zdr::aacdec {

// Turns the generated rows into what is put out, in place. Slots before and behind the frame's envelopes are
// cleared. `fade` halves the levels so many times; kFadeToSilence and more is silence.
inline constexpr int kFadeToSilence = 3;
void adjust_high_bands(const SbrFrame& frame, int channel, int fade, const RowScale (&scales)[kQmfBands],
                       SbrChannelState& state, SbrLevels& levels, QmfMatrix& bands);

}  // namespace zdr::aacdec
