// Implements the conversions between frames, bytes and times.
#include "esparse/aac/stream_times.h"

namespace zdr::aacf {

uint32_t truncated(double value) {
  if (!(value > 0)) return 0;
  return value < 4294967296.0 ? static_cast<uint32_t>(value) : UINT32_MAX;
}

uint32_t saturated_sum(uint32_t base, double distance) {
  const uint64_t sum = uint64_t{base} + truncated(distance);
  return sum > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(sum);
}

double mean_frame_bytes(const AACF_StreamInfo& info) {
  return info.frames_scanned == 0 ? 0 : static_cast<double>(info.bytes_scanned) / info.frames_scanned;
}

double duration_of_frames_ms(uint32_t frames, const Zd_AAC_Dec_Config& config) {
  return frames * (static_cast<double>(config.frameLength) / config.sampleRate) * 1000;
}

// Kept: the duration of a frame is rounded to single precision.
uint32_t stream_duration_ms(uint32_t frames, const Zd_AAC_Dec_Config& config) {
  const auto frame_ms =
      static_cast<float>(static_cast<double>(config.frameLength) / config.sampleRate * 1000);
  return truncated(frames * static_cast<double>(frame_ms));
}

uint32_t frame_at_ms(uint32_t time_ms, const Zd_AAC_Dec_Config& config) {
  return saturated_sum(1, time_ms * (config.sampleRate / 1000.0) / config.frameLength);
}

// Kept: samples are counted in 32 bits.
uint64_t start_of_frame_ms(uint32_t number, const Zd_AAC_Dec_Config& config) {
  const uint32_t samples = (number - 1) * static_cast<uint32_t>(config.frameLength);
  return static_cast<uint64_t>(static_cast<double>(samples) / config.sampleRate * 1000);
}

}  // namespace zdr::aacf
