// Lets the decoder measure one raw_data_block after the other (ISO/IEC 14496-3, 4.4.2).
#include "host/inspect/aac/raw_frames.h"

#include <algorithm>

namespace zdr::host {

RawFrames walk_raw_frames(
    FileStream& stream, uint64_t begin, uint64_t end, const Zd_AAC_Dec_Config& config,
    const std::function<bool(uint64_t number, uint64_t offset, uint32_t size)>& on_frame) {
  constexpr uint64_t kLongestFrame = 8192;  // bytes, of two channels
  BlockReader block(stream);
  RawFrames frames{.end = begin};
  while (frames.end < end) {
    const size_t wanted = static_cast<size_t>(std::min(kLongestFrame, end - frames.end));
    const auto bytes = block.from(frames.end, wanted);
    auto length = static_cast<int32_t>(std::min(wanted, bytes.size()));
    Zd_AAC_Dec_Config measured = config;
    measured.extension = ZD_AAC_DEC_EXTENSION_NONE;
    measured.channels = 0;  // of the core
    const int32_t status =
        length == 0 ? ZD_AAC_DEC_ERR_FAILED
                    : Zd_AAC_Dec_GetFrameLength(bytes.data(), ZD_AAC_DEC_STREAM_RAW, &measured, &length, 0);
    if (status != ZD_AAC_DEC_OK || length <= 0) break;
    if (!on_frame(frames.count + 1, frames.end, static_cast<uint32_t>(length))) break;
    frames.end += static_cast<uint64_t>(length);
    ++frames.count;
  }
  return frames;
}

}  // namespace zdr::host
