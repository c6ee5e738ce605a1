// Dynamic range control data of a fill element (ISO/IEC 14496-3, dynamic_range_info).
#pragma once

#include <cstdint>

#include "aacdec/syntax/bit_reader.h"

namespace zdr::aacdec {

inline constexpr int kMaxDynamicRangeBands = 16;

struct DynamicRange {
  uint8_t band_count = 0;  // 0: the frame carries none
  // Level in steps of a quarter dB in force with this frame, the last one received.
  uint8_t program_reference_level = 0;
  // The gain of a band holds up to line 4 * band_top + 3.
  uint16_t band_top[kMaxDynamicRangeBands] = {};
  bool negative[kMaxDynamicRangeBands] = {};    // dyn_rng_sgn
  uint8_t control[kMaxDynamicRangeBands] = {};  // dyn_rng_ctl, 0 to 127
};

// Reads dynamic_range_info. A frame without prog_ref_level keeps `range.program_reference_level`.
void parse_dynamic_range(BitReader& reader, DynamicRange& range);

}  // namespace zdr::aacdec
