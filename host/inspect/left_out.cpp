// Derives the notes from the records of the tracks.
#include "host/inspect/left_out.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include "host/decoded_text.h"

namespace zdr::host {
namespace {

constexpr std::string_view kVideo = "vide";
constexpr std::string_view kAudio = "soun";
constexpr size_t kMostKinds = 16;  // of tracks named in notes; a hostile file may have thousands

constexpr uint64_t kUnknownDuration = UINT32_MAX;  // or more

struct HandlerName {
  std::string_view handler;
  const char* name;
};

constexpr HandlerName kHandlerNames[] = {
    {"hint", "hint"},     {"meta", "metadata"}, {"sdsm", "scene description"}, {"odsm", "object descriptor"},
    {"text", "text"},     {"sbtl", "subtitle"}, {"subt", "subtitle"},          {"subp", "subtitle"},
    {"clcp", "captions"}, {"tmcd", "time code"}};

std::string seconds(uint64_t units, uint64_t time_scale) {
  return std::to_string(units) + "/" + std::to_string(time_scale) + " s";
}

// How much media follows the only edit of a track, in units of the track. Less than one unit of the movie is
// rounding and counts as 0.
uint64_t tail_after_edit(const TrackRecord& track, uint64_t movie_time_scale) {
  const EditRecord& edits = track.edits;
  if (edits.duration == 0 || movie_time_scale == 0 || track.duration >= kUnknownDuration) return 0;
  const double shown = static_cast<double>(edits.duration) * static_cast<double>(track.time_scale) /
                       static_cast<double>(movie_time_scale);
  const double rounding = static_cast<double>(track.time_scale) / static_cast<double>(movie_time_scale);
  const double tail =
      static_cast<double>(track.duration) - static_cast<double>(edits.first_media_time) - shown;
  return tail <= rounding + 1 ? 0 : static_cast<uint64_t>(tail);
}

// Describes the edits that are not applied; empty if the edits show the whole media.
std::string unapplied_edits(const TrackRecord& track, uint64_t movie_time_scale, bool is_audio) {
  const EditRecord& edits = track.edits;
  if (edits.count == 0) return {};
  if (edits.is_wide) return "its entries are 64 bits wide";
  if (edits.count > 1) return "its " + std::to_string(edits.count) + " parts are played as they are stored";
  std::string text;
  if (edits.first_media_time > 0) {
    const std::string front = seconds(static_cast<uint64_t>(edits.first_media_time), track.time_scale);
    text = is_audio ? "priming of " + front + " is not trimmed" : "it begins " + front + " into the media";
  }
  if (const uint64_t tail = tail_after_edit(track, movie_time_scale); tail > 0) {
    text += (text.empty() ? "" : ", ") + ("the last " + seconds(tail, track.time_scale) + " are not trimmed");
  }
  return text;
}

// Notes on the tracks of a type that pins can play (P3GPP_TRACK_).
void add_notes_on_played_type(const ParsedMovie& movie, uint32_t type, std::vector<std::string>& notes) {
  const bool is_audio = type == P3GPP_TRACK_AUDIO;
  const std::string name = is_audio ? "audio" : "video";
  const std::vector<uint32_t> ids = movie.track_ids(type);
  if (ids.empty()) return;
  if (ids.size() > 1) {
    notes.push_back(std::to_string(ids.size() - 1) + " further " + name + " track(s) not used; the first is");
  }
  TrackFacts facts;
  const int32_t status = movie.get_facts(ids[0], facts);
  if (status != P3GPP_OK) {
    notes.push_back("the " + name + " track has no usable sample tables [" + std::to_string(status) + "]");
  } else if (facts.samples == 0) {
    notes.push_back("the " + name + " track has no samples in its tables");
  }
  const MovieRecord& record = movie.record();
  const auto track = std::ranges::find(record.tracks, is_audio ? kAudio : kVideo, &TrackRecord::handler);
  if (track == record.tracks.end()) return;
  const std::string edits = unapplied_edits(*track, record.time_scale, is_audio);
  if (!edits.empty()) notes.push_back("the " + name + " track's edit list is not applied: " + edits);
}

// The track that a pin has: the filter takes the first track of the pin's type, and opens it by its ID, which
// is 0 for a track without a header. The first track of that ID is opened.
struct TrackOfPin {
  bool has_header = false;
  uint32_t id = 0;
  std::optional<uint32_t> type;  // P3GPP_TRACK_; empty without a track of that ID
};

// Empty without a track of that type.
std::optional<TrackOfPin> track_of_pin(const ParsedMovie& movie, uint32_t type) {
  P3gppTrackCounts counts{};
  if (P3GPP_GetTrackCounts(movie.file(), &counts) != P3GPP_OK) return std::nullopt;
  if ((type == P3GPP_TRACK_AUDIO ? counts.audio : counts.video) == 0) return std::nullopt;
  TrackOfPin track;
  const std::vector<uint32_t> ids = movie.track_ids(type);
  track.has_header = !ids.empty();
  if (track.has_header) track.id = ids[0];
  P3gppTrackInfo* info = nullptr;
  if (P3GPP_GetTrackInfo(movie.file(), track.id, &info) == P3GPP_OK) track.type = info->track_type;
  if (info != nullptr) info->release(info);
  return track;
}

void add_notes_on_ids(const ParsedMovie& movie, std::vector<std::string>& notes) {
  const auto audio = track_of_pin(movie, P3GPP_TRACK_AUDIO);
  const auto video = track_of_pin(movie, P3GPP_TRACK_VIDEO);
  if (audio && video && audio->has_header && video->has_header && audio->id == video->id) {
    notes.push_back("the audio and the video track have the same ID, " + std::to_string(audio->id) +
                    ": both pins have the first track of that ID");
  }
  for (const auto& [track, name] : {std::pair{audio, "audio"}, std::pair{video, "video"}}) {
    if (!track || track->has_header) continue;
    notes.push_back(std::string("the ") + name + " track has no header and so no ID: " +
                    (track->type ? "its pin has the first track of ID 0" : "it is not used"));
  }
}

std::string kind_of(const std::string& handler) {
  const auto* const known = std::ranges::find(kHandlerNames, handler, &HandlerName::handler);
  if (known != std::end(kHandlerNames)) return std::string(known->name) + " track(s)";
  return "track(s) with the handler '" + printable(type_text(handler)) + "'";
}

void add_notes_on_other_kinds(const MovieRecord& record, std::vector<std::string>& notes) {
  std::vector<std::pair<std::string, size_t>> kinds;  // in the order of the file
  for (const TrackRecord& track : record.tracks) {
    if (track.handler.empty() || track.handler == kAudio || track.handler == kVideo) continue;
    const std::string kind = kind_of(track.handler);
    const auto known = std::ranges::find(kinds, kind, &std::pair<std::string, size_t>::first);
    if (known != kinds.end()) {
      ++known->second;
    } else if (kinds.size() < kMostKinds) {
      kinds.emplace_back(kind, 1);
    }
  }
  for (const auto& [kind, count] : kinds) {
    notes.push_back(std::to_string(count) + " " + kind + " not used");
  }
}

}  // namespace

std::vector<std::string> left_out_notes(const ParsedMovie& movie) {
  std::vector<std::string> notes;
  if (!movie.is_open()) return notes;
  const P3gppOpenError& error = movie.error();
  if (error.status != P3GPP_OK) {
    notes.push_back(std::string("damaged after the tracks in use: ") + error.path + " at offset " +
                    std::to_string(error.offset) + " [" + std::to_string(error.status) + "]");
  }
  if (movie.record().is_fragmented) notes.emplace_back("movie fragments are not read");
  add_notes_on_played_type(movie, P3GPP_TRACK_AUDIO, notes);
  add_notes_on_played_type(movie, P3GPP_TRACK_VIDEO, notes);
  add_notes_on_ids(movie, notes);
  add_notes_on_other_kinds(movie.record(), notes);
  return notes;
}

bool has_track_of_another_type(const ParsedMovie& movie, bool is_audio) {
  const uint32_t type = is_audio ? P3GPP_TRACK_AUDIO : P3GPP_TRACK_VIDEO;
  const auto track = track_of_pin(movie, type);
  return track && track->type && *track->type != type;
}

void report_left_out(const std::string& file, const ParsedMovie* movie, Messages& messages) {
  if (movie == nullptr) return;
  for (const std::string& note : left_out_notes(*movie))
    messages.note({MessageCode::kTrackNotPlayed, file, {}, note, ""});
}

}  // namespace zdr::host
