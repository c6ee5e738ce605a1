// Rotations of the core's transforms (ISO/IEC 14496-3, 4.6.11), in Q31; computed at compile time.
//
// A rotation is cos - i sin of an angle, in the form for a complex product with three multiplications. The
// two sums are halved because they reach the square root of 2.
#pragma once

#include "aacdec/tables/constant_math.h"

namespace zdr::aacdec {

// One list per part, so that neighbours load as a vector.
template <int kCount>
struct RotationTable {
  alignas(64) int32_t cos[kCount];              // Q31
  alignas(64) int32_t minus_half_sum[kCount];   // -(sin + cos) / 2, Q31
  alignas(64) int32_t half_difference[kCount];  // (cos - sin) / 2, Q31

  constexpr void set(int i, constant_math::Angle angle) {
    cos[i] = constant_math::fixed(angle.cos, constant_math::kQ31);
    minus_half_sum[i] = constant_math::fixed(-(angle.sin + angle.cos) / 2, constant_math::kQ31);
    half_difference[i] = constant_math::fixed((angle.cos - angle.sin) / 2, constant_math::kQ31);
  }
};

// A DCT-IV of `kLines` lines rotates value k by pi (k + 1/8) / kLines, before and after a Fourier transform
// of half the length.
template <int kLines>
constexpr RotationTable<kLines / 2> make_dct4_rotations() {
  RotationTable<kLines / 2> table = {};
  for (int k = 0; k < kLines / 2; ++k) table.set(k, constant_math::turns(8 * k + 1, 16 * kLines));
  return table;
}

inline constexpr RotationTable<512> kLongRotations = make_dct4_rotations<1024>();
inline constexpr RotationTable<64> kShortRotations = make_dct4_rotations<128>();

// Entry i is i / 64 turns.
constexpr RotationTable<64> make_fourier_64_rotations() {
  RotationTable<64> table = {};
  for (int i = 0; i < 64; ++i) table.set(i, constant_math::turns(i, 64));
  return table;
}

inline constexpr RotationTable<64> kFourier64Rotations = make_fourier_64_rotations();

// Between the transforms of 64 and of 8 points: entry 8 k + n is k n / 512 turns.
constexpr RotationTable<512> make_fourier_512_rotations() {
  RotationTable<512> table = {};
  for (int k = 0; k < 64; ++k) {
    for (int n = 0; n < 8; ++n) table.set(8 * k + n, constant_math::turns(k * n, 512));
  }
  return table;
}

inline constexpr RotationTable<512> kFourier512Rotations = make_fourier_512_rotations();

inline constexpr int32_t kSquareRootHalf = 1518500250;  // Q31

}  // namespace zdr::aacdec
