// An ISO media file opened directly with the parser, for facts that the filter's interfaces do not report. A
// command opens it once and passes it on.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/inspect/files/managed_file.h"
#include "host/inspect/iso/box_headers.h"
#include "host/inspect/iso/movie_records.h"
#include "host/inspect/iso/open_track.h"
#include "p3gpp/p3gpp.h"

namespace zdr::host {

constexpr uint32_t kTrackCacheBytes = 1024;

struct TrackFacts {
  uint32_t samples = 0;  // as its tables claim
  uint32_t time_scale = 0;
  uint32_t duration = 0;  // of the media, in units of the time scale
};

constexpr uint32_t track_type(bool is_audio) {
  return is_audio ? P3GPP_TRACK_AUDIO : P3GPP_TRACK_VIDEO;
}

// A box with a track, or a part of one, that the parser does not read.
struct HiddenTrack {
  std::string path;
  BoxHeader box;
  const char* reason;
};

class ParsedMovie {
 public:
  // Opens the file as the filter does. `observer`, if not null, receives the boxes while they are parsed.
  // Throws std::bad_alloc if the parser or the record runs out of memory.
  explicit ParsedMovie(const std::string& file, const P3gppBoxVisitor* observer = nullptr);
  ParsedMovie(const ParsedMovie&) = delete;
  ParsedMovie& operator=(const ParsedMovie&) = delete;

  int32_t status() const { return status_; }  // of the open
  bool is_open() const { return status_ == P3GPP_OK; }
  const P3gppOpenError& error() const { return error_; }
  P3gppFile* file() const { return file_.get(); }
  const MovieRecord& record() const { return record_; }

  // True if a box of the type is between the two offsets, whatever the parser made of it. Zeros are passed
  // over, and after the movie box anything that is not a box.
  bool has_box(std::string_view type, uint64_t begin, uint64_t end) const;
  // The box at the top level that extends past the end of the file; nothing without one.
  std::optional<BoxHeader> cut_off_box() const;
  // True if samples are in movie fragments, which the parser does not read.
  bool has_fragments() const {
    return record_.has_fragment || has_box("moof", record_.movie_end, UINT64_MAX);
  }

  // The first track that the parser ignores because its box has another type than trak, or because it, or a
  // part of it, is in another container; nothing if there is none. A box that is marked as free is not one.
  std::optional<HiddenTrack> hidden_track() const;
  // True if the open failed at a box in the form of QuickTime, which the parser takes for damage: a `meta`
  // without version and flags, or a sound description of version 1 or 2, whose fields precede `wave`.
  bool failed_at_quicktime_form() const;
  // The QuickTime-style `meta` at which the open failed: the parser has taken a part of its first child for a
  // box.
  std::optional<BoxHeader> quicktime_meta() const;
  // True if the media data of the track are in another file.
  bool has_external_data(const TrackRecord& track) const;
  // True if all samples of the track, of which there are several, have a duration of 0.
  bool lacks_times(const TrackRecord& track) const;
  // What the table of times holds.
  struct TimedSamples {
    uint64_t count = 0;
    uint64_t end = 0;   // of the last one, in units of the track
    uint64_t last = 0;  // its duration
  };
  // Nothing for a long table, which is not worth reading for a comparison, and for one that counts more
  // entries than it has.
  std::optional<TimedSamples> timed_samples(const TrackRecord& track) const;
  // True if the table of times ends more than a sample before the duration that the header states.
  bool ends_before_duration(const TrackRecord& track) const;
  struct KeyFrameFault {
    uint64_t entry = 0;  // number
    uint64_t sample = 0;
    bool is_sample = true;  // of the track; then it is not after that of the entry before
  };
  // The first entry of the table of key frames that is not one of this many samples, or that is not in
  // ascending order; nothing without one. Of a long table, only the first entries are read.
  std::optional<KeyFrameFault> invalid_key_frame(const TrackRecord& track, uint64_t samples) const;
  struct LostChunk {
    uint64_t number;
    bool begins_past_end;
  };
  // The first chunk with one of this many samples that is not whole in the file; nothing if all are. Of a
  // track with many chunks, only the first are looked at. `opened` is the track.
  std::optional<LostChunk> chunk_past_end(const TrackRecord& track, P3gppTrack* opened, uint32_t samples,
                                          uint64_t file_size) const;
  // What the runs of chunks hold.
  struct ChunkedSamples {
    uint64_t count = 0;
    uint64_t in_last_chunk = 0;
    bool has_invalid_description = false;  // one that the track does not have
  };
  ChunkedSamples chunked_samples(const TrackRecord& track) const;

  // IDs of the audio or the video tracks (P3GPP_TRACK_), in file order.
  std::vector<uint32_t> track_ids(uint32_t type) const;
  // The record of the first track of a type that the parser could read, which the filter plays. Null without
  // one.
  const TrackRecord* first_track(uint32_t type) const;
  // Returns the status of the query.
  int32_t get_facts(uint32_t id, TrackFacts& facts) const;
  // Opens a track for lookups, one at a time. Null after a failure; throws std::bad_alloc.
  OpenTrack open_track(uint32_t id) const {
    int32_t status = P3GPP_OK;
    return open_track(id, status);
  }
  OpenTrack open_track(uint32_t id, int32_t& status, uint32_t cache_bytes = kTrackCacheBytes) const;
  // For walks over all samples.
  OpenTrack open_track_to_walk(uint32_t id) const {
    int32_t status = P3GPP_OK;
    return open_track(id, status, 64 * 1024);
  }

 private:
  struct CloseMovie {
    void operator()(P3gppFile* file) const { P3GPP_Close(file); }
  };

  template <size_t kEntryBytes>
  void read_entries(uint64_t offset, uint64_t count,
                    const std::function<bool(const uint8_t* entry)>& visit) const;

  std::string name_;
  ManagedFile managed_;
  std::unique_ptr<P3gppFile, CloseMovie> file_;
  P3gppOpenError error_{};
  int32_t status_ = P3GPP_ERR_GENERIC;
  MovieRecord record_;
};

// For a file that the filter has opened. Returns null if its extension is not one of ISO media.
std::unique_ptr<const ParsedMovie> parse_iso_media(const std::string& file,
                                                   const P3gppBoxVisitor* observer = nullptr);

}  // namespace zdr::host
