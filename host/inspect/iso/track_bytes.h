// How many bytes the samples of a track have, all together and in the busiest second.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "host/inspect/iso/parsed_movie.h"
#include "host/inspect/iso/track_description.h"

namespace zdr::host {

// Reads the whole table of sizes of an open track, unless all samples have one size. Nothing if the parser
// cannot read the table. Throws std::bad_alloc.
std::optional<uint64_t> count_track_bytes(P3gppTrack* track);

// The most bits in one second of decoding time, counted in whole seconds from the first sample on. Looks up
// every sample. `watch` is called regularly with the number of samples done; returning false ends the count.
std::optional<uint64_t> find_peak_bit_rate(const ParsedMovie& movie, const TrackDescription& track,
                                           const std::function<bool(uint64_t done, uint64_t total)>& watch);

}  // namespace zdr::host
