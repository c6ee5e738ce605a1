// Sums sizes with the parser, which does not store the table, and looks up every sample for the peak.
#include "host/inspect/iso/track_bytes.h"

#include <algorithm>

#include "host/memory.h"

namespace zdr::host {

std::optional<uint64_t> count_track_bytes(const ParsedMovie& movie, uint32_t id) {
  const OpenTrack track = movie.open_track(id);
  uint64_t bytes = 0;
  if (!track) return std::nullopt;
  const int32_t status = with_memory(P3GPP_GetTotalSampleSize(track.get(), &bytes), P3GPP_ERR_NO_MEMORY);
  return status == P3GPP_OK ? std::optional(bytes) : std::nullopt;
}

std::optional<uint64_t> find_peak_bit_rate(const ParsedMovie& movie, const TrackDescription& track,
                                           const std::function<bool(uint64_t done, uint64_t total)>& watch) {
  constexpr uint64_t kSamplesPerCall = 65536;
  const OpenTrack opened = movie.open_track_to_walk(static_cast<uint32_t>(track.id.value_or(0)));
  const uint64_t time_scale = track.time_scale.value_or(0);
  const uint64_t samples = track.samples.value_or(0);
  if (!opened || time_scale == 0) return std::nullopt;
  uint64_t peak = 0;
  uint64_t bytes = 0;
  uint64_t second = 0;
  uint32_t begin = 0;
  P3gppSample sample{};
  for (uint64_t number = 1; number <= samples; ++number) {
    if (number % kSamplesPerCall == 0 && !watch(number, samples)) return std::nullopt;
    sample.number = static_cast<uint32_t>(number);
    if (with_memory(P3GPP_ReadSample(opened.get(), &sample), P3GPP_ERR_NO_MEMORY) != P3GPP_OK)
      return std::nullopt;
    if (number == 1) begin = sample.decoding_time;
    const uint64_t its_second = (sample.decoding_time - begin) / time_scale;
    if (its_second != second) bytes = 0;
    second = its_second;
    bytes += sample.size;
    peak = std::max(peak, bytes);
  }
  return peak * 8;
}

}  // namespace zdr::host
