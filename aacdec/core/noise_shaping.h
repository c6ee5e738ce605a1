// Temporal noise shaping (TNS; ISO/IEC 14496-3, 4.6.9): linear prediction along the lines of a spectrum.
#pragma once

#include <cstdint>

#include "aacdec/syntax/channel_data.h"

namespace zdr::aacdec {

inline constexpr int kShapingScratch = kFrameLength;

// kSynthesis shapes a spectrum, as the decoder does. kAnalysis is the inverse, which LTP applies to a
// predicted spectrum before it is added to one that is still to be shaped.
enum class Shaping { kSynthesis, kAnalysis };

// Runs the channel's filters over `spectrum`, saturating. `scratch` holds kShapingScratch values.
void shape_noise(const ChannelStream& channel, const StreamFormat& format, Shaping direction,
                 int32_t* spectrum, int32_t* scratch);

}  // namespace zdr::aacdec
