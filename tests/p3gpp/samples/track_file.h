// Builds files from sample tables, valid or not, opens a track of such a file, and replays lookups on it.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "mediakit/boxes/movie_builder.h"
#include "tests/p3gpp/opened_movie.h"

namespace zdr::test {

// `samples` samples of 1 time unit and `size` bytes in one chunk at offset 0, with a media duration of 10 s.
// Boxes named in `tables` are written instead; empty bytes leave a box out.
inline TrackDescription raw_track(uint32_t samples = 10, uint32_t size = 16,
                                  const std::map<std::string, Bytes>& tables = {}) {
  TrackDescription track{.handler = "soun", .replaced = tables};
  track.replaced.merge(std::map<std::string, Bytes>{{"mdhd", mdhd({.duration = 10000})},
                                                    {"stts", stts({{samples, 1}})},
                                                    {"stsc", stsc({{1, samples}})},
                                                    {"stsz", stsz(std::vector<uint32_t>(samples, size))},
                                                    {"stco", stco({0})}});
  return track;
}

// The whole file, with tracks 1, 2, ... Media bytes fill it up to `file_size`. Chunk offsets may point
// anywhere.
inline Bytes make_file(const std::vector<TrackDescription>& tracks, size_t file_size = 0) {
  const Bytes file = build_movie({.tracks = tracks}).bytes;
  return Fields{file}.text(make_content(std::max(file_size, file.size()) - file.size())).bytes;
}

// A file with its first track opened. Tests check status() first where that may fail.
class OpenTrack {
 public:
  explicit OpenTrack(const TrackDescription& track, size_t file_size = 0, uint32_t cache_budget = 1024)
      : movie_(make_file({track}, file_size)), cache_budget_(cache_budget), status_(movie_.status) {
    if (status_ == P3GPP_OK) reopen();
  }
  ~OpenTrack() {
    if (track_ != nullptr) P3GPP_CloseTrack(track_);
  }

  // Opens the track again, which resets its positions and caches.
  void reopen() {
    status_ = P3GPP_OpenTrack(movie_.file, &track_, 1, cache_budget_);
    record_ = {};
  }

  int32_t status() const { return status_; }
  P3gppTrack* get() const { return track_; }
  P3gppFile* file() const { return movie_.file; }
  Source& source() { return movie_.source; }

  // The offset of a sample, or the negative status.
  int64_t offset_of(uint32_t number) {
    P3gppSample sample{};
    sample.number = number;
    const int32_t status = P3GPP_ReadSample(track_, &sample);
    return status == P3GPP_OK ? static_cast<int64_t>(sample.file_offset) : status;
  }

  // A lookup as a short call with its result as text; a failed one returns its status.
  //   'o' offset:size:description:decoding:composition of a sample   'd' decoding:composition
  //   't' number@time of the sample at a time                        's' 1 for a sync sample, else 0
  //   'f', 'b' the sync sample forward and backward from a sample   'r' opens the track again: its status
  // All calls share one record, so a field that a call does not write has the value of an earlier call.
  std::string lookup(char call, uint32_t argument) {
    std::string result;
    uint32_t number = argument;
    int32_t status = P3GPP_OK;
    if (call == 'r') {
      reopen();
      return std::to_string(status_);
    }
    if (call == 'o') {
      record_.number = argument;
      status = P3GPP_ReadSample(track_, &record_);
      result = sample_text(record_);
    } else if (call == 'd') {
      status = P3GPP_GetSampleTime(track_, argument, &record_.decoding_time, &record_.composition_time);
      result = std::to_string(record_.decoding_time) + ':' + std::to_string(record_.composition_time);
    } else if (call == 't') {
      status = P3GPP_TimeToSample(track_, &argument, &number);
      result = std::to_string(number) + '@' + std::to_string(argument);
    } else if (call == 's') {
      int32_t is_sync = 0;
      status = P3GPP_IsSyncSample(track_, argument, &is_sync);
      result = std::to_string(is_sync);
    } else {
      status = P3GPP_FindSyncSample(track_, &number, call == 'f' ? P3GPP_SYNC_FORWARD : P3GPP_SYNC_BACKWARD);
      result = std::to_string(number);
    }
    if (status == P3GPP_OK) return result;
    record_ = {};  // a failed call may leave anything
    return std::to_string(status);
  }

 private:
  OpenedMovie movie_;
  uint32_t cache_budget_;
  P3gppTrack* track_ = nullptr;
  int32_t status_;
  P3gppSample record_{};
};

// Makes the calls of `script`, "t1500=1@0 o2=-6008", on a new track and returns them with their results.
inline std::string replayed(const TrackDescription& description, const std::string& script) {
  OpenTrack track(description);
  if (track.status() != P3GPP_OK) return std::to_string(track.status());
  std::string done;
  std::istringstream calls(script);
  for (std::string call; calls >> call;) {
    const std::string name = call.substr(0, call.find('='));
    if (!done.empty()) done += ' ';
    done += name + '=' + track.lookup(name[0], static_cast<uint32_t>(std::stoul(name.substr(1))));
  }
  return done;
}

}  // namespace zdr::test
