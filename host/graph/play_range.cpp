// What `play` and `samples` share of their options and their progress, so that both mean the same by them.
#include "host/graph/play_range.h"

#include <algorithm>
#include <filesystem>

#include "host/time_text.h"

namespace zdr::host {

PlayRange play_range(const Options& options) {
  PlayRange range;
  range.is_whole = options.start.empty() && options.stop.empty();
  // The command line has refused what is no time.
  range.start = parse_time(options.start).value_or(range.start);
  range.stop = parse_time(options.stop).value_or(range.stop);
  return range;
}

uint64_t delivery_limit(const Options& options, const std::string& file) {
  if (options.allow_overlap) return 0;
  std::error_code code;
  const uintmax_t size = std::filesystem::file_size(std::filesystem::path(file), code);
  return code ? 0 : size;
}

std::string progress_label(const std::string& file) {
  return std::filesystem::path(file).filename().string();
}

void show_progress(ProgressLine& line, const std::string& file, const PlayRange& range, int64_t position,
                   int64_t duration) {
  const int64_t end = range.stop < 0 || duration <= 0 ? duration : std::min(range.stop, duration);
  line.update(progress_label(file), {range.start, std::max(position, range.start), end});
}

}  // namespace zdr::host
