// 64-bit products of eight values at a time, so that a sum of products is rounded only once. For kernel files
// only.
#pragma once

#include "aacdec/fixed/fixed_lanes.h"
#include "aacdec/tables/complex_q30.h"

namespace zdr::aacdec {
namespace {

// a * 2^shift, shift below 32.
[[gnu::always_inline]] inline WideLanes widened(Lanes a, int shift) {
  return wide_product(a, factor(int32_t{1} << shift));
}

// v / 2^shift, rounded half up.
[[gnu::always_inline]] inline Lanes shift_right_rounded(Lanes v, int shift) {
  return shift == 0 ? v : shift_right(shift_right(v, shift - 1) + 1, 1);
}

[[gnu::always_inline]] inline Lanes clamped(Lanes v, int32_t low, int32_t high) {
  return each(
      [low, high](Register x) {
        const auto value = reinterpret_cast<SignedRegister>(x);
        const SignedRegister lows = SignedRegister{} + low;
        const SignedRegister highs = SignedRegister{} + high;
        const SignedRegister at_least = value > lows ? value : lows;
        return reinterpret_cast<Register>(at_least < highs ? at_least : highs);
      },
      v);
}

// A complex factor in the form for products with three multiplications.
template <class Part>
struct ComplexFactor {
  Part re, re_plus_im, im_minus_re;
};

// a * w / 2^shift; a shift of 30 preserves the scale of a. The sum of the parts of `a` must not overflow.
template <class Part>
[[gnu::always_inline]] inline ComplexLanes product(ComplexLanes a, const ComplexFactor<Part>& w_q30,
                                                   int shift = 30) {
  // Both parts share the half that rounds them.
  const WideLanes common = with_half(wide_product(a.re + a.im, w_q30.re), shift);
  return {truncated(common - wide_product(a.im, w_q30.re_plus_im), shift),
          truncated(common + wide_product(a.re, w_q30.im_minus_re), shift)};
}

[[gnu::always_inline]] inline ComplexLanes product(ComplexLanes a, TwiddleQ30 w, int shift = 30) {
  return product(a, ComplexFactor<Factor>{factor(w.re), factor(w.re_plus_im), factor(w.im_minus_re)}, shift);
}

[[gnu::always_inline]] inline ComplexLanes conjugate(ComplexLanes a) {
  return {a.re, -a.im};
}

}  // namespace
}  // namespace zdr::aacdec
