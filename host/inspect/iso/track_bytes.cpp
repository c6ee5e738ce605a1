// Sums sizes with the parser, which does not store the table, and looks up every sample for the peak.
#include "host/inspect/iso/track_bytes.h"

#include <algorithm>

#include "host/formats/peak_second.h"
#include "host/inspect/iso/sample_walk.h"
#include "host/memory.h"

namespace zdr::host {

std::optional<uint64_t> count_track_bytes(P3gppTrack* track) {
  uint64_t bytes = 0;
  const int32_t status = with_memory(P3GPP_GetTotalSampleSize(track, &bytes), P3GPP_ERR_NO_MEMORY);
  return status == P3GPP_OK ? std::optional(bytes) : std::nullopt;
}

std::optional<uint64_t> find_peak_bit_rate(const ParsedMovie& movie, const TrackDescription& track,
                                           const std::function<bool(uint64_t done, uint64_t total)>& watch) {
  const OpenTrack opened = movie.open_track_to_walk(static_cast<uint32_t>(track.id.value_or(0)));
  const uint64_t time_scale = track.time_scale.value_or(0);
  const auto count = static_cast<uint32_t>(std::min<uint64_t>(track.samples.value_or(0), UINT32_MAX));
  if (!opened || time_scale == 0) return std::nullopt;
  PeakSecond peak(time_scale);
  SampleWalk walk(opened.get(), count);
  for (auto samples = walk.next(); !samples.empty(); samples = walk.next()) {
    for (const P3gppSample& sample : samples) peak.add(sample.decoding_time, sample.size);
    if (!watch(walk.done(), count)) return std::nullopt;
  }
  if (walk.done() < count) return std::nullopt;
  return peak.bits();
}

}  // namespace zdr::host
