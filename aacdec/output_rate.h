// The rate at which a stream with SBR comes out: whether SBR doubles the core's rate, and whether the result
// is converted to 8 or 16 kHz.
#pragma once

#include <cstdint>

namespace zdr::aacdec {

struct OutputRate {
  int multiplier = 1;        // 2: SBR doubles the core's rate
  int resampling_class = 0;  // of the resampler, 1 to 8; 0: no conversion
};

// `core_rate_hz` is a rate of the table. `single_rate` forbids doubling but where 16 kHz is asked for.
OutputRate choose_output_rate(int32_t core_rate_hz, int32_t requested_hz, bool single_rate);

}  // namespace zdr::aacdec
