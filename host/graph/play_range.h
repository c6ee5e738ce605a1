// The part of a file that --start and --stop ask for, and how far a run through it has come.
#pragma once

#include <cstdint>
#include <string>

#include "host/option_table.h"
#include "host/terminal.h"

namespace zdr::host {

// In 100 ns units.
struct PlayRange {
  int64_t start = 0;
  int64_t stop = -1;     // the end of the file
  bool is_whole = true;  // neither end was asked for
};

PlayRange play_range(const Options& options);

// For DeliveryGuard: the bytes of the file, 0 where none can or need be told.
uint64_t delivery_limit(const Options& options, const std::string& file);

// What a progress line calls a file.
std::string progress_label(const std::string& file);

// One line for a file of which the streams have come to `position`; `duration` 0 is unknown.
void show_progress(ProgressLine& line, const std::string& file, const PlayRange& range, int64_t position,
                   int64_t duration);

}  // namespace zdr::host
