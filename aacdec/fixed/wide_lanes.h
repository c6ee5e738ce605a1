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

// a * w / 2^shift; a shift of 30 preserves the scale of a.
[[gnu::always_inline]] inline ComplexLanes product(ComplexLanes a, ComplexLanes w_q30, int shift = 30) {
  return {narrowed(wide_product(a.re, w_q30.re) - wide_product(a.im, w_q30.im), shift),
          narrowed(wide_product(a.re, w_q30.im) + wide_product(a.im, w_q30.re), shift)};
}

// The same by a constant, with three multiplications. The sum of the parts of `a` must not overflow.
[[gnu::always_inline]] inline ComplexLanes product(ComplexLanes a, TwiddleQ30 w, int shift = 30) {
  // Both parts share the half that rounds them.
  const WideLanes common = with_half(wide_product(a.re + a.im, factor(w.re)), shift);
  return {truncated(common - wide_product(a.im, factor(w.re_plus_im)), shift),
          truncated(common + wide_product(a.re, factor(w.im_minus_re)), shift)};
}

// The OR of the lanes.
inline uint32_t any_bits(Lanes v) {
  uint32_t any = 0;
  for (int i = 0; i < kLanes; ++i) any |= lane(v, i);
  return any;
}

[[gnu::always_inline]] inline ComplexLanes conjugate(ComplexLanes a) {
  return {a.re, -a.im};
}

}  // namespace
}  // namespace zdr::aacdec
