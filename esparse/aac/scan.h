// Scans the first frames of a stream and estimates its bitrate and number of frames.
#pragma once

#include "esparse/aac/frame_stream.h"

namespace zdr::aacf {

// `audio_bytes` is the size of the stream from its first frame on. Afterwards the stream is at the frame
// after the scanned ones.
AACF_StreamInfo scan_stream(FrameStream& stream, uint32_t scan_limit, uint32_t audio_bytes);

}  // namespace zdr::aacf
