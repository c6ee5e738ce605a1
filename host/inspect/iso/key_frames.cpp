// Locates one sync sample after the other.
#include "host/inspect/iso/key_frames.h"

#include <filesystem>
#include <system_error>

#include "host/inspect/iso/parser_status.h"
#include "host/memory.h"

namespace zdr::host {

KeyFrameWalk::KeyFrameWalk(const ParsedMovie& movie, const std::string& file) {
  std::error_code code;
  file_size_ = std::filesystem::file_size(file, code);
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
  entry_.is_in_file = lies_within(sample, file_size_);
  return entry_;
}

std::string KeyFrameWalk::failure() const {
  if (status_ == P3GPP_OK) return {};
  const std::string reason = sync_->status() == P3GPP_ERR_READ
                                 ? "the table of key frames (stss) is shorter than its count"
                                 : describe_lookup(status_);
  return "key frame " + std::to_string(entry_.number + 1) + " cannot be located: " + reason;
}

}  // namespace zdr::host
