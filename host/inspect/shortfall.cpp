// Walks through the sizes and locations of a track's samples.
#include "host/inspect/shortfall.h"

#include <filesystem>
#include <system_error>

namespace zdr::host {
namespace {

// The offset comes from the file and may be anything up to 2^64 - 1.
bool lies_within(const P3gppSample& sample, uint64_t file_size) {
  return sample.size <= file_size && sample.file_offset <= file_size - sample.size;
}

std::optional<Shortfall> measure(P3gppTrack* track, uint32_t total, uint64_t payload_bytes,
                                 uint64_t file_size, const WalkWatcher& watch) {
  constexpr uint32_t kUnitsPerCall = 1024;
  uint64_t bytes = 0;
  P3gppSample sample{};
  for (sample.number = 1; sample.number <= total; ++sample.number) {
    if (sample.number % kUnitsPerCall == 0 && !watch(sample.number, total)) return std::nullopt;
    if (P3GPP_ReadSample(track, &sample) != P3GPP_OK) return Shortfall{sample.number - 1, total, true};
    if (bytes + sample.size > payload_bytes) {
      return Shortfall{sample.number - 1, total, !lies_within(sample, file_size)};
    }
    bytes += sample.size;
  }
  return std::nullopt;
}

}  // namespace

std::optional<Shortfall> find_shortfall(const ParsedMovie& movie, const std::string& file,
                                        uint32_t track_type, uint64_t payload_bytes,
                                        const WalkWatcher& watch) {
  if (!movie.is_open()) return std::nullopt;
  const std::vector<uint32_t> ids = movie.track_ids(track_type);
  P3gppTrack* track = nullptr;
  if (ids.empty() || P3GPP_OpenTrack(movie.file(), &track, ids[0], kTrackCacheBytes) != P3GPP_OK)
    return std::nullopt;
  std::error_code code;
  const uint64_t file_size = std::filesystem::file_size(file, code);
  uint32_t samples = 0;
  movie.get_sample_count(ids[0], samples);
  const std::optional<Shortfall> shortfall = measure(track, samples, payload_bytes, file_size, watch);
  P3GPP_CloseTrack(track);
  return shortfall;
}

}  // namespace zdr::host
