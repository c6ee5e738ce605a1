// mul_q31 by prepared factors for values below 2^30, with less than half of the instructions of the general
// product. For kernel files only.
//
// Constants are prepared at compile time (tables/prepared_factor.h), the taps of TNS before their filter
// runs. The bound leaves room to double the other factor and keeps all partial products in signed 16-bit
// words.
#pragma once

#include "aacdec/fixed/fixed_lanes.h"
#include "aacdec/tables/prepared_factor.h"

namespace zdr::aacdec {
namespace {

// prepared_factor() of the absolute values.
[[gnu::always_inline]] inline Lanes prepared_lanes(Lanes factors) {
  const Lanes bits = each([](Register x) { return absolute(x); }, factors);
  return bits << 16 | bits >> 16;
}

#ifdef __SSE2__

// A product is that of the upper halves plus the two mixed ones, which are words of a lane.
struct ProductParts {
  Register upper, mixed;
};

[[gnu::always_inline]] inline ProductParts bounded_product_parts(Register a, Register prepared) {
  // Halves of 15 bits: the upper one, and the lower one doubled. The second mixed product takes a half of 16
  // bits, so without the bit that has moved there.
  const Register doubled = a + a;
  const Register even = doubled & ~0x10000U;
  return {pair_product(doubled, prepared << 16), upper_word_products(even, prepared)};
}

#endif

// The product of mul_q31 (fixed_point.h) for an absolute value below 2^30 and a prepared factor.
[[gnu::always_inline]] inline Register bounded_product_q31(Register a, Register prepared) {
#ifdef __SSE2__
  const ProductParts parts = bounded_product_parts(a, prepared);
  return parts.upper + pair_product(parts.mixed, Register{} + 0x00010001U);
#else
  const Register upper = prepared << 16;
  const Register a_high = a >> 16;
  const Register b_high = upper >> 16;
  return (a_high * b_high << 1) + ((a & 0xFFFF) * b_high >> 15) + (a_high * (prepared >> 16) >> 15);
#endif
}

// v where `sign` is positive, -v where it is negative. v must be 0 where `sign` is 0.
[[gnu::always_inline]] inline Register with_register_sign(Register v, Register sign) {
#if defined(__AVX2__)
  return reinterpret_cast<Register>(
      _mm256_sign_epi32(reinterpret_cast<__m256i>(v), reinterpret_cast<__m256i>(sign)));
#elif defined(__SSE4_1__)
  return reinterpret_cast<Register>(
      _mm_sign_epi32(reinterpret_cast<__m128i>(v), reinterpret_cast<__m128i>(sign)));
#else
  const auto mask = reinterpret_cast<Register>(reinterpret_cast<SignedRegister>(sign) >> 31);
  return (v ^ mask) - mask;
#endif
}

[[gnu::always_inline]] inline Lanes with_signs(Lanes v, Lanes signs) {
  return each([](Register x, Register y) { return with_register_sign(x, y); }, v, signs);
}

// Multiplies values below 2^30 by prepared factors, and records whether there were others, whose products are
// wrong.
class BoundedProducts {
 public:
  [[gnu::always_inline]] Lanes operator()(Lanes a, Lanes prepared) {
    const Lanes bits = each([](Register x) { return absolute(x); }, a);
    seen_ |= bits;
    const Lanes product =
        each([](Register x, Register y) { return bounded_product_q31(x, y); }, bits, prepared);
    return with_signs(product, a);
  }

  // False if a product is wrong.
  [[gnu::always_inline]] bool are_valid() const {
    uint32_t any = 0;
    for (int i = 0; i < kLanes; ++i) any |= lane(seen_, i);
    return any < 1U << 30;
  }

 private:
  Lanes seen_ = {};
};

// The same for all values.
struct GeneralProducts {
  [[gnu::always_inline]] Lanes operator()(Lanes a, Lanes prepared) {
    return mul_q31(a, prepared << 16 | prepared >> 16);
  }
  [[gnu::always_inline]] bool are_valid() const { return true; }
};

}  // namespace
}  // namespace zdr::aacdec
