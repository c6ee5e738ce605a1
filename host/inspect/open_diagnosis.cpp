// Describes the statuses of the parser, and repeats the filter's queries to find the one that failed.
#include "host/inspect/open_diagnosis.h"

#include <dshow.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include "filters/source/mp4/interfaces/source_kind.h"
#include "host/inspect/aac_diagnosis.h"
#include "host/inspect/read_failure.h"
#include "host/messages.h"
#include "host/wide_text.h"

namespace zdr::host {
namespace {

struct StatusText {
  int32_t status;
  const char* text;
};

constexpr StatusText kStatusTexts[] = {
    {P3GPP_ERR_GENERIC, "a box that must be there is missing or damaged"},
    {P3GPP_ERR_OUT_OF_RANGE, "more sample entries or data references than can be stored"},
    {P3GPP_ERR_OPEN, "the file cannot be opened"},
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
  Diagnosis diagnosis{ExitCode::kNotSupported, "", "no audio or video track in the file", ""};
  std::string status;
  bool is_sound = false;
  const std::string audio = track_reason(movie, P3GPP_TRACK_AUDIO, "audio", status, is_sound);
  const std::string video = track_reason(movie, P3GPP_TRACK_VIDEO, "video", status, is_sound);
  if (audio.empty() && video.empty()) {
    if (!is_sound) return diagnosis;
    return {ExitCode::kCannotOpen, "", "could not be opened, although its tracks are sound", ""};
  }
  diagnosis.reason = "no usable track: " + audio + (audio.empty() || video.empty() ? "" : "; ") + video;
  diagnosis.status = status;
  return diagnosis;
}

Diagnosis diagnose_iso(const std::string& file, int32_t load_result) {
  const ParsedMovie movie(file);
  if (movie.is_open()) return without_pins(movie);
  Diagnosis diagnosis = diagnose_parse(file, movie);
  if (movie.status() == P3GPP_ERR_OPEN) diagnosis.status = hresult_text(load_result);
  return diagnosis;
}

}  // namespace

std::optional<Diagnosis> diagnose_before_open(const std::string& file) {
  std::error_code code;
  switch (std::filesystem::status(file, code).type()) {
    case std::filesystem::file_type::fifo:
    case std::filesystem::file_type::character:
    case std::filesystem::file_type::socket:
      return Diagnosis{ExitCode::kCannotOpen, "", "is a pipe or a device, which cannot be sought", ""};
    default:
      return std::nullopt;
  }
}

Diagnosis diagnose_parse(const std::string& file, const ParsedMovie& movie) {
  if (const auto refused = diagnose_before_open(file)) return *refused;
  if (const auto failure = take_read_failure(ExitCode::kCannotOpen)) return *failure;
  Diagnosis diagnosis;
  diagnosis.status = std::to_string(movie.status());
  if (movie.status() == P3GPP_ERR_OPEN) {
    std::error_code code;
    const bool exists = std::filesystem::exists(file, code);
    diagnosis.reason = !exists                                     ? "no such file"
                       : std::filesystem::is_directory(file, code) ? "is a folder"
                                                                   : "the file cannot be opened";
    return diagnosis;
  }
  const P3gppOpenError& error = movie.error();
  const bool has_movie = std::string(error.path).starts_with("moov");
  if (mp4source::source_kind_of(file) != mp4source::SOURCE_KIND_MP4 && !has_movie) {
    return {ExitCode::kNotSupported, "", "not an ISO media file", diagnosis.status};
  }
  if (error.path[0] != '\0') {
    diagnosis.place = std::string(error.path) + " at offset " + std::to_string(error.offset) + ", size " +
                      std::to_string(error.size);
  }
  // The status of the box is more specific than the one that its container returned.
  diagnosis.reason = "damaged: " + describe(error.status);
  return diagnosis;
}

Diagnosis diagnose_failed_open(const std::string& file, int32_t load_result) {
  if (const auto failure = take_read_failure(ExitCode::kCannotOpen)) return *failure;
  const std::string status = hresult_text(load_result);
  if (load_result == VFW_E_NOT_FOUND) return {ExitCode::kCannotOpen, "", "no such file", status};
  std::error_code code;
  const auto path = std::filesystem::path(file);
  if (!std::filesystem::exists(path, code)) return {ExitCode::kCannotOpen, "", "no such file", status};
  if (std::filesystem::is_directory(path, code)) return {ExitCode::kCannotOpen, "", "is a folder", status};
  if (!std::ifstream(path)) return {ExitCode::kCannotOpen, "", "the file cannot be opened", status};
  switch (mp4source::source_kind_of(file)) {
    case mp4source::SOURCE_KIND_MP4:
      return diagnose_iso(file, load_result);
    case mp4source::SOURCE_KIND_AMR:
      return {ExitCode::kCannotOpen, "", "damaged: the header line does not end", status};
    case mp4source::SOURCE_KIND_AAC:
      return diagnose_aac_file(file, load_result);
    case mp4source::SOURCE_KIND_NONE:
      break;
  }
  return {ExitCode::kNotSupported, "", "unknown extension (it decides how a file is read)", status};
}

}  // namespace zdr::host
