// The transforms of the filter bank (IMDCT and MDCT as DCT-IV; ISO/IEC 14496-3, 4.6.11), eight lanes at a
// time. For kernel files only.
//
// The 512-point Fourier transform is 8 transforms of 64 points, one in each lane, followed by 64 of 8 points;
// a 64-point transform is 8 by 8. Eight short windows are eight lanes of the 64-point transform.
//
// Do not change the order of the operations: because of truncation, it determines the output.
#pragma once

#include <cstdint>

#include "aacdec/core/core_kernels.h"
#include "aacdec/fixed/bounded_products.h"
#include "aacdec/fixed/fixed_lanes.h"
#include "aacdec/fixed/half_lanes.h"
#include "aacdec/tables/transform_tables.h"

namespace zdr::aacdec {
namespace {

// A complex row is eight real parts, then eight imaginary ones.
inline constexpr int kRow = 2 * kLanes;

[[gnu::always_inline]] inline ComplexLanes load_row(const int32_t* rows, int row) {
  return {load(rows + kRow * row), load(rows + kRow * row + kLanes)};
}

[[gnu::always_inline]] inline void store_row(int32_t* rows, int row, ComplexLanes v) {
  store(rows + kRow * row, v.re);
  store(rows + kRow * row + kLanes, v.im);
}

// Prepared factors of a rotation, or their signs; see tables/transform_tables.h.
struct RotationParts {
  Lanes cos, half_sum, half_difference;
};

template <class Table>
[[gnu::always_inline]] inline RotationParts one_rotation(const Table& table, int i) {
  return {broadcast(table.cos[i]), broadcast(table.half_sum[i]), broadcast(table.half_difference[i])};
}

template <class Table>
[[gnu::always_inline]] inline RotationParts eight_rotations(const Table& table, int i) {
  return {load(table.cos + i), load(table.half_sum + i), load(table.half_difference + i)};
}

// Rotates by less than an eighth of a turn.
template <class Products>
[[gnu::always_inline]] inline ComplexLanes rotate_below_eighth(ComplexLanes a, const RotationParts& w,
                                                               Products& mul) {
  const Lanes common = mul(a.re + a.im, w.cos);
  return {common - (mul(a.im, w.half_difference) << 1), common - (mul(a.re, w.half_sum) << 1)};
}

// Rotates by more than an eighth and less than a quarter of a turn, where sin is above cos.
template <class Products>
[[gnu::always_inline]] inline ComplexLanes rotate_above_eighth(ComplexLanes a, const RotationParts& w,
                                                               Products& mul) {
  const Lanes common = mul(a.re + a.im, w.cos);
  return {common + (mul(a.im, w.half_difference) << 1), common - (mul(a.re, w.half_sum) << 1)};
}

template <class Products>
[[gnu::always_inline]] inline ComplexLanes rotate(ComplexLanes a, const RotationParts& w,
                                                  const RotationParts& signs, Products& mul) {
  const Lanes common = with_signs(mul(a.re + a.im, w.cos), signs.cos);
  return {common - with_signs(mul(a.im, w.half_difference) << 1, signs.half_difference),
          common - with_signs(mul(a.re, w.half_sum) << 1, signs.half_sum)};
}

// Times 1 - i and times -1 - i, over the square root of 2.
template <class Products>
[[gnu::always_inline]] inline ComplexLanes rotate_eighth(ComplexLanes a, Products& mul) {
  const Lanes root = broadcast(kSquareRootHalf);
  return {mul(a.re + a.im, root), mul(a.im - a.re, root)};
}

template <class Products>
[[gnu::always_inline]] inline ComplexLanes rotate_three_eighths(ComplexLanes a, Products& mul) {
  const Lanes root = broadcast(kSquareRootHalf);
  return {mul(a.im - a.re, root), -mul(a.re + a.im, root)};
}

template <class Products>
[[gnu::always_inline]] inline void fourier_8(ComplexLanes (&v)[8], Products& mul) {
  const ComplexLanes difference[4] = {v[0] - v[4], v[1] - v[5], v[2] - v[6], v[3] - v[7]};
  fourier_4(v[0] + v[4], v[1] + v[5], v[2] + v[6], v[3] + v[7], v, 2);
  fourier_4(difference[0], rotate_eighth(difference[1], mul), times_minus_i(difference[2]),
            rotate_three_eighths(difference[3], mul), v + 1, 2);
}

// Fourier transforms of 64 points, one in each lane of the rows `in`, which are overwritten. Calls put(row,
// result).
template <class Products, typename Put>
[[gnu::always_inline]] inline void fourier_64(int32_t* in, Products& mul, Put put) {
  ComplexLanes v[8];
  for (int i = 0; i < 8; ++i) v[i] = load_row(in, 8 * i);
  fourier_8(v, mul);
  for (int k = 0; k < 8; ++k) store_row(in, 8 * k, v[k]);
  for (int n = 1; n < 8; ++n) {
    for (int i = 0; i < 8; ++i) v[i] = load_row(in, 8 * i + n);
    fourier_8(v, mul);
    store_row(in, n, v[0]);
    for (int k = 1; k < 8; ++k) {
      store_row(
          in, 8 * k + n,
          rotate(v[k], one_rotation(kFourier64Rotations, n * k), one_rotation(kFourier64Signs, n * k), mul));
    }
  }
  for (int k = 0; k < 8; ++k) {
    for (int i = 0; i < 8; ++i) v[i] = load_row(in, 8 * k + i);
    fourier_8(v, mul);
    for (int i = 0; i < 8; ++i) put(k + 8 * i, v[i]);
  }
}

// Fourier transform of 512 points in place: row k receives values 8 k to 8 k + 7. `work` has the size of
// `rows`. Returns the OR of the absolute values.
template <class Products>
[[gnu::always_inline]] inline uint32_t fourier_512(int32_t* rows, int32_t* work, Products& mul) {
  Lanes seen = {};
  fourier_64(rows, mul, [&](int row, ComplexLanes v) {
    store_row(work, row,
              rotate(v, eight_rotations(kFourier512Rotations, 8 * row),
                     eight_rotations(kFourier512Signs, 8 * row), mul));
  });
  for (int block = 0; block < 8; ++block) {
    Lanes re[8];
    Lanes im[8];
    load_transposed(work + kRow * 8 * block, kRow, re);
    load_transposed(work + kRow * 8 * block + kLanes, kRow, im);
    ComplexLanes v[8];
    for (int i = 0; i < 8; ++i) v[i] = {re[i], im[i]};
    fourier_8(v, mul);
    for (int i = 0; i < 8; ++i) {
      store_row(rows, 8 * i + block, v[i]);
      seen |= each([](Register x, Register y) { return absolute(x) | absolute(y); }, v[i].re, v[i].im);
    }
  }
  return any_bits(seen);
}

// The rows of a DCT-IV before its last rotation. False if a value was too large for the products, or is for
// those of the rotation, which multiplies sums of two.
template <class Products>
[[gnu::always_inline]] inline bool transform_long(const int32_t* in, int32_t* rows, int32_t* work) {
  Products mul;
  // Even lines are the real parts; odd lines, in reverse order, are the imaginary ones.
  const auto row_of = [in](int row) {
    return ComplexLanes{load_even(in + 16 * row), load_odd_reversed(in + 1024 - 16 - 16 * row)};
  };
  for (int row = 0; row < 32; ++row) {
    store_row(rows, row, rotate_below_eighth(row_of(row), eight_rotations(kLongRotations, 8 * row), mul));
  }
  for (int row = 32; row < 64; ++row) {
    store_row(rows, row, rotate_above_eighth(row_of(row), eight_rotations(kLongRotations, 8 * row), mul));
  }
  return fourier_512(rows, work, mul) < 1U << 29 && mul.are_valid();
}

// Calls put(row, a, b) with the results of the last rotation in `row` below 32 and in its mirror image.
template <class Products, typename Put>
[[gnu::always_inline]] inline void rotate_long(const int32_t* rows, Put put) {
  Products mul;
  for (int row = 0; row < 32; ++row) {
    const int mirrored = 63 - row;
    put(row, rotate_below_eighth(load_row(rows, row), eight_rotations(kLongRotations, 8 * row), mul),
        rotate_above_eighth(load_row(rows, mirrored), eight_rotations(kLongRotations, 8 * mirrored), mul));
  }
}

// Values of 2^29 and more are twice full scale: they are rare unless a stream is damaged.
[[gnu::cold, gnu::noinline]] void transform_large_long(const int32_t* in, int32_t* rows, int32_t* work) {
  transform_long<GeneralProducts>(in, rows, work);
}

// The results of a DCT-IV in order: value 2 k is the real part of result k, value 1023 - 2 k its negated
// imaginary part.
template <class Products>
[[gnu::always_inline]] inline void put_lines(const int32_t* rows, int32_t* out) {
  rotate_long<Products>(rows, [out](int row, ComplexLanes a, ComplexLanes b) {
    store_interleaved(out + 16 * row, a.re, -b.im);
    store_interleaved(out + 16 * (63 - row), b.re, -a.im);
  });
}

[[gnu::cold, gnu::noinline]] void put_large_lines(const int32_t* rows, int32_t* out) {
  put_lines<GeneralProducts>(rows, out);
}

void dct4_long(const int32_t* in, int32_t* out, int32_t* work) {
  int32_t* const rows = work;
  int32_t* const other_rows = work + kTransformWork / 2;
  if (transform_long<BoundedProducts>(in, rows, other_rows)) {
    put_lines<BoundedProducts>(rows, out);
    return;
  }
  transform_large_long(in, rows, other_rows);
  put_large_lines(rows, out);
}

// Transposes eight windows of 128 lines to 128 rows of eight values, times 8.
[[gnu::always_inline]] inline void gather_windows(const int32_t* in, int32_t* rows) {
  for (int line = 0; line < 128; line += kLanes) {
    Lanes block[8];
    load_transposed(in + line, 128, block);
    for (int i = 0; i < 8; ++i) store(rows + kLanes * (line + i), block[i] << 3);
  }
}

// Transposes 128 rows of eight values to eight windows of 128 lines.
[[gnu::always_inline]] inline void scatter_windows(const int32_t* rows, int32_t* out) {
  for (int line = 0; line < 128; line += kLanes) {
    Lanes block[8];
    load_transposed(rows + kLanes * line, kLanes, block);
    for (int w = 0; w < 8; ++w) store(out + 128 * w + line, block[w]);
  }
}

// False if a value was too large for the products.
template <class Products>
[[gnu::always_inline]] inline bool transform_short(const int32_t* in, int32_t* lines, int32_t* rows) {
  Products mul;
  gather_windows(in, lines);
  const auto rotated = [&mul](int k, ComplexLanes v) {
    const RotationParts w = one_rotation(kShortRotations, k);
    return k < 32 ? rotate_below_eighth(v, w, mul) : rotate_above_eighth(v, w, mul);
  };
  for (int n = 0; n < 64; ++n) {
    store_row(rows, n, rotated(n, {load(lines + kLanes * 2 * n), load(lines + kLanes * (127 - 2 * n))}));
  }
  fourier_64(rows, mul, [&](int k, ComplexLanes v) {
    const ComplexLanes result = rotated(k, v);
    store(lines + kLanes * 2 * k, result.re);
    store(lines + kLanes * (127 - 2 * k), -result.im);
  });
  return mul.are_valid();
}

[[gnu::cold, gnu::noinline]] void transform_large_short(const int32_t* in, int32_t* lines, int32_t* rows) {
  transform_short<GeneralProducts>(in, lines, rows);
}

void dct4_short(const int32_t* in, int32_t* out, int32_t* work) {
  int32_t* const rows = work;
  int32_t* const lines = work + kTransformWork / 2;
  if (!transform_short<BoundedProducts>(in, lines, rows)) transform_large_short(in, lines, rows);
  scatter_windows(lines, out);
}

}  // namespace
}  // namespace zdr::aacdec
