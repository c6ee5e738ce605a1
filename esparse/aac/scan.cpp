// Walks over the first frames and computes the estimates.
#include "esparse/aac/scan.h"

#include "esparse/aac/stream_times.h"

namespace zdr::aacf {
namespace {

// Kept: an estimated bitrate is a whole number of bytes per millisecond.
constexpr uint32_t kBitsPerSecondOfByteMs = 8000;

// Kept: the bits are read from these positions even if the header has a copyright identification, and are
// joined low byte first.
void read_adif_bitrate(Bytes head, AACF_StreamInfo& info) {
  const uint32_t b9 = head[9], b10 = head[10], b11 = head[11], b12 = head[12];
  info.bitrate = b9 >> 4 | b10 << 4 | b11 << 12 | (b12 & 3) << 20;
  info.bitrate_mode = (b9 & 1) != 0 ? AACF_BITRATE_VARIABLE : AACF_BITRATE_CONSTANT;
}

// Kept: the last ADTS frame does not count, because no header follows it.
void walk_frames(FrameStream& stream, uint32_t scan_limit, AACF_StreamInfo& info) {
  uint32_t length = 0;
  while (info.bytes_scanned <= scan_limit && stream.find_frame(length)) {
    ++info.frames_scanned;
    info.bytes_scanned += length;
    stream.step_over(length);
    // Kept: a truncated header counts as a frame. It consumes nothing; without a refill this would loop
    // forever.
    if (length == 0 && stream.refill() == 0) break;
  }
}

void estimate_bitrate(const Zd_AAC_Dec_Config& config, AACF_StreamInfo& info) {
  info.bitrate_mode = AACF_BITRATE_ESTIMATED;
  const double duration_ms = duration_of_frames_ms(info.frames_scanned, config);
  if (duration_ms > 0) info.bitrate = truncated(info.bytes_scanned / duration_ms) * kBitsPerSecondOfByteMs;
}

// Kept: a stream in which no frame was counted has 0 frames, and none of its frames can be read.
uint32_t estimate_total_frames(const AACF_StreamInfo& info) {
  if (info.bytes_scanned >= info.audio_bytes) return info.frames_scanned;
  const double mean = mean_frame_bytes(info);
  return mean > 0 ? truncated(info.audio_bytes / mean) : 0;
}

}  // namespace

AACF_StreamInfo scan_stream(FrameStream& stream, uint32_t scan_limit, uint32_t audio_bytes) {
  AACF_StreamInfo info{};
  info.audio_bytes = audio_bytes;
  if (stream.kind() == AACF_KIND_ADIF) read_adif_bitrate(stream.head(), info);
  walk_frames(stream, scan_limit, info);
  if (info.bitrate == 0) estimate_bitrate(stream.description().config, info);
  info.total_frames = estimate_total_frames(info);
  return info;
}

}  // namespace zdr::aacf
