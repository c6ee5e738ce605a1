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
#include "aacdec/fixed/fixed_lanes.h"
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

template <int kCount>
[[gnu::always_inline]] inline Rotation one_rotation(const RotationTable<kCount>& table, int i) {
  return {broadcast(table.cos[i]), broadcast(table.minus_half_sum[i]), broadcast(table.half_difference[i])};
}

template <int kCount>
[[gnu::always_inline]] inline Rotation eight_rotations(const RotationTable<kCount>& table, int i) {
  return {load(table.cos + i), load(table.minus_half_sum + i), load(table.half_difference + i)};
}

// Times 1 - i and times -1 - i, over the square root of 2.
[[gnu::always_inline]] inline ComplexLanes rotate_eighth(ComplexLanes a) {
  const Lanes root = broadcast(kSquareRootHalf);
  return {mul_q31(a.re + a.im, root), mul_q31(a.im - a.re, root)};
}

[[gnu::always_inline]] inline ComplexLanes rotate_three_eighths(ComplexLanes a) {
  const Lanes root = broadcast(kSquareRootHalf);
  return {mul_q31(a.im - a.re, root), -mul_q31(a.re + a.im, root)};
}

[[gnu::always_inline]] inline void fourier_8(ComplexLanes (&v)[8]) {
  const ComplexLanes difference[4] = {v[0] - v[4], v[1] - v[5], v[2] - v[6], v[3] - v[7]};
  fourier_4(v[0] + v[4], v[1] + v[5], v[2] + v[6], v[3] + v[7], v, 2);
  fourier_4(difference[0], rotate_eighth(difference[1]), times_minus_i(difference[2]),
            rotate_three_eighths(difference[3]), v + 1, 2);
}

// Fourier transforms of 64 points, one in each lane of the rows `in`, which are overwritten. Calls put(row,
// result).
template <typename Put>
[[gnu::always_inline]] inline void fourier_64(int32_t* in, Put put) {
  ComplexLanes v[8];
  for (int n = 0; n < 8; ++n) {
    for (int i = 0; i < 8; ++i) v[i] = load_row(in, 8 * i + n);
    fourier_8(v);
    store_row(in, n, v[0]);
    for (int k = 1; k < 8; ++k) {
      store_row(in, 8 * k + n, n == 0 ? v[k] : rotate(v[k], one_rotation(kFourier64Rotations, n * k)));
    }
  }
  for (int k = 0; k < 8; ++k) {
    for (int i = 0; i < 8; ++i) v[i] = load_row(in, 8 * k + i);
    fourier_8(v);
    for (int i = 0; i < 8; ++i) put(k + 8 * i, v[i]);
  }
}

// Fourier transform of 512 points in place: row k receives values 8 k to 8 k + 7. `work` has the size of
// `rows`.
[[gnu::always_inline]] inline void fourier_512(int32_t* rows, int32_t* work) {
  fourier_64(rows, [=](int row, ComplexLanes v) {
    store_row(work, row, rotate(v, eight_rotations(kFourier512Rotations, 8 * row)));
  });
  for (int block = 0; block < 8; ++block) {
    Lanes re[8];
    Lanes im[8];
    for (int i = 0; i < 8; ++i) {
      re[i] = load(work + kRow * (8 * block + i));
      im[i] = load(work + kRow * (8 * block + i) + kLanes);
    }
    transpose(re);
    transpose(im);
    ComplexLanes v[8];
    for (int i = 0; i < 8; ++i) v[i] = {re[i], im[i]};
    fourier_8(v);
    for (int i = 0; i < 8; ++i) store_row(rows, 8 * i + block, v[i]);
  }
}

[[gnu::always_inline]] inline Lanes even_lanes(Lanes a, Lanes b) {
  return shuffle<0, 2, 4, 6, 8, 10, 12, 14>(a, b);
}

[[gnu::always_inline]] inline Lanes odd_lanes_reversed(Lanes a, Lanes b) {
  return shuffle<15, 13, 11, 9, 7, 5, 3, 1>(a, b);
}

// Stores a[0], b[7], a[1], b[6] and so on.
[[gnu::always_inline]] inline void store_interleaved(int32_t* to, Lanes a, Lanes b) {
  const Lanes back = reverse(b);
  store(to, shuffle<0, 8, 1, 9, 2, 10, 3, 11>(a, back));
  store(to + kLanes, shuffle<4, 12, 5, 13, 6, 14, 7, 15>(a, back));
}

void dct4_long(const int32_t* in, int32_t* out, int32_t* work) {
  int32_t* const rows = work;
  int32_t* const other_rows = work + kTransformWork / 2;
  // Even lines are the real parts; odd lines, in reverse order, are the imaginary ones.
  for (int row = 0; row < 64; ++row) {
    const int32_t* const low = in + 16 * row;
    const int32_t* const high = in + 1024 - 16 - 16 * row;
    const ComplexLanes v = {even_lanes(load(low), load(low + kLanes)),
                            odd_lanes_reversed(load(high), load(high + kLanes))};
    store_row(rows, row, rotate(v, eight_rotations(kLongRotations, 8 * row)));
  }
  fourier_512(rows, other_rows);
  for (int low = 0; low < 32; ++low) {
    const int high = 63 - low;
    const ComplexLanes a = rotate(load_row(rows, low), eight_rotations(kLongRotations, 8 * low));
    const ComplexLanes b = rotate(load_row(rows, high), eight_rotations(kLongRotations, 8 * high));
    store_interleaved(out + 16 * low, a.re, -b.im);
    store_interleaved(out + 16 * high, b.re, -a.im);
  }
}

// Transposes eight windows of 128 lines to 128 rows of eight values, times 8.
[[gnu::always_inline]] inline void gather_windows(const int32_t* in, int32_t* rows) {
  for (int line = 0; line < 128; line += kLanes) {
    Lanes block[8];
    for (int w = 0; w < 8; ++w) block[w] = load(in + 128 * w + line) << 3;
    transpose(block);
    for (int i = 0; i < 8; ++i) store(rows + kLanes * (line + i), block[i]);
  }
}

// Transposes 128 rows of eight values to eight windows of 128 lines.
[[gnu::always_inline]] inline void scatter_windows(const int32_t* rows, int32_t* out) {
  for (int line = 0; line < 128; line += kLanes) {
    Lanes block[8];
    for (int i = 0; i < 8; ++i) block[i] = load(rows + kLanes * (line + i));
    transpose(block);
    for (int w = 0; w < 8; ++w) store(out + 128 * w + line, block[w]);
  }
}

void dct4_short(const int32_t* in, int32_t* out, int32_t* work) {
  int32_t* const rows = work;
  int32_t* const lines = work + kTransformWork / 2;
  gather_windows(in, lines);
  for (int n = 0; n < 64; ++n) {
    const ComplexLanes v = {load(lines + kLanes * 2 * n), load(lines + kLanes * (127 - 2 * n))};
    store_row(rows, n, rotate(v, one_rotation(kShortRotations, n)));
  }
  fourier_64(rows, [=](int k, ComplexLanes v) {
    const ComplexLanes rotated = rotate(v, one_rotation(kShortRotations, k));
    store(lines + kLanes * 2 * k, rotated.re);
    store(lines + kLanes * (127 - 2 * k), -rotated.im);
  });
  scatter_windows(lines, out);
}

}  // namespace
}  // namespace zdr::aacdec
