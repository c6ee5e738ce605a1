// The operations of fixed_point.h on eight values at a time: one source produces the same bits with every
// instruction set.
//
// For kernel files only. Kernel files are compiled once per instruction set. Everything in them except the
// table of kernels is in an unnamed namespace, and from other headers they use only data and always-inlined
// functions. Otherwise the linker might keep a copy of a shared function that not every processor can run.
#pragma once

#ifdef __AVX2__
#include "aacdec/fixed/lanes_in_one_register.h"
#else
#include "aacdec/fixed/lanes_in_two_registers.h"
#endif

namespace zdr::aacdec {
namespace {

static_assert(kLanes == 8 && sizeof(Lanes) == 4 * kLanes);

[[gnu::always_inline]] inline Lanes broadcast(int32_t v) {
  return each([v](Register zero) { return zero + static_cast<uint32_t>(v); }, Lanes{});
}

[[gnu::always_inline]] inline Lanes shift_right(Lanes v, int count) {
  return each(
      [count](Register x) {
        return reinterpret_cast<Register>(reinterpret_cast<SignedRegister>(x) >> count);
      },
      v);
}

// All ones in negative lanes, else 0.
[[gnu::always_inline]] inline Lanes sign_mask(Lanes v) {
  return shift_right(v, 31);
}

// b is not kInt32Min.
[[gnu::always_inline]] inline Lanes mul_q31(Lanes a, Lanes b) {
  return each(
      [](Register x, Register y) {
        const Register x_bits = absolute(x);
        const Register y_bits = absolute(y);
        // A magnitude of 2^31 is too large for product_q31().
        const auto is_largest = reinterpret_cast<Register>(x == 0x80000000U);
        return with_sign_of_product(select(is_largest, y_bits, product_q31(x_bits, y_bits)), x, y);
      },
      a, b);
}

// mul_q31 where neither a nor b is kInt32Min.
[[gnu::always_inline]] inline Lanes mul_q31_limited(Lanes a, Lanes b) {
  return each([](Register x,
                 Register y) { return with_sign_of_product(product_q31(absolute(x), absolute(y)), x, y); },
              a, b);
}

// kInt32Max, or kInt32Min in negative lanes.
[[gnu::always_inline]] inline Lanes saturated(Lanes v) {
  return sign_mask(v) ^ 0x7FFFFFFFU;
}

[[gnu::always_inline]] inline Lanes add_saturating(Lanes a, Lanes b) {
  const Lanes sum = a + b;
  return select(sign_mask((a ^ sum) & (b ^ sum)), saturated(a), sum);
}

[[gnu::always_inline]] inline Lanes sub_saturating(Lanes a, Lanes b) {
  const Lanes difference = a - b;
  return select(sign_mask((a ^ b) & (a ^ difference)), saturated(a), difference);
}

// Replaces the even ones of eight words. The odd ones of `even` are 0.
[[gnu::always_inline]] inline void put_even_words(int16_t* to, EightWords even) {
  EightWords words;
  std::memcpy(&words, to, sizeof words);
#ifdef __SSE4_1__
  words = reinterpret_cast<EightWords>(
      _mm_blend_epi16(reinterpret_cast<__m128i>(words), reinterpret_cast<__m128i>(even), 0x55));
#else
  constexpr EightWords kOdd{0, -1, 0, -1, 0, -1, 0, -1};
  words = (words & kOdd) | even;
#endif
  std::memcpy(to, &words, sizeof words);
}

// Stores eight words at to[i * stride]; stride is 1 or 2. The last call of a buffer writes nothing beyond its
// last word.
[[gnu::always_inline]] inline void put_words(int16_t* to, EightWords v, int stride, bool last) {
  if (stride == 1) {
    std::memcpy(to, &v, sizeof v);
  } else if (!last) {
    put_even_words(to, interleaved<0>(v, EightWords{}));
    put_even_words(to + 8, interleaved<1>(v, EightWords{}));
  } else {
    for (int i = 0; i < 8; ++i) to[2 * i] = v[i];
  }
}

struct ComplexLanes {
  Lanes re, im;
};

[[gnu::always_inline]] inline ComplexLanes operator+(ComplexLanes a, ComplexLanes b) {
  return {a.re + b.re, a.im + b.im};
}

[[gnu::always_inline]] inline ComplexLanes operator-(ComplexLanes a, ComplexLanes b) {
  return {a.re - b.re, a.im - b.im};
}

[[gnu::always_inline]] inline ComplexLanes times_minus_i(ComplexLanes a) {
  return {a.im, -a.re};
}

// Fourier transform of 4 points. The results are `step` apart in `out`, which may overlap the arguments.
[[gnu::always_inline]] inline void fourier_4(ComplexLanes a, ComplexLanes b, ComplexLanes c, ComplexLanes d,
                                             ComplexLanes* out, int step) {
  const ComplexLanes even_sum = a + c;
  const ComplexLanes even_difference = a - c;
  const ComplexLanes odd_sum = b + d;
  const ComplexLanes odd_difference = times_minus_i(b - d);
  out[0] = even_sum + odd_sum;
  out[step] = even_difference + odd_difference;
  out[2 * step] = even_sum - odd_sum;
  out[3 * step] = even_difference - odd_difference;
}

// Transposes an 8 by 8 matrix of rows.
[[gnu::always_inline]] inline void transpose(Lanes (&r)[kLanes]) {
  Lanes pair[8];
  for (int i = 0; i < 8; i += 2) {
    pair[i] = shuffle<0, 8, 1, 9, 4, 12, 5, 13>(r[i], r[i + 1]);
    pair[i + 1] = shuffle<2, 10, 3, 11, 6, 14, 7, 15>(r[i], r[i + 1]);
  }
  Lanes quad[8];
  for (int i = 0; i < 8; i += 4) {
    for (int k = 0; k < 2; ++k) {
      quad[i + 2 * k] = shuffle<0, 1, 8, 9, 4, 5, 12, 13>(pair[i + k], pair[i + 2 + k]);
      quad[i + 2 * k + 1] = shuffle<2, 3, 10, 11, 6, 7, 14, 15>(pair[i + k], pair[i + 2 + k]);
    }
  }
  for (int i = 0; i < 4; ++i) {
    r[i] = lower_halves(quad[i], quad[i + 4]);
    r[i + 4] = upper_halves(quad[i], quad[i + 4]);
  }
}

}  // namespace
}  // namespace zdr::aacdec
