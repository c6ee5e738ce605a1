// Fills samples with groups of frames: read, stamp, mark.
#include "filters/source/mp4/sources/frame_source.h"

#include <algorithm>

#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/sources/sample_buffer.h"

namespace zdr::mp4source {

HRESULT FrameSource::fill(IMediaSample* sample) {
  const Positions segment = context_.positions();
  if (segment.seek_pending) {
    context_.clear_seek_pending();
    const SeekResult result = seek(segment.start);
    if (result == SeekResult::kFailed) return S_FALSE;
    if (result == SeekResult::kMoved) {
      sample->SetDiscontinuity(TRUE);
      sample->SetSyncPoint(TRUE);
    }
  }
  mark_first_sample(first_sample_, sample);  // the mark is consumed even if the sample rejects it
  BYTE* buffer = nullptr;
  const HRESULT hr = get_buffer(sample, &buffer);
  const LONG size = sample->GetSize();
  FrameGroup group;
  {
    const std::lock_guard lock(mutex_);
    if (FAILED(hr)) {
      ++counter_;  // the frame counts as read
      return hr;
    }
    group = read_group(buffer, static_cast<uint32_t>(std::max<LONG>(size, 0)));
  }
  if (group.size == 0) return S_FALSE;
  const REFERENCE_TIME absolute_start = wrapping_ms_to_reference_time(group.time_ms);
  // Kept: a group at the stop position is not delivered. In speech files that is always a last group of one
  // frame, in AAC files sometimes.
  if (absolute_start >= segment.stop) return S_FALSE;
  REFERENCE_TIME start = wrapping_sub(absolute_start, segment.start);
  REFERENCE_TIME stop = wrapping_add(start, kAudioDuration);
  sample->SetTime(&start, &stop);
  last_delivered_ = start;
  return sample->SetActualDataLength(static_cast<LONG>(group.size));
}

FrameSource::SeekResult FrameSource::seek(REFERENCE_TIME target) {
  const std::lock_guard lock(mutex_);
  const FoundFrame found = find_frame(target);
  if (found.result == SeekResult::kMoved) counter_ = found.number - 1;
  return found.result;
}

FrameSource::FrameGroup FrameSource::read_group(uint8_t* buffer, uint32_t capacity) {
  ++counter_;
  FrameGroup group;
  // Kept: a failed read, also of a frame that does not fit, leaves the counter on that frame, so that the
  // next group skips it; and a group that fills its sample exactly skips a frame as well.
  for (uint32_t i = 0; i < kFramesPerGroup && group.size < capacity; ++i) {
    uint32_t size = 0;
    if (!read_frame(counter_, buffer + group.size, capacity - group.size, &size)) break;
    group.size += size;
    if (i + 1 < kFramesPerGroup) ++counter_;
    if (i == 0) group.time_ms = time_before(counter_);
  }
  return group;
}

// Kept: a stop discards the position of a seek; time stamps then start before the segment.
void FrameSource::rewind() {
  const std::lock_guard lock(mutex_);
  if (can_rewind()) counter_ = 0;
}

}  // namespace zdr::mp4source
