// What a seek of the filter does: where each pin begins and why, and what it reads for that.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/graph/seek_landing.h"
#include "host/messages.h"
#include "host/options.h"

namespace zdr::host {

// Of an ISO media track. Numbers of access units are from 1, times of the media in 100 ns units.
struct UnitChoice {
  uint32_t units = 0;  // that the track has
  uint32_t at_target = 0;
  int64_t target_start = 0;  // of that unit
  bool target_is_sync = false;
  uint32_t begun_with = 0;  // the unit that the pin delivers first
  bool has_sync_table = false;
};

struct PinSeek {
  PinLanding landing;
  std::optional<UnitChoice> choice;
};

// Reads of one table, or of the rest of the file. None if the table was in a cache since the file was opened.
struct ReadGroup {
  std::string pin;    // whose track has the table; empty for the rest
  std::string table;  // "stts"; empty for the rest
  uint64_t first_entry = 0;
  uint64_t last_entry = 0;
  uint64_t reads = 0;
  uint64_t bytes = 0;
};

struct SeekExplanation {
  int64_t target = 0;
  std::vector<PinSeek> pins;
  // The tables first.
  std::vector<ReadGroup> groups;
  uint64_t reads = 0;
  uint64_t bytes = 0;
};

// Plays the file from options.explain_seek on, then seeks there once more to observe it. Reports what
// `zdr samples --start` does, except that a pin begins before the target: the explanation has that.
ExitCode explain_seek(const std::string& file, const Options& options, Messages& messages,
                      SeekExplanation& explanation);

}  // namespace zdr::host
