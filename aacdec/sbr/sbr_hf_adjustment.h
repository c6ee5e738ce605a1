// SBR envelope adjustment (HF adjustment; ISO/IEC 14496-3, 4.6.18.7): scales the generated bands to the
// transmitted energies, and adds noise and sinusoids.
#pragma once

#include "aacdec/sbr/qmf_data.h"
#include "aacdec/sbr/sbr_channel_state.h"
#include "aacdec/sbr/sbr_levels.h"
#include "aacdec/syntax/sbr_frame.h"

namespace zdr::aacdec {

// A fade of this depth or more is silence.
inline constexpr int kFadeToSilence = 3;

// Adjusts the generated rows in place. Output slots before the frame's envelopes are cleared; columns
// before kLeadSlots and slots after the envelopes are undefined. `fade` is the number of times that the
// levels are halved. `levels` is working memory.
void adjust_high_bands(const SbrFrame& frame, int channel, int fade, const RowScale (&scales)[kQmfBands],
                       SbrChannelState& state, SbrLevels& levels, QmfMatrix& bands);

}  // namespace zdr::aacdec
