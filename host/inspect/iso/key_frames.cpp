// Searches forward from one key frame to the next.
#include "host/inspect/iso/key_frames.h"

#include "host/memory.h"

namespace zdr::host {

KeyFrameWalk::KeyFrameWalk(const ParsedMovie& movie) {
  const TrackRecord* const record = movie.first_track(P3GPP_TRACK_VIDEO);
  if (record == nullptr || movie.get_facts(*record->id, facts_) != P3GPP_OK || facts_.time_scale == 0) return;
  track_ = movie.open_track_to_walk(*record->id);
  uint32_t all = 0;
  is_every_sample_ = track_ != nullptr && P3GPP_GetAllSyncCount(track_.get(), &all) == P3GPP_OK && all != 0;
}

bool KeyFrameWalk::begins_with_key_frame() {
  int32_t is_sync = 0;
  return P3GPP_IsSyncSample(track_.get(), 1, &is_sync) == P3GPP_OK && is_sync != 0;
}

// Past a key frame, a forward search finds the next one; from any other sample it may return the sample
// itself.
bool KeyFrameWalk::find_next() {
  uint32_t sample = entry_.sample + 1;
  if (sample == 1 && !is_every_sample_ && !begins_with_key_frame()) sample = 0;
  if (is_every_sample_ || sample == 1) {
    entry_.sample = sample;
    return sample <= facts_.samples;
  }
  uint32_t found = sample == 0 ? 1 : entry_.sample;
  const int32_t status =
      with_memory(P3GPP_FindSyncSample(track_.get(), &found, P3GPP_SYNC_FORWARD), P3GPP_ERR_NO_MEMORY);
  if (status != P3GPP_OK && status != P3GPP_ERR_NO_SYNC_SAMPLE) status_ = status;
  const bool is_next = status == P3GPP_OK && found > entry_.sample && found <= facts_.samples;
  if (is_next) entry_.sample = found;
  return is_next;
}

std::optional<KeyFrameEntry> KeyFrameWalk::next() {
  if (!find_next()) return std::nullopt;
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
