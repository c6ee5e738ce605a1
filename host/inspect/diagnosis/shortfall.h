// Compares what was delivered with what a track holds.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "host/inspect/iso/parsed_movie.h"

namespace zdr::host {

// What a pin has delivered when the whole track was requested.
struct Delivery {
  uint32_t track_type;  // P3GPP_TRACK_; the track is the first of its type
  uint64_t samples;
  uint64_t payload_bytes;
  int64_t stop_position;  // of the pin, in 100 ns units; 0: its duration is unknown
};

// What a pin has delivered when a part of a track was requested.
struct PartDelivery {
  uint32_t track_type;
  uint64_t samples;
  uint64_t payload_bytes;
  int64_t start;              // the requested start, in 100 ns units
  int64_t stop;               // of the pin: the requested stop or the end of the track
  bool is_to_end;             // no stop was requested before the end
  int64_t last_sample_start;  // media time
  uint64_t last_sample_bytes;
};

// Why access units are missing.
enum class Missing {
  kNone,               // the track has no access units
  kAfterStop,          // the tables describe more than the duration of the track
  kShiftedBeyondStop,  // the edit list shifts the track beyond the end of the movie
  kCutOff,             // the next one extends past the end of the file
  kEmpty,              // the next one is stated to have no data
  kNoKeyFrame,         // the pictures of a part need one before it
  kNotInSizes,         // the table of times has more access units than the table of sizes
  kUnknown,
};

// The next access unit after a part that ended too early.
struct EarlyEnd {
  int64_t time;  // when it should have been delivered, in 100 ns units
  Missing reason;
  bool has_wide_times = false;
};

struct Shortfall {
  uint32_t delivered_units;
  uint32_t total_units;
  Missing reason;
  int32_t status = 0;           // of the parser, if it cannot read the next unit
  bool has_wide_times = false;  // of its headers, which the parser does not read
};

// Called regularly during a long walk over samples; returning false ends the walk.
using WalkWatcher = std::function<bool(uint32_t done, uint32_t total)>;

// How many samples of the track have another description than the first, whose configuration the filter uses
// for all. Reads no table unless there are several descriptions.
uint32_t samples_of_other_descriptions(const ParsedMovie& movie, uint32_t track_type,
                                       const WalkWatcher& watch);

// Returns nothing if the delivery covers the whole track. Only the table of sizes is read, unless access
// units are missing.
std::optional<Shortfall> find_shortfall(const ParsedMovie& movie, const std::string& file,
                                        const Delivery& delivery, const WalkWatcher& watch);

// The same for a part of a track: returns nothing if the access unit after the last one is beyond the part.
std::optional<EarlyEnd> find_early_end(const ParsedMovie& movie, const std::string& file,
                                       const PartDelivery& delivery, const WalkWatcher& watch);

}  // namespace zdr::host
