// Rotations of the core's transforms (ISO/IEC 14496-3, 4.6.11), in Q31; computed at compile time.
//
// A rotation is cos - i sin of an angle, in the form for a complex product with three multiplications. The
// two sums are halved because they reach the square root of 2.
#pragma once

#include "aacdec/tables/constant_math.h"
#include "aacdec/tables/prepared_factor.h"

namespace zdr::aacdec {

// Prepared factors, without their signs. One list per part, so that neighbours load as a vector.
template <int kCount>
struct RotationTable {
  alignas(64) int32_t cos[kCount];
  alignas(64) int32_t half_sum[kCount];         // (cos + sin) / 2
  alignas(64) int32_t half_difference[kCount];  // (cos - sin) / 2

  constexpr void set(int i, constant_math::Angle angle) {
    cos[i] = prepared(angle.cos);
    half_sum[i] = prepared((angle.cos + angle.sin) / 2);
    half_difference[i] = prepared((angle.cos - angle.sin) / 2);
  }

 private:
  static constexpr int32_t prepared(double factor) {
    return prepared_factor(constant_math::fixed(factor, constant_math::kQ31));
  }
};

// The signs of the parts, 1 or -1, for rotations by more than a quarter of a turn.
template <int kCount>
struct RotationSigns {
  alignas(64) int32_t cos[kCount];
  alignas(64) int32_t half_sum[kCount];
  alignas(64) int32_t half_difference[kCount];

  constexpr void set(int i, constant_math::Angle angle) {
    cos[i] = angle.cos < 0 ? -1 : 1;
    half_sum[i] = angle.cos + angle.sin < 0 ? -1 : 1;
    half_difference[i] = angle.cos - angle.sin < 0 ? -1 : 1;
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
template <class Table>
constexpr Table make_fourier_64() {
  Table table = {};
  for (int i = 0; i < 64; ++i) table.set(i, constant_math::turns(i, 64));
  return table;
}

inline constexpr auto kFourier64Rotations = make_fourier_64<RotationTable<64>>();
inline constexpr auto kFourier64Signs = make_fourier_64<RotationSigns<64>>();

// Between the transforms of 64 and of 8 points: entry 8 k + n is k n / 512 turns.
template <class Table>
constexpr Table make_fourier_512() {
  Table table = {};
  for (int k = 0; k < 64; ++k) {
    for (int n = 0; n < 8; ++n) table.set(8 * k + n, constant_math::turns(k * n, 512));
  }
  return table;
}

inline constexpr auto kFourier512Rotations = make_fourier_512<RotationTable<512>>();
inline constexpr auto kFourier512Signs = make_fourier_512<RotationSigns<512>>();

inline constexpr int32_t kSquareRootHalf = prepared_factor(1518500250);  // Q31

}  // namespace zdr::aacdec
