// The sampling rates that the decoder supports, in Hz, by sampling_frequency_index (ISO/IEC 14496-3,
// 1.6.3.4).
#pragma once

#include <cstdint>

namespace zdr::aacdec {

inline constexpr int kSamplingRateCount = 12;
inline constexpr int32_t kSamplingRates[kSamplingRateCount] = {96000, 88200, 64000, 48000, 44100, 32000,
                                                               24000, 22050, 16000, 12000, 11025, 8000};

constexpr bool is_sampling_index(int index) {
  return index >= 0 && index < kSamplingRateCount;
}

// Returns the index of `rate_hz`, or -1 if it is not in the table.
constexpr int sampling_index_of(int32_t rate_hz) {
  for (int i = 0; i < kSamplingRateCount; ++i) {
    if (kSamplingRates[i] == rate_hz) return i;
  }
  return -1;
}

}  // namespace zdr::aacdec
