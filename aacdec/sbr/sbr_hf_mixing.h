// The last step of HF adjustment (ISO/IEC 14496-3, 4.6.18.7.6): generated signal times gain, plus noise, plus
// sinusoids (added harmonics).
#pragma once

#include "aacdec/sbr/qmf_data.h"
#include "aacdec/sbr/sbr_channel_state.h"
#include "aacdec/sbr/sbr_levels.h"
#include "aacdec/syntax/sbr_band_tables.h"

namespace zdr::aacdec {

// The slots of one envelope, in output slots.
struct MixedSlots {
  int first;
  int end;
  bool transient;  // no noise, no smoothing
  bool smooth;     // the frame's gains are smoothed over time
};

// Mixes in place. Gain, noise and sine in `levels` are amplitudes. Advances noise, sinusoids and the
// smoothing history in `state`. Results stay below 2^31 for any levels, because gain, noise and sinusoids are
// each limited to 2^kPartBits.
void mix_high_bands(const SbrBandTables& tables, const MixedSlots& slots, const SbrLevels& levels,
                    SbrChannelState& state, QmfMatrix& bands);

}  // namespace zdr::aacdec
