// 64-bit products of eight values at a time, so that a sum of products is rounded only once. For kernel files
// only.
#pragma once

#ifdef __AVX2__
#include <immintrin.h>
#endif

#include "aacdec/fixed/fixed_lanes.h"
#include "aacdec/tables/complex_q30.h"

namespace zdr::aacdec {
namespace {

using WideHalf = uint64_t __attribute__((vector_size(8 * kLanes / 2)));

// 64-bit values of the even and the odd lanes. Sums wrap.
struct WideLanes {
  WideHalf even, odd;
};

[[gnu::always_inline]] inline WideLanes operator+(WideLanes a, WideLanes b) {
  return {a.even + b.even, a.odd + b.odd};
}

[[gnu::always_inline]] inline WideLanes operator-(WideLanes a, WideLanes b) {
  return {a.even - b.even, a.odd - b.odd};
}

// The full signed product.
[[gnu::always_inline]] inline WideLanes wide_product(Lanes a, Lanes b) {
#ifdef __AVX2__
  const auto x = reinterpret_cast<__m256i>(a);
  const auto y = reinterpret_cast<__m256i>(b);
  return {reinterpret_cast<WideHalf>(_mm256_mul_epi32(x, y)),
          reinterpret_cast<WideHalf>(_mm256_mul_epi32(_mm256_srli_epi64(x, 32), _mm256_srli_epi64(y, 32)))};
#else
  WideLanes product;
  const auto x = reinterpret_cast<SignedLanes>(a);
  const auto y = reinterpret_cast<SignedLanes>(b);
  for (int i = 0; i < kLanes / 2; ++i) {
    product.even[i] = static_cast<uint64_t>(int64_t{x[2 * i]} * y[2 * i]);
    product.odd[i] = static_cast<uint64_t>(int64_t{x[2 * i + 1]} * y[2 * i + 1]);
  }
  return product;
#endif
}

// a * 2^shift, shift below 32.
[[gnu::always_inline]] inline WideLanes widened(Lanes a, int shift) {
  return wide_product(a, broadcast(int32_t{1} << shift));
}

// The low words of sum / 2^shift, rounded half up; shift is 1 to 32.
[[gnu::always_inline]] inline Lanes narrowed(WideLanes sum, int shift) {
  const uint64_t half = uint64_t{1} << (shift - 1);
  const WideHalf even = (sum.even + half) >> shift;
  const WideHalf odd = (sum.odd + half) << (32 - shift);
#ifdef __AVX2__
  return reinterpret_cast<Lanes>(
      _mm256_blend_epi32(reinterpret_cast<__m256i>(even), reinterpret_cast<__m256i>(odd), 0xAA));
#else
  const WideHalf low = WideHalf{} + 0xFFFFFFFFU;
  return reinterpret_cast<Lanes>((even & low) | (odd & ~low));
#endif
}

// v / 2^shift, rounded half up.
[[gnu::always_inline]] inline Lanes shift_right_rounded(Lanes v, int shift) {
  return shift == 0 ? v : shift_right(shift_right(v, shift - 1) + 1, 1);
}

[[gnu::always_inline]] inline Lanes clamped(Lanes v, int32_t low, int32_t high) {
  const auto s = reinterpret_cast<SignedLanes>(v);
  const SignedLanes lows = SignedLanes{} + low;
  const SignedLanes highs = SignedLanes{} + high;
  const SignedLanes at_least = s > lows ? s : lows;
  return reinterpret_cast<Lanes>(at_least < highs ? at_least : highs);
}

// a * w / 2^shift; a shift of 30 preserves the scale of a.
[[gnu::always_inline]] inline ComplexLanes product(ComplexLanes a, ComplexLanes w_q30, int shift = 30) {
  return {narrowed(wide_product(a.re, w_q30.re) - wide_product(a.im, w_q30.im), shift),
          narrowed(wide_product(a.re, w_q30.im) + wide_product(a.im, w_q30.re), shift)};
}

[[gnu::always_inline]] inline ComplexLanes product(ComplexLanes a, ComplexQ30 w, int shift = 30) {
  return product(a, ComplexLanes{broadcast(w.re), broadcast(w.im)}, shift);
}

// The OR of the lanes.
inline uint32_t any_bits(Lanes v) {
  uint32_t any = 0;
  for (int i = 0; i < kLanes; ++i) any |= v[i];
  return any;
}

[[gnu::always_inline]] inline ComplexLanes conjugate(ComplexLanes a) {
  return {a.re, Lanes{} - a.im};
}

}  // namespace
}  // namespace zdr::aacdec
