// Derives the shown media from the edit, and its access units from the sample tables.
#include "host/inspect/iso/edit_window.h"

#include <algorithm>
#include <cmath>

#include "host/inspect/iso/unit_lookup.h"

namespace zdr::host {
namespace {

constexpr uint64_t kUnknownDuration = UINT32_MAX;  // or more

bool has_end(const TrackRecord& track, uint64_t movie_time_scale) {
  return track.edits.duration != 0 && movie_time_scale != 0 && track.duration < kUnknownDuration;
}

// The time of a unit of the movie, in units of the track.
double movie_unit(const TrackRecord& track, uint64_t movie_time_scale) {
  return static_cast<double>(track.time_scale) / static_cast<double>(movie_time_scale);
}

// The end of the shown media, in units of the track.
double edit_end(const TrackRecord& track, uint64_t movie_time_scale) {
  return static_cast<double>(track.edits.first_media_time) +
         static_cast<double>(track.edits.duration) * movie_unit(track, movie_time_scale);
}

// How much media follows the edit, in units of the track. Less than one unit of the movie is rounding and
// counts as 0.
uint64_t tail_after_edit(const TrackRecord& track, uint64_t movie_time_scale) {
  if (!has_end(track, movie_time_scale)) return 0;
  const double tail = static_cast<double>(track.duration) - edit_end(track, movie_time_scale);
  return tail > movie_unit(track, movie_time_scale) + 1 ? static_cast<uint64_t>(tail) : 0;
}

bool find_units(UnitLookup& lookup, const TrackFacts& facts, bool is_audio, ShownMedia& shown) {
  shown.first_unit = lookup.decodable_from(lookup.unit_at(shown.begin), is_audio);
  const uint64_t first_time = lookup.composition_time(shown.first_unit);
  shown.rest_before = shown.begin > first_time ? shown.begin - first_time : 0;
  if (shown.end == UINT64_MAX) return lookup.is_usable();
  shown.last_unit = lookup.unit_at(shown.end - 1);
  const uint64_t end =
      shown.last_unit < facts.samples ? lookup.decoding_time(shown.last_unit + 1) : facts.duration;
  shown.rest_after = end > shown.end ? end - shown.end : 0;
  return lookup.is_usable();
}

}  // namespace

EditCut edit_cut(const ParsedMovie& movie, const TrackRecord& track) {
  EditCut cut;
  cut.tail = tail_after_edit(track, movie.record().time_scale);
  if (track.edits.first_media_time <= 0) return cut;
  const auto begin = static_cast<uint64_t>(track.edits.first_media_time);
  const OpenTrack opened = track.id ? movie.open_track(*track.id) : nullptr;
  const uint64_t first = opened ? UnitLookup(opened.get(), 1).composition_time(1) : 0;
  cut.front = begin - std::min(begin, first);
  return cut;
}

std::optional<int64_t> start_of_track(P3gppTrack* opened, const TrackDescription& track,
                                      uint64_t movie_time_scale) {
  const EditRecord& edits = track.edits;
  uint32_t decoding = 0;
  uint32_t composition = 0;
  if (track.time_scale.value_or(0) == 0 || (edits.delay != 0 && movie_time_scale == 0) ||
      P3GPP_GetSampleTime(opened, 1, &decoding, &composition) != P3GPP_OK)
    return std::nullopt;
  // Offsets may be negative.
  const double first = static_cast<int32_t>(composition);
  const double in_media =
      edits.count != 0 ? std::max(0.0, first - static_cast<double>(edits.first_media_time)) : first;
  const double delay =
      edits.delay == 0 ? 0 : static_cast<double>(edits.delay) / static_cast<double>(movie_time_scale);
  const double start = delay + in_media / static_cast<double>(*track.time_scale);
  constexpr double kMost = 1e9;  // seconds: more is damage
  return std::abs(start) < kMost ? std::optional(std::llround(start * kUnitsPerSecond)) : std::nullopt;
}

std::optional<ShownMedia> find_shown_media(const ParsedMovie& movie, const TrackRecord& track) {
  const uint64_t movie_time_scale = movie.record().time_scale;
  TrackFacts facts;
  if (!can_trim(track.edits) || !track.id || movie.get_facts(*track.id, facts) != P3GPP_OK)
    return std::nullopt;
  ShownMedia shown;
  shown.time_scale = track.time_scale;
  shown.begin = static_cast<uint64_t>(std::max<int64_t>(track.edits.first_media_time, 0));
  // Within the rounding of the movie's time scale, the header of the media has the more exact end.
  if (has_end(track, movie_time_scale)) {
    const double end = edit_end(track, movie_time_scale);
    const bool has_tail = tail_after_edit(track, movie_time_scale) > 0;
    shown.end = has_tail ? static_cast<uint64_t>(std::llround(end)) : track.duration;
  }
  if (track.time_scale == 0 || shown.begin >= shown.end) return std::nullopt;
  const OpenTrack opened = movie.open_track(*track.id);
  if (!opened) return std::nullopt;
  UnitLookup lookup(opened.get(), facts.samples);
  if (!lookup.is_usable() || !find_units(lookup, facts, track.handler == "soun", shown)) return std::nullopt;
  return shown;
}

}  // namespace zdr::host
