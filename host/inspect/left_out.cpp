// The boxes of a traced open tell what the parser's counts do not: every handler, edit lists, fragments.
#include "host/inspect/left_out.h"

#include <algorithm>
#include <string_view>

#include "host/decoded_text.h"
#include "host/inspect/parsed_file.h"

namespace zdr::host {
namespace {

constexpr std::string_view kVideo = "vide";
constexpr std::string_view kAudio = "soun";
constexpr size_t kMostKinds = 16;  // of tracks that are told of; a hostile file has thousands

constexpr uint64_t kUnknownDuration = UINT32_MAX;  // or more

struct HandlerName {
  std::string_view handler;
  const char* name;
};

constexpr HandlerName kHandlerNames[] = {
    {"hint", "hint"},     {"meta", "metadata"}, {"sdsm", "scene description"}, {"odsm", "object descriptor"},
    {"text", "text"},     {"sbtl", "subtitle"}, {"subt", "subtitle"},          {"subp", "subtitle"},
    {"clcp", "captions"}, {"tmcd", "time code"}};

// The edits of a track that show something; empty ones shift it, and that is applied.
struct Edits {
  uint64_t count = 0;
  int64_t first_media_time = 0;  // of the first, in units of the track
  uint64_t duration = 0;         // of all, in units of the movie; 0: to the end
  bool is_wide = false;          // version 1, the fields of which the parser takes for 32-bit ones
};

struct TrackFacts {
  std::string path;  // "moov/trak[1]"
  std::string handler;
  uint64_t time_scale = 0;
  uint64_t duration = 0;  // in units of the track
  Edits edits;
};

// Takes what is needed of the boxes as they are shown, track by track.
class FileFacts {
 public:
  FileFacts() : visitor_{this, take_box, take_field} {}
  FileFacts(const FileFacts&) = delete;
  FileFacts& operator=(const FileFacts&) = delete;

  const P3gppBoxVisitor& visitor() const { return visitor_; }
  const std::vector<TrackFacts>& tracks() const { return tracks_; }
  const TrackFacts* first_of(std::string_view handler) const {
    const auto found = std::ranges::find(tracks_, handler, &TrackFacts::handler);
    return found == tracks_.end() ? nullptr : &*found;
  }
  bool is_fragmented() const { return is_fragmented_; }
  uint64_t movie_time_scale() const { return movie_time_scale_; }

 private:
  enum class Source { kOther, kMovieHeader, kHandler, kMediaHeader, kEdits };

  // Called from the parser, which exceptions must not cross. Without memory there are fewer notes.
  static void take_box(void* caller, const P3gppBox* box) noexcept {
    auto& facts = *static_cast<FileFacts*>(caller);
    try {
      facts.source_ = facts.begin(*box);
    } catch (...) {
      facts.source_ = Source::kOther;
    }
  }
  static void take_field(void* caller, const P3gppBoxField* field) noexcept {
    auto& facts = *static_cast<FileFacts*>(caller);
    try {
      facts.take(*field);
    } catch (...) {
      facts.source_ = Source::kOther;
    }
  }

  Source begin(const P3gppBox& box);
  void take(const P3gppBoxField& field);
  void take_edit(const P3gppBoxField& field);

  P3gppBoxVisitor visitor_;
  std::vector<TrackFacts> tracks_;
  bool is_fragmented_ = false;
  uint64_t movie_time_scale_ = 0;
  Source source_ = Source::kOther;
  uint64_t segment_duration_ = 0;  // of the edit whose media time comes next
};

FileFacts::Source FileFacts::begin(const P3gppBox& box) {
  const std::string_view path = box.path;
  if (path == "moof" || path == "moov/mvex") is_fragmented_ = true;
  if (path == "moov/mvhd") return Source::kMovieHeader;
  constexpr std::string_view kTrackPrefix = "moov/trak[";
  if (!path.starts_with(kTrackPrefix)) return Source::kOther;
  const std::string_view track = path.substr(0, path.find('/', kTrackPrefix.size()));
  const std::string_view inside = path.substr(track.size());
  const Source source = inside == "/mdia/hdlr"   ? Source::kHandler
                        : inside == "/mdia/mdhd" ? Source::kMediaHeader
                        : inside == "/edts/elst" ? Source::kEdits
                                                 : Source::kOther;
  if (source == Source::kOther) return source;
  if (tracks_.empty() || tracks_.back().path != track) tracks_.emplace_back().path = track;
  if (source == Source::kEdits) tracks_.back().edits.is_wide = box.version != 0;
  return source;
}

void FileFacts::take(const P3gppBoxField& field) {
  const std::string_view name = field.name;
  switch (source_) {
    case Source::kMovieHeader:
      if (name == "time_scale") movie_time_scale_ = field.number;
      return;
    case Source::kHandler:
      if (name != "handler_type") return;
      tracks_.back().handler.assign(reinterpret_cast<const char*>(field.bytes.bytes), field.bytes.length);
      return;
    case Source::kMediaHeader:
      if (name == "time_scale") tracks_.back().time_scale = field.number;
      if (name == "duration") tracks_.back().duration = field.number;
      return;
    case Source::kEdits:
      return take_edit(field);
    case Source::kOther:
      return;
  }
}

void FileFacts::take_edit(const P3gppBoxField& field) {
  const std::string_view name = field.name;
  if (name == "segment_duration") segment_duration_ = field.number;
  if (name != "media_time" || static_cast<int64_t>(field.number) < 0) return;
  Edits& edits = tracks_.back().edits;
  if (edits.count++ == 0) edits.first_media_time = static_cast<int64_t>(field.number);
  edits.duration += segment_duration_;
}

std::string seconds(uint64_t units, uint64_t time_scale) {
  return std::to_string(units) + "/" + std::to_string(time_scale) + " s";
}

// How much of the media lies behind the one edit of a track, in units of the track. Less than a unit of the
// movie is rounding.
uint64_t tail_behind(const TrackFacts& track, uint64_t movie_time_scale) {
  const Edits& edits = track.edits;
  if (edits.duration == 0 || movie_time_scale == 0 || track.duration >= kUnknownDuration) return 0;
  const double shown = static_cast<double>(edits.duration) * static_cast<double>(track.time_scale) /
                       static_cast<double>(movie_time_scale);
  const double rounding = static_cast<double>(track.time_scale) / static_cast<double>(movie_time_scale);
  const double tail =
      static_cast<double>(track.duration) - static_cast<double>(edits.first_media_time) - shown;
  return tail <= rounding + 1 ? 0 : static_cast<uint64_t>(tail);
}

// Empty when playing the whole media is what the edits ask for.
std::string unapplied_edits(const TrackFacts& track, uint64_t movie_time_scale, bool is_audio) {
  const Edits& edits = track.edits;
  if (edits.count == 0) return {};
  if (edits.is_wide) return "its entries are 64 bits wide";
  if (edits.count > 1) return "its " + std::to_string(edits.count) + " parts are played as they are stored";
  std::string text;
  if (edits.first_media_time > 0) {
    const std::string front = seconds(static_cast<uint64_t>(edits.first_media_time), track.time_scale);
    text = is_audio ? "priming of " + front + " is not trimmed" : "it begins " + front + " into the media";
  }
  if (const uint64_t tail = tail_behind(track, movie_time_scale); tail > 0) {
    text += (text.empty() ? "" : ", ") + ("the last " + seconds(tail, track.time_scale) + " are not trimmed");
  }
  return text;
}

// Of the tracks that pins can play.
void note_played_kind(const ParsedFile& parsed, const FileFacts& facts, uint32_t type,
                      std::vector<std::string>& notes) {
  const bool is_audio = type == P3GPP_TRACK_AUDIO;
  const std::string name = is_audio ? "audio" : "video";
  const std::vector<uint32_t> ids = parsed.track_ids(type);
  if (ids.empty()) return;
  if (ids.size() > 1) {
    notes.push_back(std::to_string(ids.size() - 1) + " further " + name + " track(s) not used; the first is");
  }
  uint32_t samples = 0;
  const int32_t status = parsed.get_sample_count(ids[0], samples);
  if (status != P3GPP_OK) {
    notes.push_back("the " + name + " track has no usable sample tables [" + std::to_string(status) + "]");
  } else if (samples == 0) {
    notes.push_back("the " + name + " track has no samples in its tables");
  }
  const TrackFacts* track = facts.first_of(is_audio ? kAudio : kVideo);
  if (track == nullptr) return;
  const std::string edits = unapplied_edits(*track, facts.movie_time_scale(), is_audio);
  if (!edits.empty()) notes.push_back("the " + name + " track's edit list is not applied: " + edits);
}

std::string kind_of(const std::string& handler) {
  const auto* const known = std::ranges::find(kHandlerNames, handler, &HandlerName::handler);
  if (known != std::end(kHandlerNames)) return std::string(known->name) + " track(s)";
  return "track(s) with the handler '" + printable(type_text(handler)) + "'";
}

void note_other_kinds(const FileFacts& facts, std::vector<std::string>& notes) {
  std::vector<std::pair<std::string, size_t>> kinds;  // in the order of the file
  for (const TrackFacts& track : facts.tracks()) {
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

std::vector<std::string> left_out_notes(const std::string& file) {
  std::vector<std::string> notes;
  if (!is_iso_media(file)) return notes;
  FileFacts facts;
  const ParsedFile parsed(file, &facts.visitor());
  if (parsed.status() != P3GPP_OK) return notes;
  const P3gppOpenError& error = parsed.error();
  if (error.status != P3GPP_OK) {
    notes.push_back(std::string("damaged after the tracks in use: ") + error.path + " at offset " +
                    std::to_string(error.offset) + " [" + std::to_string(error.status) + "]");
  }
  if (facts.is_fragmented()) notes.emplace_back("movie fragments are not read");
  note_played_kind(parsed, facts, P3GPP_TRACK_AUDIO, notes);
  note_played_kind(parsed, facts, P3GPP_TRACK_VIDEO, notes);
  note_other_kinds(facts, notes);
  return notes;
}

void tell_left_out(const std::string& file, Messages& messages) {
  for (const std::string& note : left_out_notes(file)) messages.note({file, "", note, ""});
}

}  // namespace zdr::host
