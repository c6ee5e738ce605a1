// Opens the parser as the filter does, and measures what a track holds.
#include "host/inspect/parsed_file.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string_view>

#include "host/messages.h"

namespace zdr::host {
namespace {

constexpr std::string_view kIsoExtensions[] = {
    ".3gp", ".3gpp", ".3ga",     ".3g2",     ".mp4",  ".k3g",      ".skm",  ".mpg",     ".m4a",
    ".m4v", ".rec",  ".mp4-odf", ".k3g-odf", ".3gpa", ".3gpa-drm", ".mp4a", ".mp4a-drm"};
constexpr std::string_view kSpeechExtensions[] = {".amr", ".awb"};

std::string extension_of(const std::string& file) {
  const size_t dot = file.rfind('.');
  std::string extension = dot == std::string::npos ? "" : file.substr(dot);
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return extension;
}

template <size_t N>
bool contains(const std::string_view (&list)[N], const std::string& text) {
  return std::find(std::begin(list), std::end(list), text) != std::end(list);
}

// One walk over the locations of a track's samples; nothing when it is told to stop.
std::optional<Shortfall> measure(P3gppTrack* track, uint32_t total, uint64_t payload_bytes,
                                 uint64_t file_size, const WalkWatcher& watch) {
  constexpr uint32_t kUnitsPerLook = 1024;
  uint64_t bytes = 0;
  P3gppSample sample{};
  for (sample.number = 1; sample.number <= total; ++sample.number) {
    if (sample.number % kUnitsPerLook == 0 && !watch(sample.number, total)) return std::nullopt;
    if (P3GPP_ReadSample(track, &sample) != P3GPP_OK) return Shortfall{sample.number - 1, total, true};
    if (bytes + sample.size > payload_bytes) {
      return Shortfall{sample.number - 1, total, sample.file_offset + sample.size > file_size};
    }
    bytes += sample.size;
  }
  return std::nullopt;
}

}  // namespace

bool is_iso_media(const std::string& file) {
  return contains(kIsoExtensions, extension_of(file));
}
bool is_speech_file(const std::string& file) {
  return contains(kSpeechExtensions, extension_of(file));
}

bool is_aac_file(const std::string& file) {
  return extension_of(file) == ".aac";
}

ParsedFile::ParsedFile(const std::string& file, const P3gppBoxVisitor* visitor) : path_(to_wide(file)) {
  const FMGR_Config unbuffered{0, 0};
  if (FMGR_Init(&context_, &unbuffered) != FMGR_OK) return;
  descriptor_.type = FMGR_DEV_FILE_W;
  descriptor_.source.wide_path = path_.c_str();
  status_ = P3GPP_OpenTraced(&file_, &descriptor_, context_, &error_, visitor);
}

ParsedFile::~ParsedFile() {
  if (file_ != nullptr) P3GPP_Close(file_);
  if (context_ != nullptr) FMGR_Deinit(context_);
}

P3gppTrackCounts ParsedFile::counts() const {
  P3gppTrackCounts counts{};
  if (P3GPP_GetTrackCounts(file_, &counts) != P3GPP_OK) return {};
  return counts;
}

std::vector<uint32_t> ParsedFile::track_ids(uint32_t type) const {
  std::vector<uint32_t> ids(type == P3GPP_TRACK_AUDIO ? counts().audio : counts().video);
  uint32_t found = 0;
  if (ids.empty() || P3GPP_GetTrackIds(file_, type, ids.data(), &found) != P3GPP_OK) return {};
  ids.resize(std::min<size_t>(found, ids.size()));
  return ids;
}

int32_t ParsedFile::get_sample_count(uint32_t id, uint32_t& count) const {
  P3gppTrackInfo* info = nullptr;
  const int32_t status = P3GPP_GetTrackInfo(file_, id, &info);
  if (status != P3GPP_OK) return status;
  count = info->sample_count;
  info->release(info);
  return P3GPP_OK;
}

std::optional<Shortfall> find_shortfall(const std::string& file, uint32_t track_type, uint64_t payload_bytes,
                                        const WalkWatcher& watch) {
  const ParsedFile parsed(file);
  if (parsed.status() != P3GPP_OK) return std::nullopt;
  const std::vector<uint32_t> ids = parsed.track_ids(track_type);
  P3gppTrack* track = nullptr;
  if (ids.empty() || P3GPP_OpenTrack(parsed.file(), &track, ids[0], kTrackCacheBytes) != P3GPP_OK)
    return std::nullopt;
  std::error_code code;
  const uint64_t file_size = std::filesystem::file_size(file, code);
  uint32_t samples = 0;
  parsed.get_sample_count(ids[0], samples);
  const std::optional<Shortfall> shortfall = measure(track, samples, payload_bytes, file_size, watch);
  P3GPP_CloseTrack(track);
  return shortfall;
}

}  // namespace zdr::host
