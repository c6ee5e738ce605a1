// The power law and the scale of quantised values, computed while compiling.
#pragma once

#include "aacdec/fixed/fixed_point.h"
#include "aacdec/tables/constant_math.h"

namespace zdr::aacdec {

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

// q^(4/3) in Q19.
inline constexpr PowerLawTable kPowerLaw = make_power_law_table();

// The scale factor at which a quantised value of 1 becomes 2^14, the value of the Q19 table shifted right by
// 5.
inline constexpr int kUnityScaleFactor = 144;
inline constexpr int kPowerLawShift = 5;

inline constexpr int kTabulatedScaleFactors = 256;  // all that an undamaged stream uses
inline constexpr int kTabulatedValues = 16;         // and as many negative ones

struct SmallValueTable {
  alignas(64) int32_t value[kTabulatedScaleFactors][2 * kTabulatedValues];
};

constexpr SmallValueTable make_small_value_table() {
  SmallValueTable table = {};
  for (int sf = 0; sf < kTabulatedScaleFactors; ++sf) {
    for (int q = 0; q < kTabulatedValues; ++q) {
      const int32_t value =
          scale_by_quarter_steps(kPowerLaw.value[q] >> kPowerLawShift, sf - kUnityScaleFactor);
      table.value[sf][kTabulatedValues + q] = value;
      table.value[sf][kTabulatedValues - q] = -value;
    }
  }
  return table;
}

// Value q, of a magnitude below 16, dequantised by scale factor, at [scale factor][16 + q]: nearly all that
// streams hold.
inline constexpr SmallValueTable kSmallValues = make_small_value_table();

}  // namespace zdr::aacdec
