// The filter bank of the core (ISO/IEC 14496-3, 4.6.11): IMDCT, windows and overlap-add, and the forward MDCT
// that LTP needs.
#pragma once

#include <cstdint>

#include "aacdec/core/core_channel_state.h"
#include "aacdec/syntax/channel_data.h"

namespace zdr::aacdec {

inline constexpr int kFilterBankScratch = 4 * kFrameLength;

// Transforms kFrameLength lines to as many samples at pcm[i * stride], rounded and clamped to -32767 ..
// 32767. Updates the overlap and the window shape of `state`. `scratch` holds kFilterBankScratch values.
void synthesise_channel(const int32_t* spectrum, const IcsInfo& ics, CoreChannelState& state,
                        int32_t* scratch, int16_t* pcm, int stride);

// Forward transform, for long windows only: 2 * kFrameLength samples at 2^7 per step of PCM to kFrameLength
// lines in the scale of the spectrum, with the windows of `ics` after a frame of `previous_shape`. Overwrites
// `signal`, which `lines` must not overlap.
void analyse_long(int32_t* signal, const IcsInfo& ics, int previous_shape, int32_t* lines);

}  // namespace zdr::aacdec
