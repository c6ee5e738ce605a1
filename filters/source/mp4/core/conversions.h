// Conversions between the units of the filter: media time (a track's time scale), whole milliseconds (the
// readers), 100 ns reference time (the graph). Each conversion exists once, so that rounding is the same
// everywhere: media time becomes milliseconds in double precision, is truncated toward zero, and only then
// becomes 100 ns.
#pragma once

#include <windows.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace zdr::mp4source {

inline constexpr int64_t kUnitsPerMs = 10000;

// Audio units have no duration of their own: a sample ends one unit of 100 ns after its start.
inline constexpr REFERENCE_TIME kAudioDuration = 1;

// Truncates toward zero. A value that 64 bits cannot hold, including NaN, becomes 0.
inline int64_t trunc_to_i64(double value) {
  constexpr double kLimit = 9223372036854775808.0;  // 2^63
  return std::isfinite(value) && std::fabs(value) < kLimit ? static_cast<int64_t>(value) : 0;
}

// The low 32 bits of trunc_to_i64(): a duration of more than 49 days wraps.
inline uint32_t trunc_to_u32(double value) {
  return static_cast<uint32_t>(trunc_to_i64(value));
}

// Milliseconds, not truncated; 0 for a track without a time scale.
inline double media_time_to_ms(uint32_t media_time, uint32_t time_scale) {
  return time_scale == 0 ? 0.0 : media_time * 1000.0 / time_scale;
}

inline uint32_t media_time_to_whole_ms(uint32_t media_time, uint32_t time_scale) {
  return trunc_to_u32(media_time_to_ms(media_time, time_scale));
}

constexpr REFERENCE_TIME ms_to_reference_time(uint32_t ms) {
  return int64_t{ms} * kUnitsPerMs;
}

// For times that a reader computed from the content of a file. A result beyond 64 bits wraps.
constexpr REFERENCE_TIME wrapping_ms_to_reference_time(int64_t ms) {
  return static_cast<REFERENCE_TIME>(static_cast<uint64_t>(ms) * uint64_t{kUnitsPerMs});
}

// The difference of two times in milliseconds; negative when the second is before the first.
inline REFERENCE_TIME ms_span_to_reference_time(double ms) {
  return wrapping_ms_to_reference_time(trunc_to_i64(ms));
}

// Frames per second of `count` samples in `duration_ms`. Neither is 0.
inline double frame_rate_of(uint32_t count, uint32_t duration_ms) {
  return count / (duration_ms / 1000.0);
}

// The media time of a seek target, in integer arithmetic. A target before the start is 0, one beyond the 32
// bits of media time is the largest value.
constexpr uint32_t seek_media_time(REFERENCE_TIME target, uint32_t time_scale) {
  constexpr uint32_t kLargest = std::numeric_limits<uint32_t>::max();
  if (target <= 0 || time_scale == 0) return 0;
  const uint64_t ms = static_cast<uint64_t>(target / kUnitsPerMs);
  if (ms > std::numeric_limits<uint64_t>::max() / time_scale) return kLargest;
  const uint64_t media_time = ms * time_scale / 1000;
  return media_time > kLargest ? kLargest : static_cast<uint32_t>(media_time);
}

// Whole milliseconds of a seek target: at least `earliest`, and at most the largest 32-bit value.
constexpr uint32_t seek_ms(REFERENCE_TIME target, uint32_t earliest) {
  return static_cast<uint32_t>(
      std::clamp<int64_t>(target / kUnitsPerMs, earliest, std::numeric_limits<uint32_t>::max()));
}

// Positions of clients are not checked, so sums of them wrap instead of overflowing.
constexpr REFERENCE_TIME wrapping_add(REFERENCE_TIME a, REFERENCE_TIME b) {
  return static_cast<REFERENCE_TIME>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}
constexpr REFERENCE_TIME wrapping_sub(REFERENCE_TIME a, REFERENCE_TIME b) {
  return static_cast<REFERENCE_TIME>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}

}  // namespace zdr::mp4source
