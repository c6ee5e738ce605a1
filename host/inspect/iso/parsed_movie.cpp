// Opens the parser with the same file device as the filter.
#include "host/inspect/iso/parsed_movie.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <system_error>
#include <utility>

#include "filters/source/mp4/interfaces/source_kind.h"
#include "host/formats/byte_order.h"
#include "host/inspect/iso/box_layout.h"
#include "host/memory.h"
#include "host/text/decoded_text.h"

namespace zdr::host {
namespace {

constexpr uint64_t kLongTable = 4096;  // entries

}  // namespace

ParsedMovie::ParsedMovie(const std::string& file, const P3gppBoxVisitor* observer)
    : name_(file), managed_(file) {
  MovieRecorder recorder(observer);
  P3gppFile* opened = nullptr;
  status_ =
      P3GPP_OpenTraced(&opened, managed_.descriptor(), managed_.context(), &error_, &recorder.visitor());
  file_.reset(opened);
  with_memory(status_, P3GPP_ERR_NO_MEMORY);
  with_memory(error_.status, P3GPP_ERR_NO_MEMORY);
  if (!recorder.is_complete()) throw std::bad_alloc();
  record_ = std::move(recorder.record());
}

namespace {

// True if a box of the type, or of a type of the top level, begins here and ends before `end`.
bool begins_box(FileStream& stream, std::string_view type, uint64_t offset, uint64_t end) {
  const auto box = read_box_header(stream, offset, end);
  return box && box->size <= end - offset && (box->name() == type || is_top_level_type(box->name()));
}

// Returns the offset of the next such box; `end` without one. The bytes before it may be as many as the file
// has.
uint64_t find_box(FileStream& stream, BlockReader& block, std::string_view type, uint64_t begin,
                  uint64_t end) {
  constexpr size_t kHeaderBytes = 8;
  for (uint64_t offset = begin; offset < end;) {
    const auto bytes = block.from(offset, kHeaderBytes);
    if (bytes.size() < kHeaderBytes) return end;
    const size_t headers = bytes.size() - kHeaderBytes + 1;
    for (size_t at = 0; at < headers; ++at) {
      const std::string_view name(reinterpret_cast<const char*>(&bytes[at + 4]), 4);
      const bool may_be_known = name[0] >= 'a' && name[0] <= 'z' && (name == type || is_top_level_type(name));
      if (may_be_known && begins_box(stream, type, offset + at, end)) return offset + at;
    }
    offset += headers;
  }
  return end;
}

// False for a header that no box of the top level can have. A type that is not known may consist of the bytes
// before a box, which then begins in the middle of this header; or zeros before it are the size, which makes
// it reach the end of the file.
bool is_possible(FileStream& stream, std::string_view type, const BoxHeader& box, uint64_t end) {
  if (box.size > end - box.offset) return false;
  if (is_top_level_type(box.name())) return true;
  if (box.end() == end) return false;
  if (!is_ascii_text(box.name())) return false;
  for (uint64_t offset = box.offset + 1; offset < box.offset + box.type.size(); ++offset) {
    if (begins_box(stream, type, offset, end)) return false;
  }
  return true;
}

}  // namespace

bool ParsedMovie::has_box(std::string_view type, uint64_t begin, uint64_t end) const {
  constexpr uint32_t kMostBoxes = 100'000;  // a hostile file may have millions
  constexpr std::string_view kZeros("\0\0\0\0", 4);
  const bool is_in_movie = begin < record_.movie_end;
  FileStream stream(name_);
  BlockReader block(stream);
  end = std::min(end, stream.size());
  uint64_t offset = begin;
  for (uint32_t boxes = 0; offset < end && boxes < kMostBoxes; ++boxes) {
    const auto box = read_box_header(stream, offset, end);
    const bool fits = box && box->size <= end - offset;
    // What cut_off_box() knows it reports itself.
    const bool is_cut_off = box && !fits && !is_in_movie && !is_top_level_type(type);
    if (box && box->name() == type && (fits || is_cut_off)) return true;
    const bool is_cut_off_data = box && !fits && box->name() == "mdat";
    if (is_cut_off_data || (is_in_movie && !fits)) return false;
    const bool is_box = is_in_movie ? box->name() != kZeros : box && is_possible(stream, type, *box, end);
    offset = is_box ? box->end() : find_box(stream, block, type, offset + 1, end);
  }
  return false;
}

std::optional<BoxHeader> ParsedMovie::cut_off_box() const {
  constexpr uint32_t kMostBoxes = 100'000;
  FileStream stream(name_);
  uint32_t boxes = 0;
  const WalkEnd end =
      walk_box_headers(stream, 0, stream.size(), [&](const BoxHeader&) { return ++boxes < kMostBoxes; });
  const auto box = end.is_complete ? std::nullopt : read_box_header(stream, end.offset, stream.size());
  const bool is_cut = box && is_top_level_type(box->name()) && box->size > stream.size() - box->offset;
  return is_cut ? box : std::nullopt;
}

namespace {

bool holds_any(std::span<const std::string_view> types, FileStream& stream, const BoxHeader& box) {
  constexpr uint32_t kMostBoxes = 16;
  uint32_t boxes = 0;
  bool found = false;
  walk_box_headers(stream, box.offset + box.header_size, box.end(), [&](const BoxHeader& child) {
    found = std::ranges::find(types, child.name()) != types.end();
    return !found && ++boxes < kMostBoxes;
  });
  return found;
}

// Why the parser does not read the track that a box holds or belongs to; null if there is none.
const char* reason_hidden(FileStream& stream, const BoxHeader& box) {
  constexpr std::string_view kInTrack[] = {"tkhd", "mdia"};
  constexpr std::string_view kParts[] = {"mdia", "minf", "stbl"};
  constexpr std::string_view kInParts[] = {"hdlr", "minf", "stbl", "stsd"};
  if (box.name() == "trak") return "damaged: a track inside another box, so it is not read";
  if (holds_any(kInTrack, stream, box))
    return "damaged: holds a track, but is not a trak box, so it is not read";
  const bool is_part = std::ranges::find(kParts, box.name()) != std::end(kParts);
  return is_part && holds_any(kInParts, stream, box)
             ? "damaged: belongs to a track, but is not in a trak box, so it is not read"
             : nullptr;
}

}  // namespace

std::optional<HiddenTrack> ParsedMovie::hidden_track() const {
  if (record_.unread.empty()) return std::nullopt;
  FileStream stream(name_);
  for (const UnreadBox& unread : record_.unread) {
    if (unread.offset >= stream.size()) continue;
    const auto box = read_box_header(stream, unread.offset, stream.size());
    if (!box || box->size > stream.size() - unread.offset) continue;
    if (const char* const reason = reason_hidden(stream, *box))
      return HiddenTrack{unread.container + "/" + type_text(box->name()), *box, reason};
  }
  return std::nullopt;
}

std::optional<BoxHeader> ParsedMovie::quicktime_meta() const {
  // The parser has passed over four bytes of version and flags, and read the type of the handler as a size.
  constexpr uint64_t kHandlerType = 0x68646C72;  // "hdlr"
  constexpr uint64_t kFullHeader = 12;
  if (error_.size != kHandlerType || error_.offset < kFullHeader) return std::nullopt;
  FileStream stream(name_);
  return read_box_header(stream, error_.offset - kFullHeader, stream.size());
}

bool ParsedMovie::failed_at_quicktime_form() const {
  if (quicktime_meta()) return true;
  const std::string_view path = error_.path;
  const size_t entry = path.find("/stsd/");
  const bool is_in_entry = entry != path.npos && path.find('/', entry + 6) != path.npos;
  // The version is the fifth field of the 28 bytes between the header of the description and its boxes.
  constexpr uint64_t kVersionToBoxes = 20;
  if (!is_in_entry || error_.offset < kVersionToBoxes) return false;
  FileStream stream(name_);
  std::array<uint8_t, 2> version{};
  stream.read_at(error_.offset - kVersionToBoxes, version);
  return version[0] == 0 && (version[1] == 1 || version[1] == 2);
}

bool ParsedMovie::has_external_data(const TrackRecord& track) const {
  constexpr uint8_t kSelfContained = 1;
  constexpr uint64_t kWithoutLocation = 12;  // some writers do not set the flag
  if (track.references_begin == 0) return false;
  FileStream stream(name_);
  bool is_external = false;
  uint64_t number = 0;
  const auto read_reference = [&](const BoxHeader& box) {
    if (++number < track.data_reference) return true;
    std::array<uint8_t, 4> flags{};
    stream.read_at(box.offset + box.header_size, flags);
    is_external = (flags[3] & kSelfContained) == 0 && box.size > kWithoutLocation;
    return false;
  };
  walk_box_headers(stream, track.references_begin, track.references_end, read_reference);
  return is_external;
}

// Calls `visit` for the entries of a sample table until it returns false. A table that ends early is reported
// when its samples are read.
template <size_t kEntryBytes>
void ParsedMovie::read_entries(uint64_t offset, uint64_t count,
                               const std::function<bool(const uint8_t* entry)>& visit) const {
  std::array<uint8_t, 512 * kEntryBytes> entries;
  FileStream stream(name_);
  for (uint64_t left = count * kEntryBytes; left != 0;) {
    const auto wanted_bytes = static_cast<size_t>(std::min<uint64_t>(left, entries.size()));
    const std::span<uint8_t> wanted = std::span(entries).first(wanted_bytes);
    if (stream.read_at(offset, wanted) != wanted.size()) return;
    for (size_t at = 0; at < wanted.size(); at += kEntryBytes) {
      if (!visit(&entries[at])) return;
    }
    offset += wanted.size();
    left -= wanted.size();
  }
}

bool ParsedMovie::lacks_times(const TrackRecord& track) const {
  uint64_t samples = 0;
  uint64_t longest = 0;
  constexpr size_t kEntryBytes = 8;  // number of samples, duration of each
  read_entries<kEntryBytes>(track.timed_runs_offset, track.timed_runs.value_or(0), [&](const uint8_t* entry) {
    samples += read_be(entry, 4);
    longest = read_be(entry + 4, 4);
    return longest == 0;
  });
  return samples > 1 && longest == 0;
}

std::optional<ParsedMovie::TimedSamples> ParsedMovie::timed_samples(const TrackRecord& track) const {
  const uint64_t runs = track.timed_runs.value_or(0);
  const bool is_overfull = track.overfull_table && track.overfull_table->type == "stts";
  if (runs == 0 || runs > kLongTable || is_overfull) return std::nullopt;
  TimedSamples times;
  constexpr size_t kEntryBytes = 8;  // number of samples, duration of each
  read_entries<kEntryBytes>(track.timed_runs_offset, runs, [&](const uint8_t* entry) {
    const uint64_t count = read_be(entry, 4);
    times.last = read_be(entry + 4, 4);
    times.count += count;
    times.end += count * times.last;
    return true;
  });
  return times;
}

std::optional<ParsedMovie::KeyFrameFault> ParsedMovie::invalid_key_frame(const TrackRecord& track,
                                                                         uint64_t samples) const {
  constexpr size_t kEntryBytes = 4;
  constexpr uint64_t kMostRead = 65'536;
  KeyFrameFault last;
  bool is_valid = true;
  const uint64_t read = std::min<uint64_t>(track.sync_samples.value_or(0), kMostRead);
  read_entries<kEntryBytes>(track.sync_samples_offset, read, [&](const uint8_t* entry) {
    const uint64_t sample = read_be(entry, kEntryBytes);
    const bool is_sample = sample != 0 && sample <= samples;
    is_valid = is_sample && sample > last.sample;
    last = {last.entry + 1, sample, is_sample};
    return is_valid;
  });
  return is_valid ? std::nullopt : std::optional(last);
}

std::optional<ParsedMovie::LostChunk> ParsedMovie::chunk_past_end(const TrackRecord& track,
                                                                  P3gppTrack* opened, uint32_t samples,
                                                                  uint64_t file_size) const {
  constexpr size_t kEntryBytes = 12;  // first chunk, samples per chunk, sample description
  constexpr uint64_t kMostChunks = 262'144;
  std::optional<LostChunk> lost;
  uint64_t chunk = 1;
  uint64_t first = 1;  // sample of the chunk
  uint64_t in_chunk = 0;
  const uint64_t last_chunk = std::min(track.chunks, kMostChunks);
  const auto read = [&](uint64_t number) {
    P3gppSample sample{};
    sample.number = static_cast<uint32_t>(number);
    const int32_t status = with_memory(P3GPP_ReadSample(opened, &sample), P3GPP_ERR_NO_MEMORY);
    return status == P3GPP_OK ? std::optional(sample) : std::nullopt;
  };
  const auto find_in_run = [&](uint64_t end) {
    for (; in_chunk != 0 && chunk < end && chunk <= last_chunk && first <= samples; ++chunk) {
      const auto end_of_chunk = read(std::min<uint64_t>(first + in_chunk - 1, samples));
      if (end_of_chunk && !lies_within(*end_of_chunk, file_size)) {
        const auto begin = read(first);
        lost = LostChunk{chunk, begin && begin->file_offset >= file_size};
        return false;
      }
      first += in_chunk;
    }
    return true;
  };
  read_entries<kEntryBytes>(track.chunk_runs_offset, track.chunk_runs, [&](const uint8_t* entry) {
    const bool goes_on = find_in_run(read_be(entry, 4));
    in_chunk = read_be(entry + 4, 4);
    return goes_on;
  });
  if (!lost) find_in_run(last_chunk + 1);
  return lost;
}

bool ParsedMovie::ends_before_duration(const TrackRecord& track) const {
  constexpr uint64_t kUnknownDuration = UINT32_MAX;  // or more
  const auto times = timed_samples(track);
  return times && track.duration < kUnknownDuration && track.duration > times->end + times->last;
}

ParsedMovie::ChunkedSamples ParsedMovie::chunked_samples(const TrackRecord& track) const {
  constexpr size_t kEntryBytes = 12;  // first chunk, samples per chunk, sample description
  ChunkedSamples found;
  uint64_t begin = track.chunks + 1;  // of the run before
  const auto end_run = [&](uint64_t end) {
    const uint64_t last = std::min(end, track.chunks + 1);
    if (last > begin) found.count += (last - begin) * found.in_last_chunk;
  };
  read_entries<kEntryBytes>(track.chunk_runs_offset, track.chunk_runs, [&](const uint8_t* entry) {
    const uint64_t first = read_be(entry, 4);
    const uint64_t description = read_be(entry + 8, 4);
    end_run(first);
    begin = first;
    found.in_last_chunk = read_be(entry + 4, 4);
    found.has_invalid_description |= description == 0 || description > track.sample_entries;
    return true;
  });
  end_run(track.chunks + 1);
  return found;
}

std::vector<uint32_t> ParsedMovie::track_ids(uint32_t type) const {
  P3gppTrackCounts counts{};
  if (P3GPP_GetTrackCounts(file(), &counts) != P3GPP_OK) return {};
  std::vector<uint32_t> ids(type == P3GPP_TRACK_AUDIO ? counts.audio : counts.video);
  uint32_t found = 0;
  if (ids.empty() || P3GPP_GetTrackIds(file(), type, ids.data(), &found) != P3GPP_OK) return {};
  ids.resize(std::min<size_t>(found, ids.size()));
  return ids;
}

const TrackRecord* ParsedMovie::first_track(uint32_t type) const {
  const std::vector<uint32_t> ids = track_ids(type);
  if (ids.empty()) return nullptr;
  const std::string_view handler = type == P3GPP_TRACK_AUDIO ? "soun" : "vide";
  const auto found = std::ranges::find_if(record_.tracks, [&](const TrackRecord& track) {
    return track.id == ids[0] && track.handler == handler;
  });
  return found != record_.tracks.end() ? &*found : nullptr;
}

int32_t ParsedMovie::get_facts(uint32_t id, TrackFacts& facts) const {
  P3gppTrackInfo* info = nullptr;
  const int32_t status = with_memory(P3GPP_GetTrackInfo(file(), id, &info), P3GPP_ERR_NO_MEMORY);
  if (status != P3GPP_OK) return status;
  facts = {info->sample_count, info->time_scale, info->media_duration};
  info->release(info);
  return P3GPP_OK;
}

OpenTrack ParsedMovie::open_track(uint32_t id, int32_t& status, uint32_t cache_bytes) const {
  P3gppTrack* track = nullptr;
  status = with_memory(P3GPP_OpenTrack(file(), &track, id, cache_bytes), P3GPP_ERR_NO_MEMORY);
  // The file was opened a moment ago, so a failed open means that memory or handles are exhausted.
  with_memory(status, P3GPP_ERR_OPEN);
  return OpenTrack(track);
}

// True if the file cannot be opened for another reason than exhausted memory or handles. The system opens
// folders.
static bool is_refused(const std::string& file) {
  std::error_code code;
  if (!std::filesystem::is_regular_file(file, code)) return true;
  errno = 0;
  return !std::ifstream(file).is_open() && errno != ENOMEM && errno != EMFILE && errno != ENFILE;
}

std::unique_ptr<const ParsedMovie> parse_iso_media(const std::string& file, const P3gppBoxVisitor* observer) {
  if (mp4source::source_kind_of(file) != mp4source::SOURCE_KIND_MP4) return nullptr;
  auto movie = std::make_unique<const ParsedMovie>(file, observer);
  // Here the parser reports exhausted memory or handles with this status only. Without the movie, the notes
  // on what is left out would be missing silently.
  if (movie->status() == P3GPP_ERR_OPEN && !is_refused(file)) throw_exhausted();
  return movie;
}

}  // namespace zdr::host
