// Walks over the frames of an AAC stream without frame headers. Only parsing a frame finds its end.
#pragma once

#include <cstdint>
#include <functional>

#include "aacdec/zd_aac_dec.h"
#include "host/inspect/files/file_stream.h"

namespace zdr::host {

struct RawFrames {
  uint64_t count = 0;
  uint64_t end = 0;  // offset after the last whole frame
};

// Walks from `begin` to `end`, or until a frame cannot be parsed. Calls `on_frame` with the number (from 1),
// the offset and the size of each frame; returning false ends the walk. `config` describes the stream.
RawFrames walk_raw_frames(
    FileStream& stream, uint64_t begin, uint64_t end, const Zd_AAC_Dec_Config& config,
    const std::function<bool(uint64_t number, uint64_t offset, uint32_t size)>& on_frame);

}  // namespace zdr::host
