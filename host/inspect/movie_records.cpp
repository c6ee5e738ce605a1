// Selects the boxes that describe tracks and reads their fields.
#include "host/inspect/movie_records.h"

namespace zdr::host {

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
  if (path == "moof" || path == "moov/mvex") record_.is_fragmented = true;
  if (path == "moov/mvhd") return &MovieRecorder::read_movie_header;
  return path.starts_with("moov/trak[") ? begin_track_box(box) : nullptr;
}

MovieRecorder::ReadField MovieRecorder::begin_track_box(const P3gppBox& box) {
  struct Row {
    std::string_view path;  // within the track
    ReadField read_field;
  };
  static constexpr Row kRows[] = {{"/mdia/hdlr", &MovieRecorder::read_handler},
                                  {"/mdia/mdhd", &MovieRecorder::read_media_header},
                                  {"/edts/elst", &MovieRecorder::read_edit}};
  const std::string_view path = box.path;
  const std::string_view track = path.substr(0, path.find('/', path.find('[')));
  for (const Row& row : kRows) {
    if (path.substr(track.size()) != row.path) continue;
    if (record_.tracks.empty() || track_path_ != track) {
      record_.tracks.emplace_back();
      track_path_ = track;
    }
    if (row.read_field == &MovieRecorder::read_edit) record_.tracks.back().edits.is_wide = box.version != 0;
    return row.read_field;
  }
  return nullptr;
}

void MovieRecorder::read_movie_header(const P3gppBoxField& field) {
  if (std::string_view(field.name) == "time_scale") record_.time_scale = field.number;
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

void MovieRecorder::read_edit(const P3gppBoxField& field) {
  const std::string_view name = field.name;
  if (name == "segment_duration") segment_duration_ = field.number;
  if (name != "media_time" || static_cast<int64_t>(field.number) < 0) return;
  EditRecord& edits = record_.tracks.back().edits;
  if (edits.count++ == 0) edits.first_media_time = static_cast<int64_t>(field.number);
  edits.duration += segment_duration_;
}

}  // namespace zdr::host
