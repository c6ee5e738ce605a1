// The operations of magnitude.h on one register of numbers at a time, with the same results. For kernel files
// only.
//
// Quotients and roots are estimated in `double` and corrected in integers. The estimates are exact to less
// than 1 in every rounding mode, so the results are the same everywhere.
#pragma once

#include "aacdec/fixed/registers.h"

namespace zdr::aacdec {
namespace {

using DoubleRegister = double __attribute__((vector_size(4 * kRegisterLanes)));

// Any integer below 2^52.
[[gnu::always_inline]] inline DoubleRegister floating(WideRegister v) {
  const DoubleRegister base = DoubleRegister{} + 0x1p52;
  return reinterpret_cast<DoubleRegister>(v | reinterpret_cast<WideRegister>(base)) - base;
}

// v rounded to an integer, 0 <= v < 2^51.
[[gnu::always_inline]] inline WideRegister rounded(DoubleRegister v) {
  const DoubleRegister base = DoubleRegister{} + 0x1p52;
  return reinterpret_cast<WideRegister>(v + base) ^ reinterpret_cast<WideRegister>(base);
}

// v where the mask is all ones, 0 where it is 0.
[[gnu::always_inline]] inline DoubleRegister masked(DoubleRegister v, WideRegister mask) {
  return reinterpret_cast<DoubleRegister>(reinterpret_cast<WideRegister>(v) & mask);
}

[[gnu::always_inline]] inline DoubleRegister square_root(DoubleRegister v) {
#if defined(__AVX2__)
  return reinterpret_cast<DoubleRegister>(_mm256_sqrt_pd(reinterpret_cast<__m256d>(v)));
#elif defined(__SSE2__)
  return reinterpret_cast<DoubleRegister>(_mm_sqrt_pd(reinterpret_cast<__m128d>(v)));
#elif defined(__aarch64__)
  return reinterpret_cast<DoubleRegister>(vsqrtq_f64(reinterpret_cast<float64x2_t>(v)));
#else
  for (int i = 0; i < kRegisterLanes / 2; ++i) v[i] = __builtin_sqrt(v[i]);
  return v;
#endif
}

// Exponents of zeros have no meaning.
struct MagnitudeLanes {
  Register mantissa;
  SignedRegister exponent;
};

[[gnu::always_inline]] inline MagnitudeLanes operator*(MagnitudeLanes a, MagnitudeLanes b) {
  const WideRegisters product = unsigned_product(a.mantissa, b.mantissa);
  const Register upper = upper_words(product);
  const auto is_normal = reinterpret_cast<SignedRegister>(upper) >> 31;
  return {select(reinterpret_cast<Register>(is_normal), upper, upper_words(product + product)),
          a.exponent + b.exponent + 31 - is_normal};
}

// v >> count; 0 for 32 and more. Lanes whose count is negative are undefined.
[[gnu::always_inline]] inline Register shift_right_by(Register v, SignedRegister count) {
#ifdef __AVX2__
  return reinterpret_cast<Register>(
      _mm256_srlv_epi32(reinterpret_cast<__m256i>(v), reinterpret_cast<__m256i>(count)));
#else
  return v >> reinterpret_cast<Register>(count & 31) & reinterpret_cast<Register>(count < 32);
#endif
}

// 1 + v
[[gnu::always_inline]] inline MagnitudeLanes one_plus(MagnitudeLanes v) {
  const Register one = Register{} + (1U << 31);
  const SignedRegister exponent_of_one = SignedRegister{} - 31;
  // A zero is smaller than everything else.
  const SignedRegister exponent = v.mantissa == 0 ? SignedRegister{} - (1 << 29) : v.exponent;
  const SignedRegister is_large = exponent > exponent_of_one;
  const SignedRegister largest = is_large ? exponent : exponent_of_one;
  const SignedRegister least = is_large ? exponent_of_one : exponent;
  const Register big = select(reinterpret_cast<Register>(is_large), v.mantissa, one);
  const Register small = select(reinterpret_cast<Register>(is_large), one, v.mantissa);
  const Register sum = big + shift_right_by(small, largest - least);
  // A carry leaves the top bit clear. With different exponents the shifted number is below 2^31; with equal
  // ones `big` is the mantissa of 1, which is 2^31.
  const auto carry = reinterpret_cast<SignedRegister>(~sum) >> 31;
  return {select(reinterpret_cast<Register>(carry), sum >> 1 | 1U << 31, sum), largest - carry};
}

[[gnu::always_inline]] inline WideRegister corrected_quotient(WideRegister a, WideRegister b,
                                                              WideRegister& is_below) {
  const DoubleRegister x = floating(a);
  const DoubleRegister y = floating(b);
  is_below = reinterpret_cast<WideRegister>(x < y);
  const WideRegister estimate = rounded((x + masked(x, is_below)) * 0x1p31 / y);
  const WideRegister numerator = a << 31;
  const WideRegister rest = numerator + (numerator & is_below) - unsigned_product(estimate, b);
  return estimate - (rest >> 63);
}

// Lanes where b is zero are undefined.
[[gnu::always_inline]] inline MagnitudeLanes operator/(MagnitudeLanes a, MagnitudeLanes b) {
  const WideRegisters dividend = zero_extended(a.mantissa);
  // Has no effect on divisors but zero.
  const WideRegisters divisor = zero_extended(b.mantissa | 1U << 31);
  WideRegisters is_below;
  WideRegisters quotient;
  quotient.first = corrected_quotient(dividend.first, divisor.first, is_below.first);
  quotient.second = corrected_quotient(dividend.second, divisor.second, is_below.second);
  return {low_words(quotient),
          a.exponent - b.exponent - 31 + reinterpret_cast<SignedRegister>(low_words(is_below))};
}

// The root of v * 2^31 where `odd` is 1, of v * 2^32 where it is 0.
[[gnu::always_inline]] inline WideRegister corrected_root(WideRegister v, WideRegister odd) {
  const WideRegister is_even = odd - 1;
  const DoubleRegister x = floating(v);
  const DoubleRegister root = square_root((x + masked(x, is_even)) * 0x1p31);
  const DoubleRegister largest = DoubleRegister{} + 0xFFFFFFFF;
  const WideRegister estimate = rounded(root < largest ? root : largest);
  const WideRegister square = v << 31;
  const WideRegister rest = square + (square & is_even) - unsigned_product(estimate, estimate);
  return estimate - (rest >> 63);
}

[[gnu::always_inline]] inline MagnitudeLanes square_root(MagnitudeLanes v) {
  const SignedRegister odd = v.exponent & 1;
  const WideRegisters mantissa = zero_extended(v.mantissa);
  const WideRegisters odd_exponent = zero_extended(reinterpret_cast<Register>(odd));
  const WideRegisters root = {corrected_root(mantissa.first, odd_exponent.first),
                              corrected_root(mantissa.second, odd_exponent.second)};
  return {low_words(root), (v.exponent + odd - 32) >> 1};
}

// All ones where a < b.
[[gnu::always_inline]] inline Register is_less(MagnitudeLanes a, MagnitudeLanes b) {
  const SignedRegister nonzero = b.mantissa != 0;
  const SignedRegister by_exponent = (a.mantissa == 0) | (a.exponent < b.exponent);
  const SignedRegister by_mantissa = (a.exponent == b.exponent) & (a.mantissa < b.mantissa);
  return reinterpret_cast<Register>(nonzero & (by_exponent | by_mantissa));
}

[[gnu::always_inline]] inline MagnitudeLanes select(Register mask, MagnitudeLanes yes, MagnitudeLanes no) {
  return {select(mask, yes.mantissa, no.mantissa),
          reinterpret_cast<SignedRegister>(select(mask, reinterpret_cast<Register>(yes.exponent),
                                                  reinterpret_cast<Register>(no.exponent)))};
}

}  // namespace
}  // namespace zdr::aacdec
