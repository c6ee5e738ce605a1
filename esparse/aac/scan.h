// Walking over the first frames of a stream, to estimate the rest from them.
#pragma once

#include "esparse/aac/frame_stream.h"

namespace zdr::aacf {

// `audio_bytes`: bytes of the stream without what precedes its first frame. Leaves the stream behind the
// frames walked over.
AACF_StreamInfo scan_stream(FrameStream& stream, uint32_t scan_limit, uint32_t audio_bytes);

}  // namespace zdr::aacf
