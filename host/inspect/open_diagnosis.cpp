// Describes the statuses of the parser, and repeats the filter's queries to find the one that failed.
#include "host/inspect/open_diagnosis.h"

#include <dshow.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string_view>
#include <vector>

#include "filters/source/mp4/interfaces/source_kind.h"
#include "host/inspect/aac_diagnosis.h"
#include "host/inspect/read_failure.h"
#include "host/messages.h"
#include "host/wide_text.h"

namespace zdr::host {
namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

struct StatusText {
  int32_t status;
  const char* text;
};

constexpr StatusText kStatusTexts[] = {
    {P3GPP_ERR_GENERIC, "a box that must be there is missing or damaged"},
    {P3GPP_ERR_OUT_OF_RANGE, "more sample entries or data references than can be stored"},
    {P3GPP_ERR_READ, "the file ends inside this box, or the box claims more than it holds"},
    {P3GPP_ERR_SEEK, "a position in the file cannot be reached"},
    {P3GPP_ERR_BOX_SIZE, "the box size is wrong"},
    {P3GPP_ERR_NO_MOOV, "no movie box found: not an ISO media file, or its front part only"},
    {P3GPP_ERR_NO_TABLE, "a sample table is missing or shorter than its count"},
    {P3GPP_ERR_NO_STBL_PAYLOAD, "the track has no usable sample tables"},
    {P3GPP_ERR_NO_STBL, "the track has no sample tables"},
    {P3GPP_ERR_NO_ENTRY_PAYLOAD, "the sample entry has no decoder configuration"},
    {P3GPP_ERR_ENTRY_NOT_HANDLED, "no decoder description for this kind of sample entry"},
    {P3GPP_ERR_DECODER_CONFIG, "the decoder configuration is missing or malformed"},
};

std::string describe(int32_t status) {
  for (const StatusText& known : kStatusTexts) {
    if (known.status == status) return known.text;
  }
  return "the parser refuses the file";
}

// Returns the first failure of the queries that a pin needs.
int32_t track_status(P3gppFile* file, uint32_t id, bool& empty) {
  P3gppTrackInfo* info = nullptr;
  int32_t status = P3GPP_GetTrackInfo(file, id, &info);
  if (status != P3GPP_OK) return status;
  empty = info->sample_count == 0;
  info->release(info);
  P3gppDecoderInfo* decoder = nullptr;
  status = P3GPP_GetDecoderInfo(file, id, &decoder, 1);
  if (decoder != nullptr) decoder->release(decoder);
  if (status != P3GPP_OK) return status;
  P3gppTrack* track = nullptr;
  status = P3GPP_OpenTrack(file, &track, id, kTrackCacheBytes);
  if (status == P3GPP_OK) P3GPP_CloseTrack(track);
  return status;
}

// The reason why the first track of a type has no pin; empty if the file has no such track, or if it is
// sound, which sets `is_sound`.
std::string track_reason(const ParsedMovie& movie, uint32_t type, const char* name, std::string& status_text,
                         bool& is_sound) {
  const std::vector<uint32_t> ids = movie.track_ids(type);
  if (ids.empty()) return {};
  bool empty = false;
  const int32_t status = track_status(movie.file(), ids[0], empty);
  if (status == P3GPP_OK && !empty) {
    is_sound = true;
    return {};
  }
  status_text = std::to_string(status);
  std::string reason = describe(status);
  if (status == P3GPP_ERR_NO_TABLE) reason = "its codec is not supported, or a sample table is missing";
  if (empty) reason = "no samples in its tables (movie fragments are not read)";
  return std::string(name) + " track: " + reason;
}

Diagnosis without_pins(const ParsedMovie& movie) {
  const auto refuse = [](ExitCode code, const std::string& reason, const std::string& status = "") {
    return Diagnosis{code, MessageCode::kNoPlayableTrack, {}, reason, status};
  };
  std::string status;
  bool is_sound = false;
  const std::string audio = track_reason(movie, P3GPP_TRACK_AUDIO, "audio", status, is_sound);
  const std::string video = track_reason(movie, P3GPP_TRACK_VIDEO, "video", status, is_sound);
  if (!audio.empty() || !video.empty()) {
    const std::string separator = audio.empty() || video.empty() ? "" : "; ";
    return refuse(ExitCode::kNotSupported, "no usable track: " + audio + separator + video, status);
  }
  return is_sound ? refuse(ExitCode::kCannotOpen, "could not be opened, although its tracks are sound")
                  : refuse(ExitCode::kNotSupported, "no audio or video track in the file");
}

Diagnosis diagnose_iso(const std::string& file) {
  const ParsedMovie movie(file);
  return movie.is_open() ? without_pins(movie) : diagnose_parse(file, movie);
}

constexpr const char* kPipe = "is a pipe or a device, which is not seekable";

bool is_pipe_or_device(std::filesystem::file_type type) {
  using std::filesystem::file_type;
  return type == file_type::fifo || type == file_type::character || type == file_type::socket;
}

// Why the system does not open the file; nothing if it does.
std::optional<Diagnosis> system_refusal(const std::string& file, const std::string& status) {
  const auto refuse = [&](MessageCode code, const std::string& reason) {
    return Diagnosis{ExitCode::kCannotOpen, code, {}, reason, status};
  };
  std::error_code error;
  const std::filesystem::file_status found = std::filesystem::status(file, error);
  if (found.type() == std::filesystem::file_type::not_found)
    return refuse(MessageCode::kFileNotFound, "no such file");
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

}  // namespace

std::optional<Diagnosis> diagnose_before_open(const std::string& file) {
  std::error_code error;
  if (!is_pipe_or_device(std::filesystem::status(file, error).type())) return std::nullopt;
  return Diagnosis{ExitCode::kCannotOpen, MessageCode::kFileNotSeekable, {}, kPipe, ""};
}

Diagnosis diagnose_parse(const std::string& file, const ParsedMovie& movie) {
  const std::string status = std::to_string(movie.status());
  if (const auto refused = system_refusal(file, status)) return *refused;
  if (const auto failure = take_read_failure(ExitCode::kCannotOpen)) return *failure;
  const P3gppOpenError& error = movie.error();
  const bool has_movie = std::string_view(error.path).starts_with("moov");
  if (mp4source::source_kind_of(file) != mp4source::SOURCE_KIND_MP4 && !has_movie)
    return {ExitCode::kNotSupported, MessageCode::kFileTypeUnknown, {}, "is not an ISO media file", status};
  std::error_code ignored;
  if (std::filesystem::file_size(file, ignored) == 0)
    return {ExitCode::kCannotOpen, MessageCode::kFileDamaged, {}, "is empty", status};
  // The status of the box is more specific than the one that its container returned.
  Diagnosis diagnosis{
      ExitCode::kCannotOpen, MessageCode::kFileDamaged, {}, "damaged: " + describe(error.status), status};
  if (error.path[0] != '\0') diagnosis.place = Place::box(error.path, error.offset, error.size);
  return diagnosis;
}

Diagnosis diagnose_failed_open(const std::string& file, int32_t load_result) {
  const std::string status = hresult_text(load_result);
  if (const auto failure = take_read_failure(ExitCode::kCannotOpen)) return *failure;
  if (const auto refused = system_refusal(file, status)) return *refused;
  const mp4source::SourceKind kind = mp4source::source_kind_of(file);
  if (kind == mp4source::SOURCE_KIND_NONE) {
    return {ExitCode::kNotSupported,
            MessageCode::kFileTypeUnknown,
            {},
            "unknown extension, which decides how a file is read; known: " + known_extensions(),
            status};
  }
  std::error_code ignored;
  if (std::filesystem::file_size(file, ignored) == 0)
    return {ExitCode::kCannotOpen, MessageCode::kFileDamaged, {}, "is empty", status};
  if (kind == mp4source::SOURCE_KIND_MP4) return diagnose_iso(file);
  if (kind == mp4source::SOURCE_KIND_AAC) return diagnose_aac_file(file, load_result);
  return {
      ExitCode::kCannotOpen, MessageCode::kFileDamaged, {}, "damaged: the header line does not end", status};
}

}  // namespace zdr::host
