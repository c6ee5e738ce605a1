// The part of a file that --start and --stop request.
#pragma once

#include <cstdint>

#include "host/options.h"

namespace zdr::host {

// In 100 ns units.
struct PlayRange {
  int64_t start = 0;
  int64_t stop = -1;     // -1: the end of the file
  bool is_whole = true;  // neither option was given
};

PlayRange play_range(const Options& options);

}  // namespace zdr::host
