// Adds to each track the pin that plays it, or why none does. The filter plays the first track of each kind
// that the parser could read.
#include "host/commands/movie_report.h"

#include <algorithm>
#include <set>
#include <string_view>

#include "host/formats/aac_format.h"
#include "host/inspect/diagnosis/track_diagnosis.h"
#include "host/inspect/iso/codec_profile.h"
#include "host/inspect/iso/edit_window.h"
#include "host/inspect/iso/track_bytes.h"
#include "host/memory.h"

namespace zdr::host {
namespace {

const PinEntry* pin_of(std::span<const PinEntry> pins, bool is_audio) {
  const auto found = std::ranges::find_if(
      pins, [is_audio](const PinEntry& pin) { return pin.is_audio() == is_audio && !pin.types.empty(); });
  return found != pins.end() ? &*found : nullptr;
}

// The first access unit may reveal SBR that the configuration does not signal.
void add_aac(TrackDescription& track, const CMediaType& type) {
  if (!is_aac_access_units(type)) return;
  const AacFormat format = read_aac_format(type);
  if (const auto config = read_aac_config(format.config, format.first_unit))
    describe_aac_track(track, *config);
}

void add_use(TrackDescription& track, const ParsedMovie& movie, std::span<const PinEntry> pins) {
  const auto& records = movie.record().tracks;
  const auto record = std::ranges::find(records, track.number, &TrackRecord::number);
  if (record == records.end()) {
    track.not_played = "the parser stopped before it";
    return;
  }
  if (can_trim(record->edits)) {
    const EditCut cut = edit_cut(movie, *record);
    track.skipped_start = cut.front;
    track.skipped_end = cut.tail;
  }
  if (!is_audio(*record) && !is_video(*record)) {
    track.not_played = "only audio and video tracks are played";
    return;
  }
  const TrackRecord* const first = movie.first_track(track_type(is_audio(*record)));
  const PinEntry* const pin = pin_of(pins, is_audio(*record));
  if (&*record == first && pin != nullptr) {
    track.pin = pin->name;
    return add_aac(track, pin->types.front());
  }
  const bool is_further = first != nullptr && record->number > first->number;
  constexpr std::string_view kPrefix = "not played: ";
  const std::string reason = (is_further ? further_track(*record) : why_not_played(movie, *record)).reason;
  track.not_played = reason.substr(reason.starts_with(kPrefix) ? kPrefix.size() : 0);
}

}  // namespace

MovieDescription report_movie(const std::string& file, const ParsedMovie& movie,
                              std::span<const PinEntry> pins, bool find_peaks,
                              const std::function<bool(uint64_t done, uint64_t total)>& watch) {
  FileStream stream(file);
  if (!stream.is_open()) throw_exhausted();  // the parser has just opened it
  MovieDescription description = describe_movie(stream);
  description.has_fragments = movie.has_fragments();
  std::set<uint64_t> ids;
  for (TrackDescription& track : description.tracks) {
    add_use(track, movie, pins);
    // The parser finds only the first track of an ID.
    if (!track.id || !ids.insert(*track.id).second) continue;
    if (const OpenTrack opened = movie.open_track(static_cast<uint32_t>(*track.id))) {
      track.media_bytes = count_track_bytes(opened.get());
      track.start_100ns = start_of_track(opened.get(), track, description.time_scale);
    }
    if (find_peaks) track.peak_bit_rate = find_peak_bit_rate(movie, track, watch);
  }
  return description;
}

}  // namespace zdr::host
