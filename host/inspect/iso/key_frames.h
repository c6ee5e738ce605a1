// Lists the key frames (sync samples) of the video track that is played.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "host/inspect/iso/parsed_movie.h"
#include "host/inspect/iso/sync_walk.h"

namespace zdr::host {

struct KeyFrameEntry {
  uint32_t number = 0;     // among the key frames, from 1
  uint32_t sample = 0;     // among all samples, from 1
  int64_t time_100ns = 0;  // decoding time in whole milliseconds, as the filter delivers it
  uint64_t offset = 0;     // in the file
  uint32_t size = 0;       // bytes
  bool is_in_file = true;
};

class KeyFrameWalk {
 public:
  // `movie` is open, and must outlive the walk. `file` is its name. Throws std::bad_alloc.
  KeyFrameWalk(const ParsedMovie& movie, const std::string& file);

  // False without a video track that has readable tables.
  bool is_open() const { return track_ != nullptr; }
  uint32_t samples() const { return facts_.samples; }
  // False if the first sample of the track is not a key frame.
  bool begins_with_key_frame() const { return sync_->begins_with_sync_sample(); }
  // Returns the next key frame; nothing after the last one, and where the tables cannot be read. Throws
  // std::bad_alloc.
  std::optional<KeyFrameEntry> next();
  int32_t status() const { return status_; }  // of the tables
  // Why the walk has ended before the last key frame; empty if it has not.
  std::string failure() const;

 private:
  OpenTrack track_;
  TrackFacts facts_;
  KeyFrameEntry entry_;
  uint64_t file_size_;
  std::optional<SyncWalk> sync_;
  int32_t status_ = P3GPP_OK;
};

}  // namespace zdr::host
