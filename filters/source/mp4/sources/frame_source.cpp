// Reading groups of frames, the same for speech and AAC files.
#include "filters/source/mp4/sources/frame_source.h"

namespace zdr::mp4source {

FileStream::SeekResult FileStream::seek(REFERENCE_TIME target) {
  const Found found = find(target);
  if (found.result == SeekResult::kMoved) counter_ = found.frame - 1;
  return found.result;
}

FrameGroup FileStream::read_group(uint8_t* buffer, uint32_t room) {
  ++counter_;
  FrameGroup group;
  // A failed read leaves the counter on the failed frame, so that the next group starts behind it.
  for (uint32_t i = 0; i < kFramesPerGroup && group.size < room; ++i) {
    uint32_t size = 0;
    if (!read_frame(counter_, buffer + group.size, room - group.size, &size)) break;
    group.size += size;
    if (i + 1 < kFramesPerGroup) ++counter_;
    if (i == 0) group.time_ms = time_before(counter_);
  }
  return group;
}

}  // namespace zdr::mp4source
