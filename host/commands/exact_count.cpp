// Converts counted frames to time.
#include "host/commands/exact_count.h"

#include <algorithm>

#include "host/inspect/aac/aac_frame_count.h"
#include "host/inspect/amr/amr_frames.h"
#include "host/inspect/diagnosis/aac_shortfall.h"
#include "host/inspect/diagnosis/amr_shortfall.h"
#include "host/memory.h"
#include "host/text/time_text.h"

namespace zdr::host {

uint64_t ExactCount::bit_rate() const {
  if (duration_100ns <= 0) return 0;
  return static_cast<uint64_t>(static_cast<double>(bytes) * 8 * kUnitsPerSecond /
                               static_cast<double>(duration_100ns));
}

ExactCount count_aac_exactly(const std::string& file, const AacStreamView& view, const ExactWatch& watch) {
  const AacFrameCount counted = count_aac_frames(file, view, watch);
  const auto samples = static_cast<int64_t>(counted.total) * view.config.frameLength;
  const int64_t rate = std::max(1, view.config.sampleRate);
  const int64_t duration = samples / rate * kUnitsPerSecond + samples % rate * kUnitsPerSecond / rate;
  ExactCount count{counted.total, counted.bytes, duration, find_aac_fault(counted)};
  if (const auto padding = find_padding(counted)) count.remarks.push_back(*padding);
  const auto unread = count.fault ? std::nullopt : find_unread_frames(file, counted);
  if (unread) count.remarks.push_back(*unread);
  return count;
}

ExactCount count_amr_exactly(const std::string& file, bool is_wide_band, const ExactWatch& watch) {
  constexpr int64_t kFrameTime = 20 * kUnitsPerMillisecond;
  FileStream stream(file);
  if (!stream.is_open()) throw_exhausted();  // the reader has just opened it
  BlockReader block(stream);
  const uint64_t begin = first_amr_frame(block);
  const AmrFrames frames = walk_amr_frames(block, begin, stream.size(), is_wide_band,
                                           [&](uint64_t offset) { return watch(offset, stream.size()); });
  ExactCount count{frames.count, frames.end - begin, static_cast<int64_t>(frames.count) * kFrameTime,
                   find_amr_fault(frames)};
  if (frames.count == 1 && !count.fault) {
    count.remarks.push_back(
        {ExitCode::kLoss, MessageCode::kUnitsMissing, {}, too_few_frames(frames.count), ""});
  }
  return count;
}

std::string exact_line(const ExactCount& count) {
  return counted(count.frames, "frame") + ", " + format_time(count.duration_100ns) + ", " +
         std::to_string(count.bit_rate()) + " bit/s" + (count.fault ? ", damaged or cut off" : "");
}

}  // namespace zdr::host
