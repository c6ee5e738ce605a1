// The power law of the AAC quantiser, q^(4/3) (ISO/IEC 14496-3, 4.6.1), in Q19; computed at compile time.
#pragma once

#include <cstdint>

#include "aacdec/tables/constant_math.h"

namespace zdr::aacdec {

// Magnitudes 0 to 255, and 256 as the end of the last interval to interpolate in.
inline constexpr int kPowerLawEntries = 257;

struct PowerLawTable {
  int32_t value[kPowerLawEntries];
};

constexpr PowerLawTable make_power_law_table() {
  PowerLawTable table = {};
  for (int q = 0; q < kPowerLawEntries; ++q) {
    table.value[q] = constant_math::fixed(q * constant_math::cube_root(q), 1 << 19);
  }
  return table;
}

inline constexpr PowerLawTable kPowerLaw = make_power_law_table();

}  // namespace zdr::aacdec
