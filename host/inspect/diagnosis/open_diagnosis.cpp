// Describes the statuses of the parser, and repeats the filter's queries to find the one that failed.
#include "host/inspect/diagnosis/open_diagnosis.h"

#include <dshow.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string_view>
#include <vector>

#include "filters/source/mp4/interfaces/source_kind.h"
#include "host/inspect/diagnosis/aac_diagnosis.h"
#include "host/inspect/diagnosis/content_hint.h"
#include "host/inspect/diagnosis/left_out.h"
#include "host/inspect/diagnosis/track_diagnosis.h"
#include "host/inspect/files/read_failure.h"
#include "host/inspect/iso/box_headers.h"
#include "host/inspect/iso/parser_status.h"
#include "host/messages.h"
#include "host/text/time_text.h"
#include "host/text/wide_text.h"

namespace zdr::host {
namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

constexpr size_t kLongestReason = 1024;

}  // namespace

Diagnosis diagnose_unplayable(const ParsedMovie& movie) {
  Diagnosis result{ExitCode::kNotSupported, MessageCode::kNoPlayableTrack, {}, "", ""};
  for (const TrackRecord& track : movie.record().tracks) {
    if (!is_audio(track) && !is_video(track)) continue;
    const TrackRecord* const first = movie.first_track(track_type(is_audio(track)));
    const bool is_further = first != nullptr && track.number > first->number;
    const Diagnosis found = is_further ? further_track(track) : why_not_played(movie, track);
    if (found.exit_code == ExitCode::kLoss) result.exit_code = ExitCode::kCannotOpen;
    if (result.reason.size() > kLongestReason) continue;  // a hostile file may have thousands of tracks
    result.reason += (result.reason.empty() ? "" : "; ") + found.place.text() + ": " + found.reason;
    result.status = found.status;
  }
  if (const auto hidden = movie.hidden_track()) {
    result.exit_code = ExitCode::kCannotOpen;
    result.reason += (result.reason.empty() ? "" : "; ") + place_of(*hidden).text() + ": " + hidden->reason;
  }
  if (result.reason.empty()) {
    result.reason = movie.record().is_compressed ? "its movie box is compressed (cmov), which is not read"
                                                 : "has no audio or video track";
  }
  if (movie.has_fragments()) result.reason += "; movie fragments are not read";
  return result;
}

Diagnosis diagnose_missing_video(const ParsedMovie& movie) {
  const auto& tracks = movie.record().tracks;
  const auto track = std::ranges::find_if(tracks, is_video);
  if (track == tracks.end()) {
    if (const auto hidden = movie.hidden_track())
      return {ExitCode::kCannotOpen,
              MessageCode::kNoPlayableTrack,
              {},
              "has no video track that is read, but a damaged track, " + place_of(*hidden).text(),
              ""};
    return {ExitCode::kNotSupported, MessageCode::kNoPlayableTrack, {}, "has no video track", ""};
  }
  Diagnosis result = why_not_played(movie, *track);
  const bool is_readable = result.exit_code == ExitCode::kLoss && result.status.empty();
  if (is_readable && track->time_scale == 0) {
    result.reason = kNoTimeScale;
  } else if (is_readable && movie.record().time_scale == 0) {
    result.reason = std::string("cannot be described: ") + kNoMovieHeader;
  }
  result.exit_code = result.exit_code == ExitCode::kLoss ? ExitCode::kCannotOpen : ExitCode::kNotSupported;
  return result;
}

namespace {

Diagnosis diagnose_iso(const std::string& file) {
  const ParsedMovie movie(file);
  if (movie.is_open()) return diagnose_unplayable(movie);
  Diagnosis found = diagnose_parse(file, movie);
  const auto box = movie.error().status == P3GPP_ERR_NO_MOOV ? movie.cut_off_box() : std::nullopt;
  if (!box || found.code == MessageCode::kFileTypeUnknown) return found;
  const uint64_t missing = box->end() - std::filesystem::file_size(file);
  found.code = MessageCode::kCutOff;
  found.place = Place::box(std::string(box->name()), box->offset, box->size);
  found.reason =
      "cut off: extends " + counted(missing, "byte") + " past the end of the file; the movie box is missing";
  return found;
}

constexpr const char* kPipe = "is a pipe or a device, which is not seekable";

bool is_pipe_or_device(std::filesystem::file_type type) {
  using std::filesystem::file_type;
  return type == file_type::fifo || type == file_type::character || type == file_type::socket;
}

}  // namespace

std::optional<Diagnosis> diagnose_access(const std::string& file, const std::string& status) {
  const auto refuse = [&](MessageCode code, const std::string& reason) {
    return Diagnosis{ExitCode::kCannotOpen, code, {}, reason, status};
  };
  std::error_code error;
  const std::filesystem::file_status found = std::filesystem::status(file, error);
  if (found.type() == std::filesystem::file_type::not_found) {
    const bool is_link = std::filesystem::is_symlink(std::filesystem::symlink_status(file, error));
    return refuse(MessageCode::kFileNotFound,
                  is_link ? "is a link to a file that does not exist" : "no such file");
  }
  if (is_pipe_or_device(found.type())) return refuse(MessageCode::kFileNotSeekable, kPipe);
  if (std::filesystem::is_directory(found)) return refuse(MessageCode::kFileNotReadable, "is a folder");
  if (const std::unique_ptr<std::FILE, CloseFile> opened{std::fopen(file.c_str(), "rb")}) return std::nullopt;
  return refuse(MessageCode::kFileNotReadable, std::string("cannot be opened: ") + std::strerror(errno));
}

std::string known_extensions() {
  std::string list;
  for (const mp4source::KnownExtension& known : mp4source::kKnownExtensions) {
    list.append(list.empty() ? "" : " ").append(known.extension);
  }
  return list;
}

std::optional<Diagnosis> diagnose_before_open(const std::string& file) {
  std::error_code error;
  if (!is_pipe_or_device(std::filesystem::status(file, error).type())) return std::nullopt;
  return Diagnosis{ExitCode::kCannotOpen, MessageCode::kFileNotSeekable, {}, kPipe, ""};
}

std::optional<Diagnosis> diagnose_extension(const std::string& file, const std::string& status) {
  if (mp4source::source_kind_of(file) != mp4source::SOURCE_KIND_NONE) return std::nullopt;
  return Diagnosis{ExitCode::kNotSupported,
                   MessageCode::kFileTypeUnknown,
                   {},
                   "unknown extension (it decides how the file is read); known: " + known_extensions(),
                   status};
}

Diagnosis diagnose_past_end(const char* option, int64_t end_100ns) {
  const std::string reason = std::string(option) + " is past the end (" + format_time(end_100ns) + ")";
  return {ExitCode::kNotSupported, MessageCode::kRangeNotPlayable, {}, reason, ""};
}

Diagnosis diagnose_parse(const std::string& file, const ParsedMovie& movie) {
  const std::string status = std::to_string(movie.status());
  if (const auto refused = diagnose_access(file, status)) return *refused;
  if (const auto failure = take_read_failure(ExitCode::kCannotOpen)) return *failure;
  const P3gppOpenError& error = movie.error();
  const bool has_movie = std::string_view(error.path).starts_with("moov");
  if (mp4source::source_kind_of(file) != mp4source::SOURCE_KIND_MP4 && !has_movie)
    return {ExitCode::kNotSupported, MessageCode::kFileTypeUnknown, {}, "is not an ISO media file", status};
  std::error_code ignored;
  if (std::filesystem::file_size(file, ignored) == 0)
    return {ExitCode::kCannotOpen, MessageCode::kFileDamaged, {}, "is empty", status};
  if (looks_like_mpeg(file))
    return {ExitCode::kNotSupported,
            MessageCode::kFileTypeUnknown,
            {},
            "looks like an MPEG-1/2 file, not an ISO media file",
            status};
  // The status of the box is more specific than the one that its container returned.
  Diagnosis diagnosis{ExitCode::kCannotOpen, MessageCode::kFileDamaged, {}, damage_text(movie), status};
  if (error.path[0] != '\0') diagnosis.place = place_of_damage(movie);
  return diagnosis;
}

Diagnosis diagnose_failed_open(const std::string& file, int32_t load_result) {
  const std::string status = FAILED(load_result) ? hresult_text(load_result) : "";
  if (const auto failure = take_read_failure(ExitCode::kCannotOpen)) return *failure;
  if (const auto refused = diagnose_access(file, status)) return *refused;
  if (const auto unknown = diagnose_extension(file, status)) return *unknown;
  const mp4source::SourceKind kind = mp4source::source_kind_of(file);
  std::error_code ignored;
  if (std::filesystem::file_size(file, ignored) == 0)
    return {ExitCode::kCannotOpen, MessageCode::kFileDamaged, {}, "is empty", status};
  if (kind == mp4source::SOURCE_KIND_MP4) return diagnose_iso(file);
  if (kind == mp4source::SOURCE_KIND_AAC) return diagnose_aac_file(file, load_result);
  return {ExitCode::kCannotOpen, MessageCode::kFileDamaged, {}, "damaged: its first line has no end", status};
}

}  // namespace zdr::host
