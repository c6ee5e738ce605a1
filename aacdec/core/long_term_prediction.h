// Long term prediction (LTP; ISO/IEC 14496-3, 4.6.7): predicts a spectrum from the channel's own past output.
#pragma once

#include <cstdint>

#include "aacdec/core/core_channel_state.h"
#include "aacdec/syntax/channel_data.h"

namespace zdr::aacdec {

// Adds the prediction to the bands that use it, saturating. `scratch` holds 4 * kFrameLength values.
void predict_long_term(const ChannelStream& channel, const StreamFormat& format,
                       const CoreChannelState& state, int32_t* spectrum, int32_t* scratch);

// Appends the frame at pcm[i * stride] to the history.
void remember_output(CoreChannelState& state, const int16_t* pcm, int stride);

}  // namespace zdr::aacdec
