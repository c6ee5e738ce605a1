// Locates every sample once, in decoding order.
#include "host/plot/gather/movie_figures.h"

#include <algorithm>
#include <memory>
#include <set>
#include <utility>

#include "host/inspect/diagnosis/track_diagnosis.h"
#include "host/inspect/iso/box_headers.h"
#include "host/inspect/iso/box_layout.h"
#include "host/inspect/iso/movie_description.h"
#include "host/inspect/iso/parser_status.h"
#include "host/inspect/iso/sample_walk.h"
#include "host/inspect/iso/sync_walk.h"
#include "host/text/decoded_text.h"

namespace zdr::host::plot {
namespace {

constexpr size_t kMostTracks = 8;
constexpr size_t kMostBoxes = 50'000;
// Of all tracks together: a file of a few bytes may claim four thousand million.
constexpr uint64_t kMostSamples = 20'000'000;

double seconds(uint32_t time, uint32_t time_scale) {
  return time_scale == 0 ? 0 : static_cast<double>(time) / time_scale;
}

// A track whose samples the parser can locate.
struct Source {
  const TrackRecord* record;
  OpenTrack track{};
  TrackFacts facts{};
  double end = 0;
};

// The end of the last sample by the table of times. The duration in the header may be anything.
double end_of(P3gppTrack* track, const TrackFacts& facts) {
  uint32_t last = 0;
  uint32_t before = 0;
  uint32_t composition = 0;
  const double stated = seconds(facts.duration, facts.time_scale);
  if (facts.samples < 2) return stated;
  if (P3GPP_GetSampleTime(track, facts.samples - 1, &before, &composition) != P3GPP_OK) return stated;
  last = before;
  if (P3GPP_GetSampleTime(track, facts.samples, &last, &composition) != P3GPP_OK || last <= before)
    return std::max(stated, seconds(before, facts.time_scale));
  return seconds(last, facts.time_scale) + seconds(last - before, facts.time_scale);
}

std::optional<Source> open_source(const ParsedMovie& movie, const TrackRecord& record) {
  Source source{.record = &record};
  if (!record.id || movie.has_external_data(record)) return std::nullopt;
  if (movie.get_facts(*record.id, source.facts) != P3GPP_OK || source.facts.samples == 0) return std::nullopt;
  source.track = movie.open_track_to_walk(*record.id);
  if (!source.track) return std::nullopt;
  source.end = end_of(source.track.get(), source.facts);
  return source;
}

// Returns the time at which the walk ended.
double walk_samples(const Source& source, uint64_t most, const Watch& watch, UnitCollector& collector,
                    TrackFigure& figure, std::vector<std::string>& notes) {
  SyncWalk sync(source.track.get(), source.facts.samples);
  figure.all_are_sync = sync.every_sample_is_sync();
  if (!figure.all_are_sync) figure.key_frames = 0;
  uint32_t next_sync = figure.all_are_sync ? 0 : sync.next();
  const auto drawn = static_cast<uint32_t>(std::min<uint64_t>(source.facts.samples, most));
  SampleWalk walk(source.track.get(), drawn);
  double start = 0;
  for (auto samples = walk.next(); !samples.empty(); samples = walk.next()) {
    for (const P3gppSample& sample : samples) {
      const bool is_key = sample.number == next_sync;
      if (is_key) next_sync = sync.next();
      const bool is_in_file = collector.add({sample.file_offset, sample.size, sample.decoding_time, is_key});
      if (is_key && is_in_file) ++*figure.key_frames;
    }
    start = seconds(samples.back().decoding_time, source.facts.time_scale);
    if (!watch(walk.done(), source.facts.samples)) return start;
  }
  if (walk.status() != P3GPP_OK) {
    figure.fault =
        "sample " + std::to_string(walk.done() + 1) + " cannot be located: " + describe_lookup(walk.status());
    figure.fault_from = start;
    return start;
  }
  if (drawn < source.facts.samples) {
    notes.push_back(figure.name + ": only the first " + std::to_string(drawn) + " of " +
                    counted(source.facts.samples, "sample") + " are drawn");
    return start;
  }
  return source.end;
}

// "AVC (High, level 1.2) 320x180", "text (tx3g)"
std::string codec_text(const TrackDescription& track) {
  const std::string type = printable(type_text(track.entry_type));
  std::string text = track.codec.empty() ? kind_of(track.handler) + " (" + type + ")" : track.codec;
  if (!track.profile.empty())
    text += " (" + track.profile + (track.level.empty() ? "" : ", level " + track.level) + ")";
  if (track.width && track.height)
    text += " " + std::to_string(*track.width) + "x" + std::to_string(*track.height);
  if (track.sample_rate) text += " " + std::to_string(*track.sample_rate) + " Hz";
  return track.channels ? text + " " + counted(*track.channels, "channel") : text;
}

// "Video0" of a track that a pin plays, else "track 3".
TrackFigure describe(const ParsedMovie& movie, const TrackRecord& record, const MovieDescription& description,
                     const std::vector<PinLabel>& pins) {
  TrackFigure figure{.name = "track " + std::to_string(record.number), .number = record.number};
  const auto described = std::ranges::find(description.tracks, record.number, &TrackDescription::number);
  if (described != description.tracks.end()) figure.codec = codec_text(*described);
  figure.unit = is_video(record) || is_audio(record) ? "access unit" : "sample";
  for (const PinLabel& pin : pins) {
    if (movie.first_track(pin.track_type) != &record) continue;
    figure.name = pin.name;
    figure.number = 0;
  }
  return figure;
}

// Why the samples of a track cannot be drawn.
std::string missing_reason(const ParsedMovie& movie, const TrackRecord& record) {
  if (!record.id) return "its header cannot be read";
  if (movie.has_external_data(record)) return "its media data are in another file";
  return "it has no samples that can be located";
}

}  // namespace

// False for bytes that are hardly the type of a box.
static bool has_plain_type(const BoxHeader& header) {
  return std::ranges::all_of(header.name(), [](char c) { return (c >= 0x20 && c < 0x7F) || c == '\xA9'; });
}

void add_boxes(const std::string& file, FileFigure& figure) {
  FileStream stream(file);
  const uint64_t end = stream.size();
  uint64_t offset = 0;
  while (offset < end && figure.boxes.size() < kMostBoxes) {
    const std::optional<BoxHeader> header = read_box_header(stream, offset, end);
    if (!header || (header->end() > end && !has_plain_type(*header))) {
      figure.boxes.push_back({.offset = offset, .size = end - offset});
      figure.faults.push_back(
          {counted(end - offset, "byte") + " outside any box, at offset " + std::to_string(offset), offset,
           false});
      return;
    }
    const uint64_t size = std::min(header->size, end - offset);
    const std::string type = printable(type_text(header->name()));
    figure.boxes.push_back({type, offset, size, header->size - size});
    // A file that begins with an unknown box is not ISO media; open_fault() or its caller says so.
    const bool is_iso = offset != 0 || is_top_level_type(header->name());
    if (header->size > size && is_iso)
      figure.faults.push_back({"box " + type + " at offset " + std::to_string(offset) +
                                   ": cut off: extends " + counted(header->size - size, "byte") +
                                   " past the end of the file",
                               end, type == "mdat" || type == "moov" || type == "moof"});
    offset += size;
  }
  if (offset < end)
    figure.notes.push_back("the boxes from offset " + std::to_string(offset) + " on are not drawn");
}

void add_tracks(const std::string& file, const ParsedMovie& movie, const std::vector<PinLabel>& pins,
                const Watch& watch, FileFigure& figure) {
  std::vector<Source> sources;
  std::set<uint32_t> ids;  // the parser opens the first track of an ID
  size_t left_out = 0;
  for (const TrackRecord& record : movie.record().tracks) {
    if (record.id && !ids.insert(*record.id).second) continue;
    if (sources.size() == kMostTracks) {
      ++left_out;
    } else if (auto source = open_source(movie, record)) {
      sources.push_back(std::move(*source));
    } else {
      figure.notes.push_back(place_of(record).text() + " is not drawn: " + missing_reason(movie, record));
    }
  }
  if (left_out != 0) figure.notes.push_back("not drawn: " + counted(left_out, "more track"));
  double end = 0;
  for (const Source& source : sources) end = std::max(end, source.end);
  figure.grid = make_grid(figure.grid.file_size, end, sources.size());
  FileStream stream(file);
  const MovieDescription description = describe_movie(stream);
  uint64_t samples = 0;
  for (const Source& source : sources) samples += source.facts.samples;
  const uint64_t most = samples <= kMostSamples ? kMostSamples : kMostSamples / sources.size();
  uint64_t bytes = 0;
  uint64_t played = 0;  // of these, by a pin
  for (const Source& source : sources) {
    TrackFigure& track = figure.tracks.emplace_back(describe(movie, *source.record, description, pins));
    UnitCollector collector(figure.grid, source.facts.time_scale, track);
    collector.finish(walk_samples(source, most, watch, collector, track, figure.notes));
    bytes += track.bytes;
    if (track.number == 0) played += track.bytes;
  }
  constexpr const char* kOverlap = "the sample tables describe more data than the file holds";
  if (played > figure.grid.file_size) {
    Fault& fault = figure.faults.emplace_back();
    fault.text = kOverlap;
    fault.code = MessageCode::kTablesOverlap;
  } else if (bytes > figure.grid.file_size) {
    figure.notes.emplace_back(kOverlap);
  }
}

}  // namespace zdr::host::plot
