// The filter bank of the core (ISO/IEC 14496-3, 4.6.11): windows, inverse transform and overlap, and the
// forward transform that long term prediction needs.
#pragma once

#include <cstdint>

#include "aacdec/core/core_channel_state.h"
#include "aacdec/syntax/channel_data.h"

namespace zdr::aacdec {

inline constexpr int kFilterBankScratch = 4 * kFrameLength;

// One frame of one channel: kFrameLength lines to as many samples at pcm[i * stride], rounded and cut to
// -32767 .. 32767. Updates the overlap and the window shape of `state`.
void synthesise_channel(const int32_t* spectrum, const IcsInfo& ics, CoreChannelState& state,
                        int32_t* scratch, int16_t* pcm, int stride);

// Windows 2 * kFrameLength samples of scale 2^7 in place as the frame `ics` after a frame of
// `previous_shape` does, and transforms them to kFrameLength lines in the scale of the spectrum. Long windows
// only. `signal` is used up; `lines` must not overlap it.
void analyse_long(int32_t* signal, const IcsInfo& ics, int previous_shape, int32_t* lines);

}  // namespace zdr::aacdec
