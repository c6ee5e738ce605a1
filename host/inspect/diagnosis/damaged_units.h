// Finds the number, the time and the place in the file of access units that are damaged.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/inspect/diagnosis/shortfall.h"
#include "host/inspect/iso/parsed_movie.h"
#include "host/text/bytes.h"

namespace zdr::host {

// A part of a stream, as delivered, in which something is wrong.
struct DamagedSpan {
  uint64_t position;   // payload bytes before it
  uint64_t size;       // bytes
  const char* reason;  // what is wrong with it
  bool is_unit;        // a single access unit; else a media sample, which may hold several
};

struct DamagedUnit {
  uint64_t number;  // from 1
  int64_t time;     // in 100 ns units
  uint64_t offset;  // in the file
  std::string reason;
};

// The damaged units that a check finds, in the order of the stream.
struct DamageList {
  size_t limit = 1;  // no more are looked for
  std::vector<DamagedUnit> units;
};

// Examines one access unit: null, or what is wrong with it.
using ExamineUnit = std::function<const char*(Bytes unit)>;

// Returns at most `limit` damaged units of the first track of a type. The spans are in ascending order, and
// the stream was delivered from the start of the track. Reads the spans again to examine each of their units.
std::vector<DamagedUnit> find_damaged_units(const ParsedMovie& movie, const std::string& file,
                                            uint32_t track_type, const std::vector<DamagedSpan>& spans,
                                            const ExamineUnit& examine, size_t limit,
                                            const WalkWatcher& watch);

}  // namespace zdr::host
