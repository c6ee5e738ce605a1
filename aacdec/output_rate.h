// The output rate of a stream with SBR: whether SBR doubles the core rate, and whether the result is
// converted to 8 or 16 kHz.
#pragma once

#include <cstdint>

namespace zdr::aacdec {

struct OutputRate {
  int multiplier = 1;        // 1, or 2 if SBR doubles the core rate
  int resampling_class = 0;  // 1 to kResamplerClasses; 0: no conversion
};

// `core_rate_hz` is one of kSamplingRates. `single_rate` prevents doubling, unless 16 kHz is requested.
OutputRate choose_output_rate(int32_t core_rate_hz, int32_t requested_hz, bool single_rate);

}  // namespace zdr::aacdec
