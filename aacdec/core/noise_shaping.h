// Temporal noise shaping (TNS; ISO/IEC 14496-3, 4.6.9): linear prediction along the lines of a spectrum.
#pragma once

#include <cstdint>

#include "aacdec/syntax/frame.h"

namespace zdr::aacdec {

inline constexpr int kShapingScratch = kMaxChannels * kFrameLength;

// Runs the filters of all channels over their spectra, saturating. `scratch` holds kShapingScratch values.
void shape_noise(Frame& frame, const StreamFormat& format, int32_t* scratch);

// The inverse filters of a channel over `lines`: LTP adds its prediction to a spectrum that is still to be
// shaped. `scratch` holds kFrameLength values.
void undo_noise_shaping(const ChannelStream& channel, const StreamFormat& format, int32_t* lines,
                        int32_t* scratch);

}  // namespace zdr::aacdec
