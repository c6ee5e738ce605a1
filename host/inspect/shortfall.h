// Compares what was delivered with what a track holds.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "host/inspect/parsed_movie.h"

namespace zdr::host {

struct Shortfall {
  uint64_t delivered_units;
  uint32_t total_units;
  bool cut_off;  // the next access unit extends past the end of the file
};

// Called regularly during a long walk over samples; returning false ends the walk.
using WalkWatcher = std::function<bool(uint32_t done, uint32_t total)>;

// Finds how many access units of the first track of a type (P3GPP_TRACK_) `payload_bytes` cover. Returns
// nothing if they cover the whole track, or if `watch` ended the walk.
std::optional<Shortfall> find_shortfall(const ParsedMovie& movie, const std::string& file,
                                        uint32_t track_type, uint64_t payload_bytes,
                                        const WalkWatcher& watch);

}  // namespace zdr::host
