// Selects the boxes that describe tracks and reads their fields.
#include "host/inspect/iso/movie_records.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

namespace zdr::host {
namespace {

constexpr std::string_view kTrackPath = "moov/trak[";
// Boxes in the movie box that hide no track, unless they are too long: a box that is marked as free is free.
constexpr std::string_view kMovieBoxes[] = {"mvhd", "trak", "udta", "meta", "mvex", "iods",
                                            "cmov", "free", "skip", "wide", "uuid"};
constexpr std::string_view kShortBoxes[] = {"mvhd", "iods"};
constexpr uint64_t kShortBytes = 256;  // a track box is longer
constexpr std::string_view kTrackBoxes[] = {"trak", "mdia"};
constexpr size_t kMostUnread = 64;     // a hostile file may have thousands
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
  box_size_ = box.size;
  if (path == "moov" && box.size > 1) record_.movie_end = box.offset + box.size;
  note_unread(box);
  if (path == "moov/cmov") record_.is_compressed = true;
  if (path == "moov/mvhd") return &MovieRecorder::read_movie_header;
  return path.starts_with(kTrackPath) ? begin_track_box(box) : nullptr;
}

// A damaged type or size makes another box of a track box, or puts its contents into another container.
void MovieRecorder::note_unread(const P3gppBox& box) {
  const std::string_view path = box.path;
  const std::string_view type = box.type;
  const size_t slash = path.rfind('/');
  if (slash == path.npos || record_.unread.size() >= kMostUnread) return;
  const std::string_view container = path.substr(0, slash);
  const bool is_skipped_part =
      box.disposition == P3GPP_BOX_SKIPPED && std::ranges::find(kTrackBoxes, type) != std::end(kTrackBoxes);
  const bool is_expected = std::ranges::find(kMovieBoxes, type) != std::end(kMovieBoxes);
  const bool is_overlong =
      box.size > kShortBytes && std::ranges::find(kShortBoxes, type) != std::end(kShortBoxes);
  const bool is_in_movie = container == "moov" && (!is_expected || is_overlong);
  if (is_skipped_part || is_in_movie) record_.unread.push_back({std::string(container), box.offset});
  const uint64_t header_bytes = box.version == 0 ? 108 : 120;
  // A movie header that is too long has swallowed what follows it.
  if (path == "moov/mvhd" && box.size > header_bytes)
    record_.unread.push_back({box.path, box.offset + header_bytes});
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
    uint64_t entry_bytes = 0;  // of a sample table
  };
  static constexpr Row kRows[] = {{"/tkhd", &MovieRecorder::read_track_header},
                                  {"/mdia/hdlr", &MovieRecorder::read_handler},
                                  {"/mdia/mdhd", &MovieRecorder::read_media_header},
                                  {"/mdia/minf/stbl/stss", &MovieRecorder::read_sync_samples, 4},
                                  {"/mdia/minf/stbl/stsz", &MovieRecorder::read_sizes},
                                  {"/mdia/minf/stbl/stts", &MovieRecorder::read_times, 8},
                                  {"/mdia/minf/stbl/stsc", &MovieRecorder::read_chunk_runs, 12},
                                  {"/mdia/minf/stbl/stco", &MovieRecorder::read_chunks, 4},
                                  {"/mdia/minf/stbl/co64", &MovieRecorder::read_chunks, 8},
                                  {"/mdia/minf/stbl/ctts", &MovieRecorder::read_offsets, 8},
                                  {"/edts/elst", &MovieRecorder::read_edit}};
  const std::string_view path = box.path;
  TrackRecord& track = track_at(path);
  const std::string_view rest = path.substr(std::min(path.size(), path.find(']') + 1));
  if (rest.starts_with(kEntryPath) && rest.find('/', kEntryPath.size()) == rest.npos) {
    if (track.sample_entries++ != 0) return nullptr;
    track.sample_entry = box.type;
    return &MovieRecorder::read_sample_entry;
  }
  if (rest == "/mdia/minf/stbl/stz2") track.has_compact_sizes = true;
  if (rest == "/mdia/minf/stbl/stdp") track.has_priorities = true;
  if (rest == "/mdia/minf/stbl/stsc") track.chunk_runs_offset = box.offset + kTableHeader;
  if (rest == "/mdia/minf/stbl/stss") track.sync_samples_offset = box.offset + kTableHeader;
  if (rest == "/mdia/minf/stbl/stco" || rest == "/mdia/minf/stbl/co64") {
    track.chunk_offsets_offset = box.offset + kTableHeader;
    track.has_wide_offsets = rest.ends_with("co64");
  }
  if (rest == "/mdia/minf/stbl/stts") track.timed_runs_offset = box.offset + kTableHeader;
  constexpr uint64_t kWithoutLocation = 12;
  if (rest.starts_with("/mdia/minf/dinf/dref/") && box.size > kWithoutLocation) has_location_ = true;
  if (rest == "/mdia/minf/dinf/dref" && std::exchange(has_location_, false)) {
    track.references_begin = box.offset + kTableHeader;
    track.references_end = box.offset + box.size;
  }
  for (const Row& row : kRows) {
    if (rest != row.path) continue;
    table_ = row.path.substr(row.path.rfind('/') + 1);
    entry_bytes_ = row.entry_bytes;
    if (row.path == "/mdia/mdhd" && box.version == 1) track.has_wide_times = true;
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
  if (const auto count = entry_count(field))
    record_.tracks.back().sync_samples = static_cast<uint32_t>(*count);
}

void MovieRecorder::read_sizes(const P3gppBoxField& field) {
  const std::string_view name = field.name;
  constexpr uint64_t kSizesHeader = 20;  // bytes before the entries
  constexpr uint64_t kEntryBytes = 4;
  if (name == "default_size") default_size_ = field.number;
  const bool is_both = name == "sample_count" && default_size_ != 0 && field.number != 0 &&
                       box_size_ >= kSizesHeader + field.number * kEntryBytes;
  if (is_both) record_.tracks.back().has_both_sizes = true;
}

void MovieRecorder::read_sample_entry(const P3gppBoxField& field) {
  if (std::string_view(field.name) == "data_reference_index")
    record_.tracks.back().data_reference = field.number;
}

// Returns the number of entries of a sample table if the field states it.
std::optional<uint64_t> MovieRecorder::entry_count(const P3gppBoxField& field) {
  if (std::string_view(field.name) != "entry_count") return std::nullopt;
  TrackRecord& track = record_.tracks.back();
  const uint64_t room = box_size_ < kTableHeader ? UINT64_MAX : (box_size_ - kTableHeader) / entry_bytes_;
  if (field.number > room && !track.overfull_table)
    track.overfull_table = OverfullTable{std::string(table_), field.number, room};
  return field.number;
}

// Composition offsets.
void MovieRecorder::read_offsets(const P3gppBoxField& field) {
  entry_count(field);
}

void MovieRecorder::read_times(const P3gppBoxField& field) {
  if (const auto count = entry_count(field)) record_.tracks.back().timed_runs = *count;
}

void MovieRecorder::read_chunk_runs(const P3gppBoxField& field) {
  if (const auto count = entry_count(field)) record_.tracks.back().chunk_runs = *count;
}

void MovieRecorder::read_chunks(const P3gppBoxField& field) {
  if (const auto count = entry_count(field)) record_.tracks.back().chunks = *count;
}

void MovieRecorder::read_edit(const P3gppBoxField& field) {
  const std::string_view name = field.name;
  if (name == "segment_duration") segment_duration_ = field.number;
  EditRecord& edits = record_.tracks.back().edits;
  constexpr double kFixedOne = 0x10000;
  if (name == "media_rate" && !is_empty_edit_) edits.rate = static_cast<double>(field.number) / kFixedOne;
  if (name != "media_time") return;
  is_empty_edit_ = static_cast<int64_t>(field.number) < 0;
  edits.add(segment_duration_, static_cast<int64_t>(field.number));
}

}  // namespace zdr::host
