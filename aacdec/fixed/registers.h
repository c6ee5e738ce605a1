// One register of the instruction set that the including file is compiled for, and the operations whose
// instructions differ between the sets. For kernel files only; fixed_lanes.h builds on it.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#if defined(__SSE2__)
#include <immintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace zdr::aacdec {
namespace {

#ifdef __AVX2__
inline constexpr int kRegisterLanes = 8;
#else
inline constexpr int kRegisterLanes = 4;
#endif

// Unsigned, because sums wrap.
using Register = uint32_t __attribute__((vector_size(4 * kRegisterLanes)));
using SignedRegister = int32_t __attribute__((vector_size(4 * kRegisterLanes)));
using WideRegister = uint64_t __attribute__((vector_size(4 * kRegisterLanes)));

// 64-bit values of the lanes of one register. Where the instructions multiply every other lane (x86), `first`
// holds the even lanes and `second` the odd ones; elsewhere they hold the lower and the upper half.
struct WideRegisters {
  WideRegister first, second;
};

[[gnu::always_inline]] inline WideRegisters operator+(WideRegisters a, WideRegisters b) {
  return {a.first + b.first, a.second + b.second};
}

[[gnu::always_inline]] inline WideRegisters operator-(WideRegisters a, WideRegisters b) {
  return {a.first - b.first, a.second - b.second};
}

[[gnu::always_inline]] inline Register load_words_of_register(const uint16_t* from) {
  using Words = uint16_t __attribute__((vector_size(2 * kRegisterLanes)));
  Words words;
  std::memcpy(&words, from, sizeof words);
  return __builtin_convertvector(words, Register);
}

// Computed before any later term is: otherwise the compiler computes all terms of a long sum first and runs
// out of registers.
[[gnu::always_inline]] inline WideRegisters in_order(WideRegisters sum) {
#if defined(__SSE2__)
  asm("" : "+x"(sum.first), "+x"(sum.second));
#elif defined(__aarch64__)
  asm("" : "+w"(sum.first), "+w"(sum.second));
#endif
  return sum;
}

// In each 16 bytes: the lower (0) or the upper (1) halves of a and b, lane by lane in turn.
template <int kHalf, class Vector>
[[gnu::always_inline]] inline Vector interleaved(Vector a, Vector b) {
  constexpr auto kCount = sizeof(Vector) / sizeof(a[0]);
  constexpr auto kPart = 16 / sizeof(a[0]);
  constexpr auto number = [](size_t i) {
    return static_cast<int>(i / kPart * kPart + kHalf * kPart / 2 + i % kPart / 2 + i % 2 * kCount);
  };
  const auto pick = [&]<size_t... i>(std::index_sequence<i...>) {
    return __builtin_shufflevector(a, b, number(i)...);
  };
  return pick(std::make_index_sequence<kCount>());
}

using WordRegister = int16_t __attribute__((vector_size(4 * kRegisterLanes)));

// Four lanes of a, then four of b in each 16 bytes, saturated.
[[gnu::always_inline]] inline WordRegister saturated_words(Register a, Register b) {
#if defined(__AVX2__)
  return reinterpret_cast<WordRegister>(
      _mm256_packs_epi32(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)));
#elif defined(__SSE2__)
  return reinterpret_cast<WordRegister>(
      _mm_packs_epi32(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
#else
  using Half = int16_t __attribute__((vector_size(8)));
  const auto saturated = [](Register v) {
    const auto value = reinterpret_cast<SignedRegister>(v);
    const SignedRegister least = SignedRegister{} - 32768;
    const SignedRegister most = SignedRegister{} + 32767;
    const SignedRegister at_least = value > least ? value : least;
    return __builtin_convertvector(at_least < most ? at_least : most, Half);
  };
  return __builtin_shufflevector(saturated(a), saturated(b), 0, 1, 2, 3, 4, 5, 6, 7);
#endif
}

// The eight rows as columns of eight words, saturated: lanes 0 to 3, then (in the upper 16 bytes) lanes 4
// to 7.
[[gnu::always_inline]] inline void transpose_saturated(const Register (&row)[8], WordRegister (&column)[4]) {
  Register pair[4];
  for (int i = 0; i < 4; i += 2) {
    const WordRegister even = saturated_words(row[i], row[i + 4]);
    const WordRegister odd = saturated_words(row[i + 1], row[i + 5]);
    pair[i] = reinterpret_cast<Register>(interleaved<0>(even, odd));
    pair[i + 1] = reinterpret_cast<Register>(interleaved<1>(even, odd));
  }
  const auto quad = [&](auto half, int i) {
    return reinterpret_cast<WideRegister>(interleaved<half>(pair[i], pair[i + 2]));
  };
  constexpr std::integral_constant<int, 0> kLower;
  constexpr std::integral_constant<int, 1> kUpper;
  column[0] = reinterpret_cast<WordRegister>(interleaved<0>(quad(kLower, 0), quad(kLower, 1)));
  column[1] = reinterpret_cast<WordRegister>(interleaved<1>(quad(kLower, 0), quad(kLower, 1)));
  column[2] = reinterpret_cast<WordRegister>(interleaved<0>(quad(kUpper, 0), quad(kUpper, 1)));
  column[3] = reinterpret_cast<WordRegister>(interleaved<1>(quad(kUpper, 0), quad(kUpper, 1)));
}

using EightWords = int16_t __attribute__((vector_size(16)));

// One factor in all lanes.
struct Factor {
  Register lanes;
};

[[gnu::always_inline]] inline Factor factor(int32_t v) {
  return {Register{} + static_cast<uint32_t>(v)};
}

// One factor per lane, prepared for many products.
struct LaneFactors {
  Register lanes;
#ifdef __SSE2__
  Register odd;  // the odd lanes in the places of the even ones
#endif
};

// Takes each lane as a pair of signed 16-bit numbers: the product of the lower ones plus that of the upper
// ones.
[[gnu::always_inline]] inline Register pair_product(Register a, Register b) {
#if defined(__AVX2__)
  return reinterpret_cast<Register>(
      _mm256_madd_epi16(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)));
#elif defined(__SSE2__)
  return reinterpret_cast<Register>(
      _mm_madd_epi16(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
#else
  const auto low = [](Register v) { return reinterpret_cast<SignedRegister>(v << 16) >> 16; };
  const auto high = [](Register v) { return reinterpret_cast<SignedRegister>(v) >> 16; };
  return reinterpret_cast<Register>(low(a) * low(b) + high(a) * high(b));
#endif
}

// The lanes of `yes` where the mask is all ones, those of `no` where it is 0.
[[gnu::always_inline]] inline Register select(Register mask, Register yes, Register no) {
#if defined(__AVX2__)
  return reinterpret_cast<Register>(_mm256_blendv_epi8(
      reinterpret_cast<__m256i>(no), reinterpret_cast<__m256i>(yes), reinterpret_cast<__m256i>(mask)));
#elif defined(__SSE4_1__)
  return reinterpret_cast<Register>(_mm_blendv_epi8(
      reinterpret_cast<__m128i>(no), reinterpret_cast<__m128i>(yes), reinterpret_cast<__m128i>(mask)));
#else
  return (mask & yes) | (~mask & no);
#endif
}

// |a|; 2^31 for the smallest number.
[[gnu::always_inline]] inline Register absolute(Register a) {
#if defined(__AVX2__)
  return reinterpret_cast<Register>(_mm256_abs_epi32(reinterpret_cast<__m256i>(a)));
#elif defined(__SSE4_1__)
  return reinterpret_cast<Register>(_mm_abs_epi32(reinterpret_cast<__m128i>(a)));
#else
  const auto sign = reinterpret_cast<Register>(reinterpret_cast<SignedRegister>(a) >> 31);
  return (a ^ sign) - sign;
#endif
}

// v where a and b have the same sign, else -v. v is 0 where a or b is 0.
[[gnu::always_inline]] inline Register with_sign_of_product(Register v, Register a, Register b) {
#if defined(__AVX2__)
  return reinterpret_cast<Register>(
      _mm256_sign_epi32(_mm256_sign_epi32(reinterpret_cast<__m256i>(v), reinterpret_cast<__m256i>(a)),
                        reinterpret_cast<__m256i>(b)));
#elif defined(__SSE4_1__)
  return reinterpret_cast<Register>(
      _mm_sign_epi32(_mm_sign_epi32(reinterpret_cast<__m128i>(v), reinterpret_cast<__m128i>(a)),
                     reinterpret_cast<__m128i>(b)));
#else
  const auto sign = reinterpret_cast<Register>(reinterpret_cast<SignedRegister>(a ^ b) >> 31);
  return (v ^ sign) - sign;
#endif
}

#ifdef __SSE2__
// The upper halves of the unsigned products of the 16-bit words.
[[gnu::always_inline]] inline Register upper_word_products(Register a, Register b) {
#ifdef __AVX2__
  return reinterpret_cast<Register>(
      _mm256_mulhi_epu16(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)));
#else
  return reinterpret_cast<Register>(
      _mm_mulhi_epu16(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
#endif
}

// The lower halves.
[[gnu::always_inline]] inline Register lower_word_products(Register a, Register b) {
  using Words = uint16_t __attribute__((vector_size(4 * kRegisterLanes)));
  return reinterpret_cast<Register>(reinterpret_cast<Words>(a) * reinterpret_cast<Words>(b));
}
#endif

// The product of mul_q31 (fixed_point.h) for absolute values below 2^31.
[[gnu::always_inline]] inline Register product_q31(Register a, Register b) {
#ifdef __SSE2__
  constexpr uint32_t kUpper = 0xFFFF0000U;
  // Both mixed products at once: with one factor doubled, their upper halves are already shifted by 15.
  const Register doubled = a + (a & kUpper);
  const Register swapped = (b << 16) + (b >> 16 << 1);
  const Register mixed = upper_word_products(doubled, swapped);
  return (pair_product(a, b & kUpper) << 1) + (mixed >> 16) + (mixed & 0xFFFF);
#else
  const Register a_high = a >> 16;
  const Register b_high = b >> 16;
  return (a_high * b_high << 1) + ((a & 0xFFFF) * b_high >> 15) + (a_high * (b & 0xFFFF) >> 15);
#endif
}

#if defined(__AVX2__)

// The odd lanes in the places of the even ones. A shuffle, because multiplications and shifts share units.
[[gnu::always_inline]] inline __m256i odd_lanes(__m256i x) {
  return _mm256_shuffle_epi32(x, 0xF5);
}

[[gnu::always_inline]] inline Register odd_lanes(Register x) {
  return reinterpret_cast<Register>(odd_lanes(reinterpret_cast<__m256i>(x)));
}

// The full signed products.
[[gnu::always_inline]] inline WideRegisters wide_product(Register a, Register b) {
  const auto x = reinterpret_cast<__m256i>(a);
  const auto y = reinterpret_cast<__m256i>(b);
  return {reinterpret_cast<WideRegister>(_mm256_mul_epi32(x, y)),
          reinterpret_cast<WideRegister>(_mm256_mul_epi32(odd_lanes(x), odd_lanes(y)))};
}

[[gnu::always_inline]] inline WideRegisters wide_product(Register a, Factor b) {
  const auto x = reinterpret_cast<__m256i>(a);
  const auto y = reinterpret_cast<__m256i>(b.lanes);
  return {reinterpret_cast<WideRegister>(_mm256_mul_epi32(x, y)),
          reinterpret_cast<WideRegister>(_mm256_mul_epi32(odd_lanes(x), y))};
}

// The same; lane i of `next` holds lane i + 1 of `a`, so that no odd lane has to be moved.
[[gnu::always_inline]] inline WideRegisters wide_product(Register a, Register next, Factor b) {
  const auto y = reinterpret_cast<__m256i>(b.lanes);
  return {reinterpret_cast<WideRegister>(_mm256_mul_epi32(reinterpret_cast<__m256i>(a), y)),
          reinterpret_cast<WideRegister>(_mm256_mul_epi32(reinterpret_cast<__m256i>(next), y))};
}

[[gnu::always_inline]] inline LaneFactors lane_factors(Register v) {
  return {v, odd_lanes(v)};
}

[[gnu::always_inline]] inline WideRegisters wide_product(Register a, LaneFactors b) {
  const auto x = reinterpret_cast<__m256i>(a);
  return {reinterpret_cast<WideRegister>(_mm256_mul_epi32(x, reinterpret_cast<__m256i>(b.lanes))),
          reinterpret_cast<WideRegister>(_mm256_mul_epi32(odd_lanes(x), reinterpret_cast<__m256i>(b.odd)))};
}

// The unsigned product of the low words.
[[gnu::always_inline]] inline WideRegister unsigned_product(WideRegister a, WideRegister b) {
  return reinterpret_cast<WideRegister>(
      _mm256_mul_epu32(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)));
}

// The low words of sum / 2^shift, rounded down; shift is 0 to 32.
[[gnu::always_inline]] inline Register truncated(WideRegisters sum, int shift) {
  const WideRegister even = sum.first >> shift;
  const WideRegister odd = sum.second << (32 - shift);
  return reinterpret_cast<Register>(
      _mm256_blend_epi32(reinterpret_cast<__m256i>(even), reinterpret_cast<__m256i>(odd), 0xAA));
}

// The upper words: sum / 2^32, rounded down.
[[gnu::always_inline]] inline Register upper_words(WideRegisters sum) {
  return reinterpret_cast<Register>(_mm256_blend_epi32(odd_lanes(reinterpret_cast<__m256i>(sum.first)),
                                                       reinterpret_cast<__m256i>(sum.second), 0xAA));
}

#elif defined(__SSE2__)

[[gnu::always_inline]] inline __m128i odd_lanes(__m128i x) {
  return _mm_shuffle_epi32(x, 0xF5);
}

[[gnu::always_inline]] inline Register odd_lanes(Register x) {
  return reinterpret_cast<Register>(odd_lanes(reinterpret_cast<__m128i>(x)));
}

// Multiplies the even lanes of x and y, and those of odd_x and odd_y, to which the caller moved the odd ones.
[[gnu::always_inline]] inline WideRegisters wide_product(__m128i x, __m128i y, __m128i odd_x, __m128i odd_y) {
#ifdef __SSE4_1__
  return {reinterpret_cast<WideRegister>(_mm_mul_epi32(x, y)),
          reinterpret_cast<WideRegister>(_mm_mul_epi32(odd_x, odd_y))};
#else
  // Only unsigned products exist. Read as unsigned, a negative factor is 2^32 too large.
  const __m128i excess =
      _mm_add_epi32(_mm_and_si128(_mm_srai_epi32(x, 31), y), _mm_and_si128(_mm_srai_epi32(y, 31), x));
  const __m128i upper_words = _mm_set_epi32(-1, 0, -1, 0);
  return {reinterpret_cast<WideRegister>(_mm_sub_epi64(_mm_mul_epu32(x, y), _mm_slli_epi64(excess, 32))),
          reinterpret_cast<WideRegister>(
              _mm_sub_epi64(_mm_mul_epu32(odd_x, odd_y), _mm_and_si128(excess, upper_words)))};
#endif
}

[[gnu::always_inline]] inline WideRegisters wide_product(Register a, Register b) {
  const auto x = reinterpret_cast<__m128i>(a);
  const auto y = reinterpret_cast<__m128i>(b);
  return wide_product(x, y, odd_lanes(x), odd_lanes(y));
}

[[gnu::always_inline]] inline WideRegisters wide_product(Register a, Factor b) {
  const auto x = reinterpret_cast<__m128i>(a);
  const auto y = reinterpret_cast<__m128i>(b.lanes);
  return wide_product(x, y, odd_lanes(x), y);
}

[[gnu::always_inline]] inline WideRegisters wide_product(Register a, Register /*next*/, Factor b) {
  return wide_product(a, b);
}

[[gnu::always_inline]] inline LaneFactors lane_factors(Register v) {
  return {v, odd_lanes(v)};
}

[[gnu::always_inline]] inline WideRegisters wide_product(Register a, LaneFactors b) {
  const auto x = reinterpret_cast<__m128i>(a);
  return wide_product(x, reinterpret_cast<__m128i>(b.lanes), odd_lanes(x), reinterpret_cast<__m128i>(b.odd));
}

[[gnu::always_inline]] inline WideRegister unsigned_product(WideRegister a, WideRegister b) {
  return reinterpret_cast<WideRegister>(
      _mm_mul_epu32(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
}

// The even lanes of one register, the odd lanes of the other.
[[gnu::always_inline]] inline Register interleaved(__m128i even, __m128i odd) {
#ifdef __SSE4_1__
  return reinterpret_cast<Register>(_mm_blend_epi16(even, odd, 0xCC));
#else
  const __m128i odd_lanes = _mm_set_epi32(-1, 0, -1, 0);
  return reinterpret_cast<Register>(
      _mm_or_si128(_mm_andnot_si128(odd_lanes, even), _mm_and_si128(odd_lanes, odd)));
#endif
}

[[gnu::always_inline]] inline Register truncated(WideRegisters sum, int shift) {
  return interleaved(reinterpret_cast<__m128i>(sum.first >> shift),
                     reinterpret_cast<__m128i>(sum.second << (32 - shift)));
}

[[gnu::always_inline]] inline Register upper_words(WideRegisters sum) {
  return interleaved(odd_lanes(reinterpret_cast<__m128i>(sum.first)), reinterpret_cast<__m128i>(sum.second));
}

#else

[[gnu::always_inline]] inline WideRegisters wide_product(Register a, Register b) {
#ifdef __aarch64__
  const auto x = reinterpret_cast<int32x4_t>(a);
  const auto y = reinterpret_cast<int32x4_t>(b);
  return {reinterpret_cast<WideRegister>(vmull_s32(vget_low_s32(x), vget_low_s32(y))),
          reinterpret_cast<WideRegister>(vmull_high_s32(x, y))};
#else
  const auto x = reinterpret_cast<SignedRegister>(a);
  const auto y = reinterpret_cast<SignedRegister>(b);
  const auto product = [&](int lane) { return static_cast<uint64_t>(int64_t{x[lane]} * y[lane]); };
  return {WideRegister{product(0), product(1)}, WideRegister{product(2), product(3)}};
#endif
}

[[gnu::always_inline]] inline WideRegisters wide_product(Register a, Factor b) {
  return wide_product(a, b.lanes);
}

[[gnu::always_inline]] inline WideRegisters wide_product(Register a, Register /*next*/, Factor b) {
  return wide_product(a, b.lanes);
}

[[gnu::always_inline]] inline LaneFactors lane_factors(Register v) {
  return {v};
}

[[gnu::always_inline]] inline WideRegisters wide_product(Register a, LaneFactors b) {
  return wide_product(a, b.lanes);
}

[[gnu::always_inline]] inline WideRegister unsigned_product(WideRegister a, WideRegister b) {
#ifdef __aarch64__
  const auto low = [](WideRegister v) { return vmovn_u64(reinterpret_cast<uint64x2_t>(v)); };
  return reinterpret_cast<WideRegister>(vmull_u32(low(a), low(b)));
#else
  return (a & 0xFFFFFFFFU) * (b & 0xFFFFFFFFU);
#endif
}

[[gnu::always_inline]] inline Register truncated(WideRegisters sum, int shift) {
  using Half = uint32_t __attribute__((vector_size(8)));
  const Half low = __builtin_convertvector(sum.first >> shift, Half);
  const Half high = __builtin_convertvector(sum.second >> shift, Half);
  return __builtin_shufflevector(low, high, 0, 1, 2, 3);
}

[[gnu::always_inline]] inline Register upper_words(WideRegisters sum) {
  using Half = uint32_t __attribute__((vector_size(8)));
  const Half low = __builtin_convertvector(sum.first >> 32, Half);
  const Half high = __builtin_convertvector(sum.second >> 32, Half);
  return __builtin_shufflevector(low, high, 0, 1, 2, 3);
}

#endif

// The lanes as wide values.
[[gnu::always_inline]] inline WideRegisters zero_extended(Register v) {
#ifdef __SSE2__
  const auto pairs = reinterpret_cast<WideRegister>(v);
  return {pairs & 0xFFFFFFFFU, pairs >> 32};
#else
  return {__builtin_convertvector(__builtin_shufflevector(v, v, 0, 1), WideRegister),
          __builtin_convertvector(__builtin_shufflevector(v, v, 2, 3), WideRegister)};
#endif
}

// Stores the lanes one after the other.
[[gnu::always_inline]] inline void store(uint64_t* to, WideRegisters v) {
#ifdef __SSE2__
  const WideRegister lower = interleaved<0>(v.first, v.second);
  const WideRegister upper = interleaved<1>(v.first, v.second);
  for (size_t i = 0; i < sizeof v / 32; ++i) {
    std::memcpy(to + 4 * i, reinterpret_cast<const char*>(&lower) + 16 * i, 16);
    std::memcpy(to + 4 * i + 2, reinterpret_cast<const char*>(&upper) + 16 * i, 16);
  }
#else
  std::memcpy(to, &v.first, sizeof v.first);
  std::memcpy(to + kRegisterLanes / 2, &v.second, sizeof v.second);
#endif
}

// The full unsigned products.
[[gnu::always_inline]] inline WideRegisters unsigned_product(Register a, Register b) {
#ifdef __SSE2__
  const auto x = reinterpret_cast<WideRegister>(a);
  const auto y = reinterpret_cast<WideRegister>(b);
  return {unsigned_product(x, y), unsigned_product(x >> 32, y >> 32)};
#else
  const WideRegisters x = zero_extended(a);
  const WideRegisters y = zero_extended(b);
  return {unsigned_product(x.first, y.first), unsigned_product(x.second, y.second)};
#endif
}

// The low words.
[[gnu::always_inline]] inline Register low_words(WideRegisters v) {
  return truncated(v, 0);
}

// Adds what makes truncated() round half up.
[[gnu::always_inline]] inline WideRegisters with_half(WideRegisters sum, int shift) {
  const uint64_t half = uint64_t{1} << (shift - 1);
  return {sum.first + half, sum.second + half};
}

// The low words of sum / 2^shift, rounded half up; shift is 1 to 32.
[[gnu::always_inline]] inline Register narrowed(WideRegisters sum, int shift) {
  return truncated(with_half(sum, shift), shift);
}

}  // namespace
}  // namespace zdr::aacdec
