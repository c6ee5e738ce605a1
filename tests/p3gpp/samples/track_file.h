// Makes ISO media files from sample tables as they are to stand in the file, sane or not, and opens a track
// of one from memory.
#ifndef ZDR_TESTS_P3GPP_TRACK_FILE_H
#define ZDR_TESTS_P3GPP_TRACK_FILE_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "mediakit/boxes/box_builder.h"
#include "p3gpp/p3gpp.h"
#include "tests/p3gpp/opened_movie.h"

namespace zdr::test {

// One track. Boxes named in `omit` are left out.
struct TrackTables {
  uint32_t id = 1;
  std::string handler = "soun";
  uint32_t time_scale = 1000;
  uint32_t media_duration = 10000;
  Runs stts = {{10, 1000}};
  Runs ctts;
  bool has_ctts = false;
  std::vector<uint32_t> stss;
  bool has_stss = false;
  std::vector<ChunkRun> stsc = {{1, 10}};
  std::vector<uint64_t> chunk_offsets = {0};
  bool co64 = false;
  bool also_co64 = false;  // a co64 beside the stco, with all offsets one higher
  uint32_t default_size = 0;
  uint32_t default_count = 0;  // sample count when default_size is not 0
  std::vector<uint32_t> sizes = std::vector<uint32_t>(10, 16);
  std::vector<Edit> edits;
  std::set<std::string> omit;
  int64_t claimed_stts_count = -1;  // -1: the true one
  size_t cut_off = 0;               // bytes missing at the end of a file without media

  uint32_t sample_count() const {
    return default_size != 0 ? default_count : static_cast<uint32_t>(sizes.size());
  }
  uint32_t size_of(uint32_t number) const { return default_size != 0 ? default_size : sizes[number - 1]; }
  uint8_t chunk_number_base() const { return static_cast<uint8_t>(stsc.front().first_chunk); }
};

// `samples` samples of 1 time unit and `size` bytes in one chunk.
TrackTables plain_tables(uint32_t samples, uint32_t size = 16);

// The whole file. Media bytes are pseudo-random and fill it up to `file_size`; chunk offsets are taken as
// they stand and may point anywhere. 0: no media.
Bytes make_file(const std::vector<TrackTables>& tracks, size_t file_size = 0);

// A file of one track with that track opened. Tests look at status() first where that may fail.
class OpenTrack {
 public:
  explicit OpenTrack(const TrackTables& tables, size_t file_size = 0, uint32_t cache_budget = 1024);
  ~OpenTrack();

  int32_t status() const { return status_; }
  P3gppTrack* get() const { return track_; }
  P3gppFile* file() const { return movie_.file; }
  MemorySource& source() { return movie_.source; }

  int32_t locate(P3gppSample& sample) { return P3GPP_ReadSample(track_, &sample); }
  int32_t sample_times(uint32_t number, uint32_t& decoding_time, uint32_t& composition_time) {
    return P3GPP_GetSampleTime(track_, number, &decoding_time, &composition_time);
  }
  int32_t time_to_sample(uint32_t& time, uint32_t& number) {
    return P3GPP_TimeToSample(track_, &time, &number);
  }
  int32_t is_sync(uint32_t number, int32_t& flag) { return P3GPP_IsSyncSample(track_, number, &flag); }
  int32_t find_sync(uint32_t& number, int32_t direction) {
    return P3GPP_FindSyncSample(track_, &number, direction);
  }
  // The offset alone, or the negative status.
  int64_t offset_of(uint32_t number);

 private:
  OpenedMovie movie_;
  P3gppTrack* track_ = nullptr;
  int32_t status_ = 0;
};

// Replays calls and their answers (lookup_answers.h) on a fresh track.
std::string replayed(const TrackTables& tables, const std::string& script);

}  // namespace zdr::test

#endif
