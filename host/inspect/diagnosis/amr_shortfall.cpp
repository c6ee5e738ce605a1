// Looks at the byte after the delivered frames, and walks over all frames only to find out what is wrong.
#include "host/inspect/diagnosis/amr_shortfall.h"

#include <algorithm>

#include "host/formats/amr_frame.h"
#include "host/inspect/files/file_stream.h"
#include "host/inspect/files/read_failure.h"
#include "host/text/time_text.h"

namespace zdr::host {
namespace {

constexpr int64_t kFrameTime = 20 * kUnitsPerMillisecond;

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

std::optional<Diagnosis> find_amr_fault(const AmrFrames& frames) {
  const std::string offset = std::to_string(frames.end);
  if (frames.is_damaged) {
    return loss(MessageCode::kFileDamaged,
                "damaged after " + counted(frames.count, "frame") + ": the " +
                    (frames.is_blank ? "frame" : "byte") + " at offset " + offset +
                    (frames.is_blank ? " has only zeros" : " does not begin a frame"));
  }
  if (!frames.is_cut) return std::nullopt;
  return loss(MessageCode::kCutOff, "cut off: the file ends inside the frame at offset " + offset);
}

std::string too_few_frames(uint64_t frames, std::optional<uint64_t> estimate) {
  if (frames > 1 && estimate && *estimate < frames) {
    return "the reader's estimate of the number of frames (" + std::to_string(*estimate) + " of " +
           std::to_string(frames) + ") is too low";
  }
  return (frames == 1 ? "one frame is" : "its " + counted(frames, "frame") + " are") +
         std::string(" too few for a media sample");
}

SilentFile examine_silent_speech(const std::string& file, bool is_wide_band) {
  FileStream stream(file);
  if (!stream.is_open()) return {.fault = not_opened_again()};
  BlockReader block(stream);
  const uint64_t begin = first_amr_frame(block);
  const AmrFrames frames = walk_amr_frames(block, begin, stream.size(), is_wide_band);
  return {stream.size() > begin, frames.count, kFrameTime, kFrameTime, find_amr_fault(frames)};
}

std::optional<Diagnosis> find_amr_shortfall(const std::string& file, const AmrDelivery& delivery,
                                            DamageList& damage) {
  FileStream stream(file);
  if (!stream.is_open()) return not_opened_again();
  BlockReader block(stream);
  const uint64_t begin = first_amr_frame(block);
  const bool is_undamaged = delivery.is_from_start && delivery.is_to_end && !delivery.is_damaged;
  AmrFrames rest = walk_amr_frames(block, is_undamaged ? begin + delivery.payload_bytes : begin,
                                   stream.size(), delivery.is_wide_band);
  if (is_undamaged && rest.count == 0 && rest.end == stream.size()) return std::nullopt;
  const bool is_last_frame = is_undamaged && rest.count == 1 && rest.end == stream.size();
  if (is_last_frame) {
    return Diagnosis{
        ExitCode::kDone, MessageCode::kUnitsAfterEnd, {}, "the last frame is left out by design", ""};
  }
  if (is_undamaged) rest = walk_amr_frames(block, begin, stream.size(), delivery.is_wide_band);
  const auto fault = find_amr_fault(rest);
  if (rest.is_damaged && (is_undamaged || delivery.is_damaged)) {
    const auto time = static_cast<int64_t>(rest.count) * kFrameTime;
    damage.units.push_back(
        {rest.count + 1, time, rest.end, rest.is_blank ? kBlankAmrFrame : kAmrFrameDamage});
    return fault;
  }
  if (rest.is_cut && delivery.is_to_end) return fault;
  const uint64_t missing = missing_frames(delivery);
  if (missing == 0) return std::nullopt;
  return loss(MessageCode::kUnitsMissing,
              "lacks " + counted(missing, "frame") + " after " + format_time(delivery.last_start));
}

}  // namespace zdr::host
