// Derives what is left out from the records of the tracks.
#include "host/inspect/diagnosis/left_out.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "host/inspect/diagnosis/track_diagnosis.h"
#include "host/inspect/iso/edit_window.h"
#include "host/inspect/iso/parser_status.h"
#include "host/inspect/iso/track_description.h"
#include "host/text/decoded_text.h"

namespace zdr::host {
namespace {

constexpr size_t kMostTracks = 16;  // named in messages; a hostile file may have thousands

std::string seconds(uint64_t units, uint64_t time_scale) {
  const double exact = static_cast<double>(units) / static_cast<double>(std::max<uint64_t>(time_scale, 1));
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.3f s", exact);
  return text.data();
}

// Of an edit that does not play at the normal rate.
std::string rate_text(double rate) {
  if (rate == 0) return "its edit shows one moment (rate 0), but all media is played as stored";
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%g", rate);
  return std::string("its edit has a rate of ") + text.data() + ", but all media is played as stored";
}

// Describes the edits that are not applied; empty if the edits show the whole media.
std::string edits_text(const ParsedMovie& movie, const TrackRecord& track) {
  const EditRecord& edits = track.edits;
  if (edits.count == 0) return edits.delay == 0 ? "" : "it shows none of the media, all of which is played";
  if (edits.is_wide) return "its edits have 64-bit times, which are not read";
  if (edits.count > 1)
    return "its " + std::to_string(edits.count) + " edits are ignored: all media is played as stored";
  if (edits.rate != 1) return rate_text(edits.rate);
  const auto begin = static_cast<uint64_t>(std::max<int64_t>(edits.first_media_time, 0));
  if (begin != 0 && track.duration != 0 && begin >= track.duration)
    return "its edit begins at " + seconds(begin, track.time_scale) + ", after the end of the media";
  std::string text;
  const EditCut cut = edit_cut(movie, track);
  if (cut.front > 0) {
    const std::string front = seconds(cut.front, track.time_scale);
    text = is_audio(track) ? "priming of " + front + " is not trimmed"
                           : "it begins " + front + " into the media";
  }
  if (cut.tail > 0) {
    const std::string tail = seconds(cut.tail, track.time_scale);
    text += (text.empty() ? "" : ", ") + ("the last " + tail + " is not trimmed");
  }
  return text;
}

const TrackRecord* played_track(const ParsedMovie& movie, bool wants_audio) {
  return movie.first_track(track_type(wants_audio));
}

// Collects the entries, and counts those that are too many to be listed.
class LeftOut {
 public:
  LeftOut(const std::string& file, const ParsedMovie& movie, std::optional<PlayableKinds> kinds,
          PlayableKinds requested, LeftOutUse use)
      : file_(file), movie_(movie), kinds_(kinds), requested_(requested), use_(use) {}

  std::vector<Diagnosis> find() {
    if (auto damage = find_damage(movie_, requested_)) entries_.push_back(std::move(*damage));
    add_fragments();
    add_hidden_track();
    add_tracks_outside();
    for (const bool wants_audio : {false, true}) {
      if (requested_.has(wants_audio)) add_tracks_of_kind(wants_audio);
    }
    add_other_kinds();
    add_cut_off_box();
    return std::move(entries_);
  }

 private:
  void add(ExitCode code, MessageCode message, Place place, const std::string& reason,
           const std::string& status = "") {
    entries_.push_back({code, message, std::move(place), reason, status});
  }

  void add_fragments() {
    if (movie_.has_fragments())
      add(ExitCode::kLoss, MessageCode::kFragmentsNotRead, {}, "movie fragments are not read");
  }

  void add_hidden_track() {
    if (const auto hidden = movie_.hidden_track())
      add(ExitCode::kLoss, MessageCode::kTrackNotPlayed, place_of(*hidden), hidden->reason);
  }

  // The parser reads the first movie box only.
  void add_tracks_outside() {
    if (movie_.record().movie_end == 0) return;
    const auto add_outside = [this](const char* type, const std::string& what) {
      if (movie_.has_box(type, movie_.record().movie_end, UINT64_MAX))
        add(ExitCode::kLoss, MessageCode::kTrackNotPlayed, {},
            "damaged: has a " + what + ", which is not read");
    };
    add_outside("moov", "second moov box");
    add_outside("trak", "trak box after its movie box");
  }

  // Tracks before the one that is played could not be used; tracks after it are left out by design.
  void add_tracks_of_kind(bool wants_audio) {
    const bool has_pin = !kinds_ || kinds_->has(wants_audio);
    const TrackRecord* const first = played_track(movie_, wants_audio);
    const TrackRecord* const played = has_pin ? first : nullptr;
    if (played != nullptr && kinds_) add_faults(*played);
    bool is_further = false;
    size_t unplayed = 0;
    for (const TrackRecord& track : movie_.record().tracks) {
      if (!(wants_audio ? is_audio(track) : is_video(track))) continue;
      const bool has_place = !is_further;
      is_further = is_further || first == nullptr || &track == first;
      if (&track == played || ++unplayed > kMostTracks) continue;
      if (!has_place) {
        entries_.push_back(further_track(track));
      } else if (kinds_) {
        entries_.push_back(note_unless_loss(why_not_played(movie_, track)));
      }
    }
    if (unplayed > kMostTracks)
      add_unplayed(unplayed - kMostTracks, wants_audio ? "more audio track" : "more video track");
  }

  void add_unplayed(size_t count, const std::string& what) {
    add(ExitCode::kDone, MessageCode::kTrackNotPlayed, {},
        counted(count, what) + (count == 1 ? " is" : " are") + " not played");
  }

  // What is wrong with a track that is played.
  void add_faults(const TrackRecord& track) {
    for (const std::string& fault : faults_of(movie_, track)) {
      add(ExitCode::kLoss, MessageCode::kFileDamaged, place_of(track), fault);
    }
    if (use_ == LeftOutUse::kPlay) return;
    for (Diagnosis& cause : causes_of_early_end(movie_, track)) entries_.push_back(std::move(cause));
    std::error_code code;
    const uint64_t file_size = std::filesystem::file_size(file_, code);
    auto lost = use_ == LeftOutUse::kDescription ? find_lost_end(movie_, track, file_size) : std::nullopt;
    if (lost) entries_.push_back(std::move(*lost));
  }

  // A movie box that is cut off has lost tags, which only a description shows. Missing media data are
  // reported with the tracks that they belong to.
  void add_cut_off_box() {
    const std::optional<BoxHeader> box = movie_.cut_off_box();
    const bool is_movie = box && box->name() == "moov";
    const bool is_reported = std::ranges::any_of(entries_, [](const Diagnosis& entry) {
      return entry.exit_code == ExitCode::kLoss || entry.place.kind == Place::Kind::kBox;
    });
    if (!box || box->name() == "mdat" || is_reported) return;
    const bool is_loss = is_movie && use_ == LeftOutUse::kDescription;
    std::error_code code;
    const uint64_t missing = box->end() - std::filesystem::file_size(file_, code);
    add(is_loss ? ExitCode::kLoss : ExitCode::kDone, MessageCode::kCutOff,
        Place::box(type_text(box->name()), box->offset, box->size),
        "cut off: extends " + counted(missing, "byte") + " past the end of the file");
  }

  static Diagnosis note_unless_loss(Diagnosis diagnosis) {
    if (diagnosis.exit_code == ExitCode::kNotSupported) diagnosis.exit_code = ExitCode::kDone;
    return diagnosis;
  }

  // Text, hints ... Tracks whose handler cannot be read may have been media.
  void add_other_kinds() {
    std::vector<std::pair<std::string, size_t>> kinds;  // in the order of the file
    size_t others = 0;
    for (const TrackRecord& track : movie_.record().tracks) {
      if (is_audio(track) || is_video(track)) continue;
      if (!is_type(track.handler)) {
        if (kinds_)
          add(ExitCode::kLoss, MessageCode::kTrackNotPlayed, place_of(track),
              "damaged: it has no valid handler, so its type is unknown");
        continue;
      }
      const std::string kind = kind_of(type_text(track.handler));
      const auto known = std::ranges::find(kinds, kind, &std::pair<std::string, size_t>::first);
      if (known != kinds.end()) {
        ++known->second;
      } else if (kinds.size() < kMostTracks) {
        kinds.emplace_back(kind, 1);
      } else {
        ++others;
      }
    }
    for (const auto& [kind, count] : kinds) add_unplayed(count, kind + " track");
    if (others != 0) add_unplayed(others, "other track");
  }

  static bool is_type(const std::string& handler) { return !handler.empty() && is_ascii_text(handler); }

  const std::string& file_;
  const ParsedMovie& movie_;
  const std::optional<PlayableKinds> kinds_;
  const PlayableKinds requested_;
  const LeftOutUse use_;
  std::vector<Diagnosis> entries_;
};

// With --trim, which applies a single edit.
std::string untrimmed_text(const ParsedMovie& movie, const TrackRecord& track) {
  if (track.edits.count > 1 && !track.edits.is_wide)
    return "it has " + std::to_string(track.edits.count) +
           " edits, and only a single edit can be applied; all media is played as stored";
  return edits_text(movie, track);
}

// The edits of the played tracks that are not applied, in one line; empty if there are none.
std::string unapplied_edits(const ParsedMovie& movie, PlayableKinds kinds, bool trims) {
  std::string text;
  for (const bool wants_audio : {false, true}) {
    const bool is_played = wants_audio ? kinds.audio : kinds.video;
    const TrackRecord* const track = is_played ? played_track(movie, wants_audio) : nullptr;
    if (track == nullptr || (trims && find_shown_media(movie, *track))) continue;
    const std::string edits = trims ? untrimmed_text(movie, *track) : edits_text(movie, *track);
    if (!edits.empty()) text += (text.empty() ? "" : "; ") + place_of(*track).text() + ": " + edits;
  }
  return text;
}

// False if the path of a box is in a track of a kind that is known and not requested.
bool may_be_requested(const ParsedMovie& movie, std::string_view path, PlayableKinds requested) {
  const auto owns = [path](const TrackRecord& track) {
    return path.starts_with("moov/trak[" + std::to_string(track.number) + "]");
  };
  const auto& tracks = movie.record().tracks;
  const auto track = std::ranges::find_if(tracks, owns);
  if (track == tracks.end() || (!is_audio(*track) && !is_video(*track))) return true;
  return requested.has(is_audio(*track));
}

}  // namespace

std::string damage_text(const ParsedMovie& movie) {
  if (movie.failed_at_quicktime_form()) return "is in QuickTime form, which is not read";
  return "damaged: " + describe_status(movie.error().status);
}

Place place_of_damage(const ParsedMovie& movie) {
  const P3gppOpenError& error = movie.error();
  if (const auto parent = movie.quicktime_meta()) {
    const std::string_view path = error.path;
    return Place::box(std::string(path.substr(0, path.rfind('/'))), parent->offset, parent->size);
  }
  return Place::box(error.path, error.offset, error.size);
}

// The parser uses what it read before the damage.
std::optional<Diagnosis> find_damage(const ParsedMovie& movie, PlayableKinds requested) {
  const P3gppOpenError& error = movie.error();
  if (error.status == P3GPP_OK) return std::nullopt;
  const std::string_view path = error.path;
  const bool costs_track =
      (path.starts_with("moov/trak") && may_be_requested(movie, path, requested)) ||
      (path.starts_with("moov") && movie.has_box("trak", error.offset, movie.record().movie_end));
  return Diagnosis{costs_track ? ExitCode::kLoss : ExitCode::kDone, MessageCode::kFileDamaged,
                   place_of_damage(movie), damage_text(movie) + "; the rest of its container is not read",
                   std::to_string(error.status)};
}

std::vector<Diagnosis> find_left_out(const std::string& file, const ParsedMovie* movie,
                                     std::optional<PlayableKinds> kinds, LeftOutUse use,
                                     PlayableKinds requested) {
  if (movie == nullptr || !movie->is_open() || (kinds && !kinds->any())) return {};
  return LeftOut(file, *movie, kinds, requested, use).find();
}

ExitCode report_left_out(const std::string& file, const ParsedMovie* movie,
                         std::optional<PlayableKinds> kinds, LeftOutUse use, Messages& messages,
                         PlayableKinds requested) {
  ExitCode worst = ExitCode::kDone;
  for (const Diagnosis& entry : find_left_out(file, movie, kinds, use, requested)) {
    worst = worse_of(worst, messages.report(file, entry));
  }
  if (use == LeftOutUse::kDescription && kinds) report_unapplied_edits(file, movie, *kinds, false, messages);
  return worst;
}

void report_unapplied_edits(const std::string& file, const ParsedMovie* movie, PlayableKinds kinds,
                            bool trims, Messages& messages) {
  if (movie == nullptr || !movie->is_open()) return;
  const std::string edits = unapplied_edits(*movie, kinds, trims);
  if (!edits.empty())
    messages.note({MessageCode::kEditsNotApplied,
                   file,
                   {},
                   (trims ? "not trimmed: " : "edit lists are not applied: ") + edits,
                   ""});
}

}  // namespace zdr::host
