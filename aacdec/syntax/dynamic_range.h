// Dynamic range control (DRC) data of a fill element: dynamic_range_info (ISO/IEC 14496-3, 4.5.2.7).
#pragma once

#include <cstdint>

#include "aacdec/syntax/bit_reader.h"

namespace zdr::aacdec {

inline constexpr int kMaxDynamicRangeBands = 16;

struct DynamicRange {
  uint8_t band_count = 0;  // 0: the frame carries no DRC data
  // The last level received, in steps of a quarter dB.
  uint8_t program_reference_level = 0;
  // The gain of a band applies up to line 4 * band_top + 3.
  uint16_t band_top[kMaxDynamicRangeBands] = {};
  bool negative[kMaxDynamicRangeBands] = {};    // dyn_rng_sgn
  uint8_t control[kMaxDynamicRangeBands] = {};  // dyn_rng_ctl, 0 to 127
};

// Reads dynamic_range_info. Without prog_ref_level, `range.program_reference_level` is unchanged.
void parse_dynamic_range(BitReader& reader, DynamicRange& range);

}  // namespace zdr::aacdec
