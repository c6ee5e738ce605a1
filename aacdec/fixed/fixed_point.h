// The arithmetic of the decoder's signal processing: 32-bit fixed point. Floating point at run time only
// estimates quotients and roots, which integers correct (magnitude_lanes.h, sbr/ps_synthesis.cpp), and sums
// of products, which integers replace where an estimate does not decide (sbr/qmf_window_lanes.h,
// sbr/sbr_prediction.cpp).
//
// The core multiplies with mul_q31 only. Its truncation is part of the decoder's output, so the scalar and
// vector versions produce the same bits. Values that a damaged stream drives out of range saturate in the
// spectral tools and wrap, as unsigned numbers, inside the transforms; no signed type overflows.
//
// Functions that kernel files use are always inlined, for the reason given in fixed_lanes.h.
#pragma once

#include <cstdint>

namespace zdr::aacdec {

inline constexpr int32_t kInt32Max = 0x7FFFFFFF;
inline constexpr int32_t kInt32Min = -0x7FFFFFFF - 1;

// |v|; 2^31 for kInt32Min.
[[gnu::always_inline]] constexpr uint32_t magnitude(int32_t v) {
  const auto bits = static_cast<uint32_t>(v);
  return v < 0 ? 0U - bits : bits;
}

// v with the sign of `sign`. A magnitude of 2^31 yields kInt32Min with either sign.
[[gnu::always_inline]] constexpr int32_t with_sign_of(uint32_t v, int32_t sign) {
  return static_cast<int32_t>(sign < 0 ? 0U - v : v);
}

// a * b / 2^31, computed from the 16-bit halves of the magnitudes: the product of the low halves is omitted,
// each mixed product is truncated separately, and the sign is applied last. The result is up to four units
// nearer to zero than the product. kInt32Min squared is kInt32Min; 0x7FFFFFFF squared is 0x7FFFFFFC.
[[gnu::always_inline]] constexpr int32_t mul_q31(int32_t a, int32_t b) {
  const uint32_t a_bits = magnitude(a);
  const uint32_t b_bits = magnitude(b);
  const uint32_t b_high = b_bits >> 16;
  // The product of the high halves and the first mixed one are a single product, which truncates equally.
  const auto product = static_cast<uint32_t>(uint64_t{a_bits} * b_high >> 15);
  return with_sign_of(product + ((a_bits >> 16) * (b_bits & 0xFFFF) >> 15), a ^ b);
}

constexpr int32_t saturate(int64_t v) {
  if (v > kInt32Max) return kInt32Max;
  if (v < kInt32Min) return kInt32Min;
  return static_cast<int32_t>(v);
}

constexpr int16_t saturate_to_16(int32_t v) {
  if (v > 32767) return 32767;
  if (v < -32768) return -32768;
  return static_cast<int16_t>(v);
}

constexpr int32_t add_saturating(int32_t a, int32_t b) {
  return saturate(int64_t{a} + b);
}

constexpr int32_t sub_saturating(int32_t a, int32_t b) {
  return saturate(int64_t{a} - b);
}

// v * 2^count, count 0 to 31.
constexpr int32_t shift_left_saturating(int32_t v, int count) {
  return saturate(int64_t{v} * (int64_t{1} << count));
}

constexpr int32_t sub_wrapping(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

// v * 2^count, count 0 to 31; bits above the word are lost.
constexpr int32_t shift_left_wrapping(int32_t v, int count) {
  return static_cast<int32_t>(static_cast<uint32_t>(v) << count);
}

// 2^(-k/4) in Q31.
inline constexpr int32_t kQuarterSteps[4] = {kInt32Max, 1805811301, 1518500250, 1276901417};

// v * 2^(exponent/4), truncated towards zero; saturates upwards. An exponent that needs a shift of 32 or more
// yields 0 in either direction, which silences bands with an invalid scale.
constexpr int32_t scale_by_quarter_steps(int32_t v, int exponent) {
  const int shift = exponent > 0 ? (exponent + 3) / 4 : -exponent / 4;
  if (shift >= 32) return 0;
  const int32_t shifted =
      exponent > 0 ? shift_left_saturating(v, shift) : with_sign_of(magnitude(v) >> shift, v);
  // Whole powers of two skip the multiplication, which would lose a unit.
  const int steps = -exponent & 3;
  return steps == 0 ? shifted : mul_q31(shifted, kQuarterSteps[steps]);
}

}  // namespace zdr::aacdec
