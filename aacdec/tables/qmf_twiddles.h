// Roots of unity for the transforms of the QMF banks, in Q30; computed at compile time. All have the form
// exp(-i x). The banks are those of ISO/IEC 14496-3, 4.6.18.4.
#pragma once

#include "aacdec/tables/complex_q30.h"

namespace zdr::aacdec {

template <int kCount>
struct TwiddleTable {
  TwiddleQ30 entry[kCount];
};

// Entry n is exp(-i 2 pi (step n + first) / denominator).
template <int kCount>
constexpr TwiddleTable<kCount> make_twiddles(int step, int first, int denominator) {
  TwiddleTable<kCount> table = {};
  for (int n = 0; n < kCount; ++n) table.entry[n] = twiddle(polar_q30(-(step * n + first), denominator));
  return table;
}

// exp(-i 2 pi n / 32).
inline constexpr TwiddleTable<16> kFft32Twiddles = make_twiddles<16>(1, 0, 32);

// cos(pi / 4). Rotations by an eighth of a turn multiply both parts by it, and those by a quarter by 1.
inline constexpr int32_t kCosineOfEighth = polar_q30(1, 8).re;
static_assert(polar_q30(1, 8).im == kCosineOfEighth && polar_q30(3, 8).re == -kCosineOfEighth);
static_assert(polar_q30(1, 4).re == 0 && polar_q30(1, 4).im == 1 << 30);

// exp(-i pi (n + 1/8) / N): applied before and after the transform, for a DCT-IV of N points.
inline constexpr TwiddleTable<32> kDct64Twiddles = make_twiddles<32>(8, 1, 1024);
inline constexpr TwiddleTable<16> kDct32Twiddles = make_twiddles<16>(8, 1, 512);

// exp(-i pi n / 64): shifts the analysis from even to odd frequencies.
inline constexpr TwiddleTable<32> kOddFrequencyTwiddles = make_twiddles<32>(1, 0, 128);

// exp(-i pi (k + 1/2) / 128): the offset of the 32-band banks by a quarter of a sample, by band.
inline constexpr TwiddleTable<32> kQuarterSampleTwiddles = make_twiddles<32>(2, 1, 512);

}  // namespace zdr::aacdec
