// Small tables of temporal noise shaping (TNS), long term prediction (LTP) and dynamic range control (DRC).
// From ISO/IEC 14496-3, 4.6.9, 4.6.7 and 4.5.2.7; computed at compile time where the standard has a formula.
#pragma once

#include "aacdec/tables/constant_math.h"

namespace zdr::aacdec {

// TNS_MAX_BANDS, the number of bands that TNS may cover, by sampling_frequency_index; LC and LTP profiles.
inline constexpr uint8_t kTnsMaxBandsLong[12] = {31, 31, 34, 40, 42, 51, 46, 46, 42, 42, 42, 39};
inline constexpr uint8_t kTnsMaxBandsShort[12] = {9, 9, 10, 14, 14, 14, 14, 14, 14, 14, 14, 14};

struct ReflectionTable {
  int32_t value[16];
};

// Reflection coefficients of TNS, Q31, by transmitted field from -2^(bits - 1) on: the sine of the quantised
// angle, whose steps differ below and above 0.
constexpr ReflectionTable make_reflection_table(int bits) {
  ReflectionTable table = {};
  const int half = 1 << (bits - 1);
  for (int field = -half; field < half; ++field) {
    const int denominator = field < 0 ? 4 * half + 2 : 4 * half - 2;
    table.value[field + half] =
        constant_math::fixed(constant_math::turns(field, denominator).sin, constant_math::kQ31);
  }
  return table;
}

inline constexpr ReflectionTable kReflection3 = make_reflection_table(3);
inline constexpr ReflectionTable kReflection4 = make_reflection_table(4);

// Gains of LTP by ltp_coef, Q30.
inline constexpr int32_t kLtpGains[8] = {
    constant_math::fixed(0.570829, constant_math::kQ30), constant_math::fixed(0.696616, constant_math::kQ30),
    constant_math::fixed(0.813004, constant_math::kQ30), constant_math::fixed(0.911304, constant_math::kQ30),
    constant_math::fixed(0.984900, constant_math::kQ30), constant_math::fixed(1.067894, constant_math::kQ30),
    constant_math::fixed(1.194601, constant_math::kQ30), constant_math::fixed(1.369533, constant_math::kQ30),
};

// 2^(i/6) in Q30. The entry of 1/6 is 3e-8 low, which is part of the decoder's output.
inline constexpr int32_t kSixthSteps[6] = {
    1 << 30, 1205234411, 1352829926, 1518500250, 1704458901, 1913190429,
};

// DRC: 2^18 * 2^(i/6), rounded; i is 0 to 73.
constexpr int32_t dynamic_range_gain(int i) {
  const int shift = 12 - i / 6;
  return (kSixthSteps[i % 6] + (1 << shift >> 1)) >> shift;
}

}  // namespace zdr::aacdec
