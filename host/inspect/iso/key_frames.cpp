// Locates one sync sample after the other.
#include "host/inspect/iso/key_frames.h"

#include "host/memory.h"

namespace zdr::host {

KeyFrameWalk::KeyFrameWalk(const ParsedMovie& movie) {
  const TrackRecord* const record = movie.first_track(P3GPP_TRACK_VIDEO);
  if (record == nullptr || movie.get_facts(*record->id, facts_) != P3GPP_OK || facts_.time_scale == 0) return;
  track_ = movie.open_track_to_walk(*record->id);
  if (track_) sync_.emplace(track_.get(), facts_.samples);
}

std::optional<KeyFrameEntry> KeyFrameWalk::next() {
  entry_.sample = sync_->next();
  status_ = sync_->status();
  if (entry_.sample == 0) return std::nullopt;
  P3gppSample sample{};
  sample.number = entry_.sample;
  status_ = with_memory(P3GPP_ReadSample(track_.get(), &sample), P3GPP_ERR_NO_MEMORY);
  if (status_ != P3GPP_OK) return std::nullopt;
  ++entry_.number;
  entry_.time_100ns = start_of(sample, facts_.time_scale);
  entry_.offset = sample.file_offset;
  entry_.size = sample.size;
  return entry_;
}

}  // namespace zdr::host
