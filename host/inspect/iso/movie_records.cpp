// Selects the boxes that describe tracks and reads their fields.
#include "host/inspect/iso/movie_records.h"

#include <algorithm>
#include <charconv>

namespace zdr::host {
namespace {

constexpr std::string_view kTrackPath = "moov/trak[";
constexpr std::string_view kFirstReference = "/mdia/minf/dinf/dref/url [1]";
constexpr uint64_t kTableHeader = 16;  // bytes before the entries of a sample table
constexpr std::string_view kEntryPath = "/mdia/minf/stbl/stsd/";

}  // namespace

void MovieRecorder::on_box(void* caller, const P3gppBox* box) noexcept {
  auto& recorder = *static_cast<MovieRecorder*>(caller);
  try {
    recorder.read_field_ = recorder.begin_box(*box);
  } catch (...) {
    recorder.read_field_ = nullptr;
    recorder.is_complete_ = false;
  }
  if (recorder.observer_ != nullptr) recorder.observer_->box(recorder.observer_->caller, box);
}

void MovieRecorder::on_field(void* caller, const P3gppBoxField* field) noexcept {
  auto& recorder = *static_cast<MovieRecorder*>(caller);
  try {
    if (recorder.read_field_ != nullptr) (recorder.*recorder.read_field_)(*field);
  } catch (...) {
    recorder.read_field_ = nullptr;
    recorder.is_complete_ = false;
  }
  if (recorder.observer_ != nullptr) recorder.observer_->field(recorder.observer_->caller, field);
}

MovieRecorder::ReadField MovieRecorder::begin_box(const P3gppBox& box) {
  const std::string_view path = box.path;
  if (path == "moof") record_.has_fragment = true;
  if (path == "moov" && box.size > 1) record_.movie_end = box.offset + box.size;
  if (path == "moov/mvhd") return &MovieRecorder::read_movie_header;
  return path.starts_with(kTrackPath) ? begin_track_box(box) : nullptr;
}

// The path of a track's box begins with "moov/trak[N]". Children are shown before the track itself.
TrackRecord& MovieRecorder::track_at(std::string_view path) {
  uint32_t number = 0;
  const std::string_view digits = path.substr(kTrackPath.size());
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (record_.tracks.empty() || record_.tracks.back().number != number) {
    record_.tracks.emplace_back().number = number;
  }
  return record_.tracks.back();
}

MovieRecorder::ReadField MovieRecorder::begin_track_box(const P3gppBox& box) {
  struct Row {
    std::string_view path;  // within the track
    ReadField read_field;
  };
  static constexpr Row kRows[] = {{"/tkhd", &MovieRecorder::read_track_header},
                                  {"/mdia/hdlr", &MovieRecorder::read_handler},
                                  {"/mdia/mdhd", &MovieRecorder::read_media_header},
                                  {"/mdia/minf/stbl/stss", &MovieRecorder::read_sync_samples},
                                  {"/mdia/minf/stbl/stts", &MovieRecorder::read_times},
                                  {"/mdia/minf/stbl/stsc", &MovieRecorder::read_chunk_runs},
                                  {"/edts/elst", &MovieRecorder::read_edit}};
  const std::string_view path = box.path;
  TrackRecord& track = track_at(path);
  const std::string_view rest = path.substr(std::min(path.size(), path.find(']') + 1));
  if (rest.starts_with(kEntryPath) && rest.find('/', kEntryPath.size()) == rest.npos) {
    if (track.sample_entries++ == 0) track.sample_entry = box.type;
  }
  if (rest == "/mdia/minf/stbl/stz2") track.has_compact_sizes = true;
  if (rest == "/mdia/minf/stbl/stsc") track.chunk_runs_offset = box.offset + kTableHeader;
  constexpr uint32_t kSelfContained = 1;
  constexpr uint64_t kWithoutLocation = 12;  // some writers do not set the flag
  const bool names_file = (box.flags & kSelfContained) == 0 && box.size > kWithoutLocation;
  if (rest == kFirstReference && names_file) track.has_external_data = true;
  for (const Row& row : kRows) {
    if (rest != row.path) continue;
    const bool is_header = row.path == "/tkhd" || row.path == "/mdia/mdhd";
    if (is_header && box.version != 0) track.has_wide_times = true;
    if (row.read_field == &MovieRecorder::read_edit) track.edits.is_wide = box.version != 0;
    return row.read_field;
  }
  return nullptr;
}

void MovieRecorder::read_movie_header(const P3gppBoxField& field) {
  if (std::string_view(field.name) == "time_scale") record_.time_scale = field.number;
}

void MovieRecorder::read_track_header(const P3gppBoxField& field) {
  if (std::string_view(field.name) == "track_id")
    record_.tracks.back().id = static_cast<uint32_t>(field.number);
}

void MovieRecorder::read_handler(const P3gppBoxField& field) {
  if (std::string_view(field.name) != "handler_type") return;
  record_.tracks.back().handler.assign(reinterpret_cast<const char*>(field.bytes.bytes), field.bytes.length);
}

void MovieRecorder::read_media_header(const P3gppBoxField& field) {
  const std::string_view name = field.name;
  if (name == "time_scale") record_.tracks.back().time_scale = field.number;
  if (name == "duration") record_.tracks.back().duration = field.number;
}

void MovieRecorder::read_sync_samples(const P3gppBoxField& field) {
  if (std::string_view(field.name) == "entry_count")
    record_.tracks.back().sync_samples = static_cast<uint32_t>(field.number);
}

void MovieRecorder::read_times(const P3gppBoxField& field) {
  if (std::string_view(field.name) == "entry_count") record_.tracks.back().timed_runs = field.number;
}

void MovieRecorder::read_chunk_runs(const P3gppBoxField& field) {
  if (std::string_view(field.name) == "entry_count") record_.tracks.back().chunk_runs = field.number;
}

void MovieRecorder::read_edit(const P3gppBoxField& field) {
  const std::string_view name = field.name;
  if (name == "segment_duration") segment_duration_ = field.number;
  if (name == "media_time")
    record_.tracks.back().edits.add(segment_duration_, static_cast<int64_t>(field.number));
}

}  // namespace zdr::host
