// The number of frames of a speech or AAC file, which no header states, and what follows from it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/inspect/aac/aac_stream_view.h"
#include "host/messages.h"

namespace zdr::host {

struct ExactCount {
  uint64_t frames = 0;  // whole ones
  uint64_t bytes = 0;   // of these frames, with their headers
  int64_t duration_100ns = 0;
  // What is damaged or cut off, as far as headers show it.
  std::optional<Diagnosis> fault{};
  // Further diagnoses: padding, and frames that playback would not deliver.
  std::vector<Diagnosis> remarks{};

  uint64_t bit_rate() const;  // average, bit/s
};

using ExactWatch = std::function<bool(uint64_t offset, uint64_t end)>;

// Read the whole file. `watch` is called regularly. Throw std::bad_alloc.
ExactCount count_aac_exactly(const std::string& file, const AacStreamView& view, const ExactWatch& watch);
// Counts up to the first damage.
ExactCount count_amr_exactly(const std::string& file, bool is_wide_band, const ExactWatch& watch);

// "682 frames, 0:00:15.836, 61020 bit/s, damaged or cut off"
std::string exact_line(const ExactCount& count);

}  // namespace zdr::host
