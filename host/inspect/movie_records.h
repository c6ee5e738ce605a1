// Facts about an ISO media file that the parser's queries do not report: every handler, the edit lists,
// fragments. They are collected from the boxes that the parser shows during an open.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "p3gpp/p3gpp.h"

namespace zdr::host {

// The edits of a track that show media. Empty edits are not counted: they only shift the track, which the
// filter applies.
struct EditRecord {
  uint64_t count = 0;
  int64_t first_media_time = 0;  // of the first edit, in units of the track
  uint64_t duration = 0;         // of all edits, in units of the movie; 0: to the end
  bool is_wide = false;          // version 1, whose 64-bit fields the parser reads as 32-bit ones
};

struct TrackRecord {
  std::string handler;
  uint64_t time_scale = 0;
  uint64_t duration = 0;  // in units of the track
  EditRecord edits;
};

struct MovieRecord {
  uint64_t time_scale = 0;
  bool is_fragmented = false;
  std::vector<TrackRecord> tracks;  // those with a handler, a media header or an edit list, in file order
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
  void read_movie_header(const P3gppBoxField& field);
  void read_handler(const P3gppBoxField& field);
  void read_media_header(const P3gppBoxField& field);
  void read_edit(const P3gppBoxField& field);

  const P3gppBoxVisitor* observer_;
  P3gppBoxVisitor visitor_;
  MovieRecord record_;
  bool is_complete_ = true;
  std::string track_path_;  // of the last track of the record
  ReadField read_field_ = nullptr;
  uint64_t segment_duration_ = 0;  // of the edit whose media time follows
};

}  // namespace zdr::host
