// Walks over frames, and seeks by their mean size.
#include "esparse/aac/frame_stream.h"

#include <algorithm>

#include "esparse/aac/stream_times.h"

namespace zdr::aacf {

bool FrameStream::begin(const id3p::CallbackFile& file, const FileLayout& layout) {
  file_ = file;
  layout_ = layout;
  if (!file_.seek_to(layout_.stream_start)) return false;
  buffer_.restart(file_);
  const Bytes data = buffer_.unread();
  const auto description = describe_stream(data);
  if (!description) return false;
  description_ = *description;
  std::copy_n(data.begin(), std::min(data.size(), head_.size()), head_.begin());
  sync_.kind = description_.kind;
  sync_.config = description_.config;
  std::copy_n(head_.begin(), sync_.first_header.size(), sync_.first_header.begin());
  if (kind() != AACF_KIND_ADTS) buffer_.advance(description_.header_bytes);
  return true;
}

bool FrameStream::find_frame(uint32_t& length) {
  length = buffer_.refill_when_low(file_);
  int32_t status = frame_sync(sync_, buffer_.unread(), length);
  if (status == AACF_ERR_NEED_MORE_DATA) {
    length = buffer_.refill(file_);
    status = frame_sync(sync_, buffer_.unread(), length);
  }
  // Kept: a truncated header counts as a frame, whose length is what the last refill read.
  return buffer_.valid() > layout_.trailing_bytes && status >= AACF_OK;
}

// Kept: in ADTS with several blocks per frame, walking counts frames and reading counts blocks.
void FrameStream::step_over(uint32_t length) {
  buffer_.advance(length);
  ++current_frame_;
}

bool FrameStream::rewind() {
  if (!file_.seek_to(layout_.stream_start)) return false;
  buffer_.restart(file_);
  if (kind() != AACF_KIND_ADTS) buffer_.advance(description_.header_bytes);
  current_frame_ = 1;
  return true;
}

bool FrameStream::skip_to_frame(uint32_t number) {
  if (number < current_frame_ && !rewind()) return false;
  while (current_frame_ != number) {
    uint32_t length = 0;
    if (!find_frame(length)) return false;
    if (length == 0) {
      // At a truncated header with nothing left to read, all further frames are the same.
      current_frame_ = number;
      return true;
    }
    step_over(length);
  }
  return true;
}

int32_t FrameStream::estimate_seek(uint32_t number, const AACF_StreamInfo& info) {
  // Kept: frames above the estimated number are refused, even if the file holds them.
  if (number > info.total_frames) return AACF_ERR_FAILED;
  if (number == current_frame_) return AACF_OK;
  if (!rewind()) return AACF_ERR_FAILED;
  if (number == 1) return AACF_OK;
  // Kept: the distance is measured from the end of the tag, even if the stream begins later.
  const double distance = mean_frame_bytes(info) * (number - 1.0);
  if (!file_.seek_to(saturated_sum(layout_.tag_end, distance))) return AACF_ERR_FAILED;
  buffer_.restart(file_);
  uint32_t offset = 0;
  const int32_t status = find_next_header(sync_, buffer_.unread(), offset);
  if (status != AACF_OK) {
    // Kept: the position is unknown, so the next read seeks again, even to frame 1.
    current_frame_ = 0;
    return status;
  }
  buffer_.advance(offset);
  current_frame_ = number;
  return AACF_OK;
}

Bytes FrameStream::decodable() {
  buffer_.refill_when_low(file_);
  return buffer_.valid() > layout_.trailing_bytes ? buffer_.unread() : Bytes();
}

}  // namespace zdr::aacf
