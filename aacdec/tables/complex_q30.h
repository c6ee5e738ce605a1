// Complex constants in Q30, a format in which 1 is exact, computed at compile time.
#pragma once

#include <cstdint>

#include "aacdec/tables/constant_math.h"

namespace zdr::aacdec {

struct ComplexQ30 {
  int32_t re, im;
};

// A complex factor in the form for products with three multiplications.
struct TwiddleQ30 {
  int32_t re, re_plus_im, im_minus_re;
};

// For |w| <= 1 the sum and the difference of the parts are below 2^30 * 1.42, so they fit 32 bits.
constexpr TwiddleQ30 twiddle(ComplexQ30 w) {
  return {w.re, w.re + w.im, w.im - w.re};
}

// length * exp(i 2 pi numerator / denominator).
constexpr ComplexQ30 polar_q30(int64_t numerator, int64_t denominator, double length = 1) {
  const constant_math::Angle angle = constant_math::turns(numerator, denominator);
  return {constant_math::fixed(length * angle.cos, constant_math::kQ30),
          constant_math::fixed(length * angle.sin, constant_math::kQ30)};
}

}  // namespace zdr::aacdec
