// Reads the two options, which the command line has checked.
#include "host/graph/play_range.h"

#include "host/time_text.h"

namespace zdr::host {

PlayRange play_range(const Options& options) {
  PlayRange range;
  range.is_whole = options.start.empty() && options.stop.empty();
  range.start = parse_time(options.start).value_or(range.start);
  range.stop = parse_time(options.stop).value_or(range.stop);
  return range;
}

}  // namespace zdr::host
