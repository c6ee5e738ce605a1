// Halves of eight lanes, for moves that cross them: four lanes from or to memory cost less than a shuffle of
// eight. Also vectors of eight 16-bit words. For kernel files only.
#pragma once

#include <bit>

#include "aacdec/fixed/fixed_lanes.h"

namespace zdr::aacdec {
namespace {

using HalfLanes = uint32_t __attribute__((vector_size(16)));

[[gnu::always_inline]] inline HalfLanes load_four(const int32_t* from) {
  HalfLanes v;
  std::memcpy(&v, from, sizeof v);
  return v;
}

[[gnu::always_inline]] inline void store_four(int32_t* to, HalfLanes v) {
  std::memcpy(to, &v, sizeof v);
}

[[gnu::always_inline]] inline EightWords load_eight_words(const int16_t* from) {
  EightWords v;
  std::memcpy(&v, from, sizeof v);
  return v;
}

[[gnu::always_inline]] inline void store_eight_words(int16_t* to, EightWords v) {
  std::memcpy(to, &v, sizeof v);
}

// The lower (0) or the upper (1) four words of a and b as pairs for pair_product(), those of a in the lower
// halves of the lanes.
template <int kHalf>
[[gnu::always_inline]] inline HalfLanes word_pairs(EightWords a, EightWords b) {
  constexpr bool kLowFirst = std::endian::native == std::endian::little;
  return reinterpret_cast<HalfLanes>(kLowFirst ? interleaved<kHalf>(a, b) : interleaved<kHalf>(b, a));
}

// Transposes four rows of four lanes, in place.
[[gnu::always_inline]] inline void transpose(HalfLanes (&r)[4]) {
  const HalfLanes low[2] = {interleaved<0>(r[0], r[2]), interleaved<0>(r[1], r[3])};
  const HalfLanes high[2] = {interleaved<1>(r[0], r[2]), interleaved<1>(r[1], r[3])};
  r[0] = interleaved<0>(low[0], low[1]);
  r[1] = interleaved<1>(low[0], low[1]);
  r[2] = interleaved<0>(high[0], high[1]);
  r[3] = interleaved<1>(high[0], high[1]);
}

#ifdef __AVX2__

[[gnu::always_inline]] inline HalfLanes lower_half(Lanes v) {
  return reinterpret_cast<HalfLanes>(_mm256_castsi256_si128(reinterpret_cast<__m256i>(v)));
}

[[gnu::always_inline]] inline HalfLanes upper_half(Lanes v) {
  return reinterpret_cast<HalfLanes>(_mm256_extracti128_si256(reinterpret_cast<__m256i>(v), 1));
}

[[gnu::always_inline]] inline Lanes joined(HalfLanes low, HalfLanes high) {
  return reinterpret_cast<Lanes>(
      _mm256_set_m128i(reinterpret_cast<__m128i>(high), reinterpret_cast<__m128i>(low)));
}

// Four lanes of a, then four of b, saturated.
[[gnu::always_inline]] inline EightWords saturated_words(HalfLanes a, HalfLanes b) {
  return reinterpret_cast<EightWords>(
      _mm_packs_epi32(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
}

#else

[[gnu::always_inline]] inline HalfLanes lower_half(Lanes v) {
  return v.low;
}

[[gnu::always_inline]] inline HalfLanes upper_half(Lanes v) {
  return v.high;
}

[[gnu::always_inline]] inline Lanes joined(HalfLanes low, HalfLanes high) {
  return {low, high};
}

#endif

[[gnu::always_inline]] inline Lanes broadcast_halves(int32_t low, int32_t high) {
  return joined(HalfLanes{} + static_cast<uint32_t>(low), HalfLanes{} + static_cast<uint32_t>(high));
}

// Shifts each half by a count of its own.
class HalfShifts {
 public:
#ifdef __AVX2__
  [[gnu::always_inline]] HalfShifts(int low, int high) : counts_(broadcast_halves(low, high)) {}
  [[gnu::always_inline]] Lanes applied(Lanes v) const {
    return v << counts_;
  }

 private:
  Lanes counts_;
#else
  [[gnu::always_inline]] HalfShifts(int low, int high) : low_(low), high_(high) {}
  [[gnu::always_inline]] Lanes applied(Lanes v) const {
    return {v.low << low_, v.high << high_};
  }

 private:
  int low_, high_;
#endif
};

[[gnu::always_inline]] inline EightWords larger(EightWords a, EightWords b) {
#ifdef __SSE2__
  return reinterpret_cast<EightWords>(
      _mm_max_epi16(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
#else
  return a > b ? a : b;
#endif
}

// The sixteen lanes in the order of store_interleaved(), saturated: the first and the last eight words.
[[gnu::always_inline]] inline void interleave_saturated(Lanes a, Lanes b, EightWords (&words)[2]) {
  const EightWords first = saturated_words(lower_half(a), upper_half(b));
  const EightWords second = saturated_words(upper_half(a), lower_half(b));
  words[0] = __builtin_shufflevector(first, first, 0, 7, 1, 6, 2, 5, 3, 4);
  words[1] = __builtin_shufflevector(second, second, 0, 7, 1, 6, 2, 5, 3, 4);
}

[[gnu::always_inline]] inline Lanes load_halves(const int32_t* low, const int32_t* high) {
  return joined(load_four(low), load_four(high));
}

[[gnu::always_inline]] inline HalfLanes reversed(HalfLanes v) {
  return __builtin_shufflevector(v, v, 3, 2, 1, 0);
}

[[gnu::always_inline]] inline Lanes load_reversed(const int32_t* from) {
  return joined(reversed(load_four(from + 4)), reversed(load_four(from)));
}

[[gnu::always_inline]] inline void store_reversed(int32_t* to, Lanes v) {
  store_four(to, reversed(upper_half(v)));
  store_four(to + 4, reversed(lower_half(v)));
}

// The lanes with even numbers of 16 values in memory.
[[gnu::always_inline]] inline Lanes load_even(const int32_t* from) {
  return shuffle<0, 2, 8, 10, 4, 6, 12, 14>(load_halves(from, from + 8), load_halves(from + 4, from + 12));
}

// The lanes with odd numbers, last one first.
[[gnu::always_inline]] inline Lanes load_odd_reversed(const int32_t* from) {
  return shuffle<3, 1, 11, 9, 7, 5, 15, 13>(load_halves(from + 12, from + 4), load_halves(from + 8, from));
}

// Stores a[0], b[7], a[1], b[6] and so on.
[[gnu::always_inline]] inline void store_interleaved(int32_t* to, Lanes a, Lanes b) {
  const HalfLanes first = reversed(upper_half(b));
  const HalfLanes second = reversed(lower_half(b));
  store_four(to, __builtin_shufflevector(lower_half(a), first, 0, 4, 1, 5));
  store_four(to + 4, __builtin_shufflevector(lower_half(a), first, 2, 6, 3, 7));
  store_four(to + 8, __builtin_shufflevector(upper_half(a), second, 0, 4, 1, 5));
  store_four(to + 12, __builtin_shufflevector(upper_half(a), second, 2, 6, 3, 7));
}

// The columns of eight rows of eight values, which are `stride` apart.
[[gnu::always_inline]] inline void load_transposed(const int32_t* rows, int stride,
                                                   Lanes (&columns)[kLanes]) {
  for (int half = 0; half < 8; half += 4) {
    Lanes r[4];
    for (int i = 0; i < 4; ++i) r[i] = load_halves(rows + stride * i + half, rows + stride * (i + 4) + half);
    const Lanes low[2] = {shuffle<0, 8, 1, 9, 4, 12, 5, 13>(r[0], r[1]),
                          shuffle<0, 8, 1, 9, 4, 12, 5, 13>(r[2], r[3])};
    const Lanes high[2] = {shuffle<2, 10, 3, 11, 6, 14, 7, 15>(r[0], r[1]),
                           shuffle<2, 10, 3, 11, 6, 14, 7, 15>(r[2], r[3])};
    columns[half] = shuffle<0, 1, 8, 9, 4, 5, 12, 13>(low[0], low[1]);
    columns[half + 1] = shuffle<2, 3, 10, 11, 6, 7, 14, 15>(low[0], low[1]);
    columns[half + 2] = shuffle<0, 1, 8, 9, 4, 5, 12, 13>(high[0], high[1]);
    columns[half + 3] = shuffle<2, 3, 10, 11, 6, 7, 14, 15>(high[0], high[1]);
  }
}

}  // namespace
}  // namespace zdr::aacdec
