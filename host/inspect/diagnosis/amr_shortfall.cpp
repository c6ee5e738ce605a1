// Looks at the byte after the delivered frames, and walks over all frames by their first bytes (RFC
// 4867, 5.3) only to find out what is wrong.
#include "host/inspect/diagnosis/amr_shortfall.h"

#include <algorithm>

#include "host/formats/amr_frame.h"
#include "host/inspect/files/file_stream.h"
#include "host/inspect/files/read_failure.h"
#include "host/text/time_text.h"

namespace zdr::host {
namespace {

constexpr int64_t kFrameTime = 20 * kUnitsPerMillisecond;

// A walk over frames.
struct AmrFrames {
  uint64_t count = 0;
  uint64_t end = 0;         // offset after the last whole frame
  bool is_cut = false;      // the file ends inside the frame at `end`
  bool is_damaged = false;  // the byte at `end` cannot begin a frame
};

// Offset after the line of the magic number.
uint64_t first_frame(BlockReader& block) {
  for (uint64_t offset = 0;;) {
    const auto bytes = block.from(offset, 1);
    if (bytes.empty()) return 0;
    const auto line_end = std::ranges::find(bytes, uint8_t{'\n'});
    offset += static_cast<uint64_t>(line_end - bytes.begin());
    if (line_end != bytes.end()) return offset + 1;
  }
}

AmrFrames walk(BlockReader& block, uint64_t begin, uint64_t file_size, bool is_wide_band) {
  AmrFrames frames{.end = begin};
  while (frames.end < file_size) {
    const auto bytes = block.from(frames.end, 1);
    if (bytes.empty()) break;
    const uint64_t size = amr_frame_size(bytes[0], is_wide_band);
    frames.is_damaged = size == 0;
    frames.is_cut = !frames.is_damaged && size > file_size - frames.end;
    if (frames.is_damaged || frames.is_cut) break;
    frames.end += size;
    ++frames.count;
  }
  return frames;
}

Diagnosis loss(MessageCode code, const std::string& reason) {
  return {ExitCode::kLoss, code, {}, reason, ""};
}

// The frames that should have followed the last sample. A sample whose time stamp, the end of its first
// frame, is not before the stop position is left out by design.
uint64_t missing_frames(const AmrDelivery& delivery) {
  const int64_t next_start = delivery.last_start + delivery.last_frames * kFrameTime;
  return next_start < delivery.stop ? static_cast<uint64_t>((delivery.stop - next_start) / kFrameTime) + 1
                                    : 0;
}

}  // namespace

std::optional<Diagnosis> find_amr_shortfall(const std::string& file, const AmrDelivery& delivery) {
  FileStream stream(file);
  if (!stream.is_open()) return not_opened_again();
  BlockReader block(stream);
  const uint64_t begin = first_frame(block);
  const bool is_undamaged = delivery.is_from_start && delivery.is_to_end && !delivery.is_damaged;
  AmrFrames rest = walk(block, is_undamaged ? begin + delivery.payload_bytes : begin, stream.size(),
                        delivery.is_wide_band);
  if (is_undamaged && rest.count == 0 && rest.end == stream.size()) return std::nullopt;
  const bool is_last_frame = is_undamaged && rest.count == 1 && rest.end == stream.size();
  if (is_last_frame) {
    return Diagnosis{
        ExitCode::kDone, MessageCode::kUnitsAfterEnd, {}, "the last frame is left out by design", ""};
  }
  if (is_undamaged) rest = walk(block, begin, stream.size(), delivery.is_wide_band);
  const std::string offset = std::to_string(rest.end);
  if (rest.is_damaged && (is_undamaged || delivery.is_damaged)) {
    return loss(MessageCode::kFileDamaged, "damaged after " + counted(rest.count, "frame") +
                                               ": the byte at offset " + offset + " does not begin a frame");
  }
  if (rest.is_cut && delivery.is_to_end)
    return loss(MessageCode::kCutOff, "cut off: the file ends inside the frame at offset " + offset);
  const uint64_t missing = missing_frames(delivery);
  if (missing == 0) return std::nullopt;
  return loss(MessageCode::kUnitsMissing,
              "lacks " + counted(missing, "frame") + " after " + format_time(delivery.last_start));
}

}  // namespace zdr::host
