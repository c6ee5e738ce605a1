// Facts about an ISO media file that the parser's queries do not report: every handler, the edit lists,
// fragments. They are collected from the boxes that the parser shows during an open. The parser identifies a
// box by its path alone, so this is the one place of the host that reads paths.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "p3gpp/p3gpp.h"

namespace zdr::host {

// The edits of a track that show media. Empty edits are not counted: they only shift the track, which the
// filter applies.
struct EditRecord {
  // Adds an edit; a negative media time makes it an empty one.
  void add(uint64_t segment_duration, int64_t media_time) {
    if (media_time < 0) {
      if (count == 0) delay += segment_duration;
      return;
    }
    if (count++ == 0) first_media_time = media_time;
    duration += segment_duration;
  }

  uint64_t count = 0;
  uint64_t delay = 0;            // of the empty edits before them, in units of the movie
  int64_t first_media_time = 0;  // of the first edit, in units of the track
  uint64_t duration = 0;         // of all edits, in units of the movie; 0: to the end
  double rate = 1;               // of the last edit
  bool is_wide = false;          // version 1, whose 64-bit fields the parser reads as 32-bit ones
};

// A sample table whose box is too small for the entries that it counts.
struct OverfullTable {
  std::string type;
  uint64_t entries;
  uint64_t room;
};

struct TrackRecord {
  uint32_t number = 0;         // among all tracks of the file, from 1
  std::optional<uint32_t> id;  // none without a readable track header
  std::string handler;
  std::string sample_entry;  // type of the first sample description; empty without one
  uint32_t sample_entries = 0;
  std::optional<uint32_t> sync_samples;         // none without a table of them: all are sync samples
  uint64_t sync_samples_offset = 0;             // of these entries
  std::optional<OverfullTable> overfull_table;  // the first one
  bool has_compact_sizes = false;               // stz2 in place of stsz
  bool has_priorities = false;                  // stdp, at which the parser ends the sample tables
  bool has_both_sizes = false;                  // stsz has one size for all samples, and a size for each
  std::optional<uint64_t> timed_runs;           // entries of stts; none without this table
  uint64_t timed_runs_offset = 0;               // of these entries
  uint64_t references_begin = 0;                // of the entries of dref, if any may name another file
  uint64_t references_end = 0;
  uint64_t data_reference = 1;     // number of the entry that the first sample description uses
  uint64_t chunk_runs_offset = 0;  // of the entries of stsc; 0 without this table
  uint64_t chunk_runs = 0;
  uint64_t chunks = 0;                // entries of stco or co64
  uint64_t chunk_offsets_offset = 0;  // of these entries
  bool has_wide_offsets = false;      // co64
  uint64_t time_scale = 0;
  uint64_t duration = 0;        // in units of the track
  bool has_wide_times = false;  // mdhd of version 1, whose 64-bit times the parser does not read
  EditRecord edits;
};

// A box that the parser does not use, and that may hold a track.
struct UnreadBox {
  std::string container;  // its path
  uint64_t offset;
};

struct MovieRecord {
  uint64_t time_scale = 0;
  bool has_fragment = false;        // before the movie box
  bool is_compressed = false;       // the movie box has a cmov box, which the parser does not read
  uint64_t movie_end = 0;           // offset after the movie box; 0 if its size is not known
  std::vector<UnreadBox> unread;    // at most 64
  std::vector<TrackRecord> tracks;  // in file order, including those that could not be read
};

// Fills a MovieRecord during an open.
class MovieRecorder {
 public:
  // Passes every box and field on to `observer`, which may be null, must have both functions and must outlive
  // the open.
  explicit MovieRecorder(const P3gppBoxVisitor* observer)
      : observer_(observer), visitor_{this, on_box, on_field} {}
  MovieRecorder(const MovieRecorder&) = delete;
  MovieRecorder& operator=(const MovieRecorder&) = delete;

  const P3gppBoxVisitor& visitor() const { return visitor_; }
  MovieRecord& record() { return record_; }
  // False if memory ran out: then the record lacks some boxes.
  bool is_complete() const { return is_complete_; }

 private:
  // Reads a field of the box being shown; null if the box is not recorded.
  using ReadField = void (MovieRecorder::*)(const P3gppBoxField& field);

  // Called from the parser, which exceptions must not cross.
  static void on_box(void* caller, const P3gppBox* box) noexcept;
  static void on_field(void* caller, const P3gppBoxField* field) noexcept;
  ReadField begin_box(const P3gppBox& box);
  ReadField begin_track_box(const P3gppBox& box);
  void note_unread(const P3gppBox& box);
  TrackRecord& track_at(std::string_view path);
  void read_movie_header(const P3gppBoxField& field);
  void read_track_header(const P3gppBoxField& field);
  void read_handler(const P3gppBoxField& field);
  void read_media_header(const P3gppBoxField& field);
  void read_sync_samples(const P3gppBoxField& field);
  void read_sizes(const P3gppBoxField& field);
  void read_sample_entry(const P3gppBoxField& field);
  void read_times(const P3gppBoxField& field);
  void read_chunk_runs(const P3gppBoxField& field);
  void read_chunks(const P3gppBoxField& field);
  void read_offsets(const P3gppBoxField& field);
  std::optional<uint64_t> entry_count(const P3gppBoxField& field);
  void read_edit(const P3gppBoxField& field);

  const P3gppBoxVisitor* observer_;
  P3gppBoxVisitor visitor_;
  MovieRecord record_;
  bool is_complete_ = true;
  ReadField read_field_ = nullptr;
  uint64_t box_size_ = 0;          // of the box being shown
  std::string_view table_;         // its type, if it is a sample table of a track
  uint64_t entry_bytes_ = 0;       // of an entry of this table
  uint64_t default_size_ = 0;      // of the samples whose number follows
  uint64_t segment_duration_ = 0;  // of the edit whose media time follows
  bool is_empty_edit_ = false;     // the edit whose rate follows
  bool has_location_ = false;      // one of the data references of the dref that follows
};

}  // namespace zdr::host
