// The output resampler: converts decoded PCM to 8000 or 16000 Hz with a cubic B-spline, and compensates for
// the spline's attenuation of the upper band with a first-order emphasis.
#pragma once

#include <cstdint>

namespace zdr::aacdec {

// Classes 1 to 8 divide the rate by 2, 4, 1.378125, 2.75625, 5.5125, 1.5, 3, 6.
inline constexpr int kResamplerClasses = 8;

// The state of one channel between calls. Value-initialise it at the start of a stream.
struct ResamplerState {
  uint32_t fraction = 0;       // of the position of the next output, in 2^-32 input samples
  int32_t position = 0;        // of the next output, from the start of the next input
  int16_t last_input[3] = {};  // oldest first
  int16_t last_output = 0;
};

// Resamples `count` samples at samples[i * stride] in place. Returns the number of output samples, at most
// `count`. `resampling_class` is 1 to kResamplerClasses.
int resample(ResamplerState& state, int resampling_class, int16_t* samples, int count, int stride);

}  // namespace zdr::aacdec
