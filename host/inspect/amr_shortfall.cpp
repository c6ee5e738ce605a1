// Walks over the frames by their first bytes (RFC 4867, 5.3).
#include "host/inspect/amr_shortfall.h"

#include <algorithm>
#include <vector>

#include "esparse/amr/amrf.h"
#include "host/inspect/file_stream.h"

namespace zdr::host {
namespace {

constexpr uint8_t kZeroBits = 0x83;  // of the first byte of a frame
constexpr uint64_t kFramesPerSample = 10;
constexpr uint64_t kLargestFrame = 61;  // bytes

struct AmrFrames {
  uint64_t count = 0;
  uint64_t bytes = 0;
  uint64_t end = 0;         // offset after the last whole frame
  bool is_cut = false;      // the file ends inside the frame at `end`
  bool is_damaged = false;  // the byte at `end` cannot begin a frame
};

// The stream begins after the line of the magic number.
AmrFrames walk(const std::vector<uint8_t>& bytes, bool is_wide_band) {
  AmrFrames frames;
  const auto line_end = std::ranges::find(bytes, uint8_t{'\n'});
  frames.end = line_end == bytes.end() ? 0 : static_cast<uint64_t>(line_end - bytes.begin()) + 1;
  while (frames.end < bytes.size()) {
    const uint8_t first = bytes[frames.end];
    frames.is_damaged = (first & kZeroBits) != 0;
    if (frames.is_damaged) break;
    const uint64_t size = is_wide_band ? AMRF_FrameSizeWB(first) : AMRF_FrameSizeNB(first);
    frames.is_cut = size > bytes.size() - frames.end;
    if (frames.is_cut || size == 0) break;
    frames.end += size;
    frames.bytes += size;
    ++frames.count;
  }
  return frames;
}

}  // namespace

std::optional<Diagnosis> find_amr_shortfall(const std::string& file, bool is_wide_band,
                                            uint64_t payload_bytes) {
  FileStream stream(file);
  constexpr uint64_t kLargestFile = 256u << 20;  // three weeks of speech
  if (stream.size() > kLargestFile) return std::nullopt;
  std::vector<uint8_t> bytes(stream.size());
  bytes.resize(stream.read_at(0, bytes));
  const AmrFrames frames = walk(bytes, is_wide_band);
  const auto loss = [](MessageCode code, const std::string& reason) {
    return Diagnosis{ExitCode::kLoss, code, {}, reason, ""};
  };
  const std::string offset = std::to_string(frames.end);
  if (frames.is_damaged) {
    return loss(MessageCode::kFileDamaged, "damaged after " + counted(frames.count, "frame") +
                                               ": the byte at offset " + offset + " does not begin a frame");
  }
  if (frames.is_cut)
    return loss(MessageCode::kCutOff, "cut off: the file ends inside the frame at offset " + offset);
  if (payload_bytes >= frames.bytes) return std::nullopt;
  // The filter ends a stream at a sample that would have one frame only.
  const uint64_t missing = frames.bytes - payload_bytes;
  if (frames.count % kFramesPerSample == 1 && missing <= kLargestFrame)
    return Diagnosis{
        ExitCode::kDone, MessageCode::kUnitsAfterEnd, {}, "the last frame is left out by design", ""};
  return loss(MessageCode::kUnitsMissing, "only " + std::to_string(payload_bytes) + " of " +
                                              counted(frames.bytes, "byte") + " of speech were delivered");
}

}  // namespace zdr::host
