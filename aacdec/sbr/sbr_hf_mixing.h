// The last step of high frequency adjustment: copied signal times gain, plus noise, plus sinusoids.
#pragma once

#include "aacdec/sbr/qmf_data.h"
#include "aacdec/sbr/sbr_channel_state.h"
#include "aacdec/sbr/sbr_levels.h"
#include "aacdec/syntax/sbr_bands.h"

namespace zdr::aacdec {

// The slots of one envelope, in output slots.
struct MixedSlots {
  int first;
  int end;
  bool transient;  // no noise, no smoothing
  bool smooth;     // the frame's gains are smoothed over time
};

// `levels` holds roots now. Advances noise, sinusoids and the smoothing history in `state`. Results stay
// below 2^31 whatever the levels: gain, noise and sinusoids are each cut at 2^29.
void mix_high_bands(const SbrBandTables& tables, const MixedSlots& slots, const SbrLevels& levels,
                    const RowScale (&scales)[kQmfBands], SbrChannelState& state, QmfMatrix& bands);

}  // namespace zdr::aacdec
