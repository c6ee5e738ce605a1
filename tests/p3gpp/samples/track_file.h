// Builds files from sample tables, valid or not, and opens a track of such a file from memory.
#pragma once

#include <string>
#include <vector>

#include "mediakit/boxes/movie_builder.h"
#include "tests/p3gpp/opened_movie.h"

namespace zdr::test {

// `samples` samples of 1 time unit and `size` bytes in one chunk at offset 0, with a media duration of 10 s.
// Boxes named in `tables` are written instead; empty bytes leave a box out.
TrackDescription raw_track(uint32_t samples = 10, uint32_t size = 16,
                           const std::map<std::string, Bytes>& tables = {});

// The whole file, with tracks 1, 2, ... Pseudo-random media bytes fill it up to `file_size`; 0: no media.
// Chunk offsets may point anywhere.
Bytes make_file(const std::vector<TrackDescription>& tracks, size_t file_size = 0);

// A file with its first track opened. Tests check status() first where that may fail.
class OpenTrack {
 public:
  explicit OpenTrack(const TrackDescription& track, size_t file_size = 0, uint32_t cache_budget = 1024)
      : OpenTrack(make_file({track}, file_size), cache_budget) {}
  OpenTrack(const Bytes& file, uint32_t cache_budget);
  ~OpenTrack();

  // Opens the track again, which resets its positions and caches.
  void reopen();

  int32_t status() const { return status_; }
  P3gppTrack* get() const { return track_; }
  P3gppFile* file() const { return movie_.file; }
  MemorySource& source() { return movie_.source; }

  // The offset of a sample, or the negative status.
  int64_t offset_of(uint32_t number);

  // A lookup as a short call with its result as text; a failed one returns its status.
  //   'o' offset:size:description:decoding:composition of a sample   'd' decoding:composition
  //   't' number@time of the sample at a time                        's' 1 for a sync sample, else 0
  //   'f', 'b' the sync sample forward and backward from a sample
  // All calls share one record, so a field that a call does not write has the value of an earlier call.
  std::string lookup(char call, uint32_t argument);

 private:
  int32_t call_parser(char call, uint32_t argument, std::string& result);

  OpenedMovie movie_;
  uint32_t cache_budget_;
  P3gppTrack* track_ = nullptr;
  int32_t status_ = 0;
  P3gppSample record_{};
};

// Makes the calls of `script`, "t1500=1@0 o2=-6008", on a new track and returns them with their results.
std::string replayed(const TrackDescription& track, const std::string& script);

}  // namespace zdr::test
