// The output resampler: brings decoded PCM down to 8000 or 16000 Hz by a cubic B-spline and a first-order
// emphasis that lifts what the spline takes from the upper band.
#pragma once

#include <cstdint>

namespace zdr::aacdec {

// Ratio of input to output rate by class: 1 to 8 are 2, 4, 1.378125, 2.75625, 5.5125, 1.5, 3, 6.
inline constexpr int kResamplerClasses = 8;

// What one channel keeps from call to call. Value-initialised at the start of a stream.
struct ResamplerState {
  uint32_t fraction = 0;       // of the position of the next output, in 2^-32 input samples
  int32_t position = 0;        // of the next output, from the start of the next input
  int16_t last_input[3] = {};  // oldest first
  int16_t last_output = 0;
};

// Resamples `count` samples standing `stride` apart, in place. Returns the number of samples put out, at most
// `count`. `resampling_class` is 1 to kResamplerClasses.
int resample(ResamplerState& state, int resampling_class, int16_t* samples, int count, int stride);

}  // namespace zdr::aacdec
