// Eight lanes in one register. For kernel files only; lanes_in_two_registers.h is its counterpart.
#pragma once

#include "aacdec/fixed/registers.h"

namespace zdr::aacdec {
namespace {

inline constexpr int kLanes = kRegisterLanes;
using Lanes = Register;
using WideLanes = WideRegisters;
using FactorLanes = LaneFactors;

// Applies an operation on registers.
template <class Operation, class... Values>
[[gnu::always_inline]] inline auto each(Operation operation, const Values&... values) {
  return operation(values...);
}

[[gnu::always_inline]] inline Lanes load(const int32_t* from) {
  Lanes v;
  std::memcpy(&v, from, sizeof v);
  return v;
}

[[gnu::always_inline]] inline void store(int32_t* to, Lanes v) {
  std::memcpy(to, &v, sizeof v);
}

// Loads the first four lanes and clears the others.
[[gnu::always_inline]] inline Lanes load_half(const int32_t* from) {
  Lanes v = {};
  std::memcpy(&v, from, sizeof v / 2);
  return v;
}

[[gnu::always_inline]] inline void store_half(int32_t* to, Lanes v) {
  std::memcpy(to, &v, sizeof v / 2);
}

[[gnu::always_inline]] inline Lanes load_words(const uint16_t* from) {
  return load_words_of_register(from);
}

[[gnu::always_inline]] inline Lanes pair_product(Lanes a, Factor b) {
  return pair_product(a, b.lanes);
}

// The lanes of a and b, counted from 0 to 15, that have these numbers.
template <int... kNumbers>
[[gnu::always_inline]] inline Lanes shuffle(Lanes a, Lanes b) {
  return __builtin_shufflevector(a, b, kNumbers...);
}

// Column by column, saturated.
[[gnu::always_inline]] inline void transpose_saturated(const Lanes (&rows)[kLanes],
                                                       EightWords (&columns)[kLanes]) {
  WordRegister both[4];
  transpose_saturated(rows, both);
  for (int i = 0; i < 4; ++i) {
    columns[i] = __builtin_shufflevector(both[i], both[i], 0, 1, 2, 3, 4, 5, 6, 7);
    columns[i + 4] = __builtin_shufflevector(both[i], both[i], 8, 9, 10, 11, 12, 13, 14, 15);
  }
}

// The lower four lanes of a and of b.
[[gnu::always_inline]] inline Lanes lower_halves(Lanes a, Lanes b) {
  return shuffle<0, 1, 2, 3, 8, 9, 10, 11>(a, b);
}

// The upper ones. Two instructions, because the one that does both is slow on some processors.
[[gnu::always_inline]] inline Lanes upper_halves(Lanes a, Lanes b) {
  const __m128i low = _mm256_extracti128_si256(reinterpret_cast<__m256i>(a), 1);
  return reinterpret_cast<Lanes>(
      _mm256_blend_epi32(_mm256_castsi128_si256(low), reinterpret_cast<__m256i>(b), 0xF0));
}

[[gnu::always_inline]] inline uint32_t lane(Lanes v, int number) {
  return v[number];
}

// The OR of all lanes.
[[gnu::always_inline]] inline uint32_t any_bits(Lanes v) {
  const auto pairs = reinterpret_cast<WideRegister>(v);
  const uint64_t any = pairs[0] | pairs[1] | pairs[2] | pairs[3];
  return static_cast<uint32_t>(any | any >> 32);
}

// Sums of some lanes each, for sums over all lanes.
[[gnu::always_inline]] inline WideRegister folded(const WideLanes& v) {
  return v.first + v.second;
}

[[gnu::always_inline]] inline uint64_t total(WideRegister v) {
  const auto lanes = reinterpret_cast<__m256i>(v);
  const __m128i sum = _mm_add_epi64(_mm256_castsi256_si128(lanes), _mm256_extracti128_si256(lanes, 1));
  return static_cast<uint64_t>(sum[0]) + static_cast<uint64_t>(sum[1]);
}

[[gnu::always_inline]] inline uint64_t total(const WideLanes& v) {
  return total(folded(v));
}

}  // namespace
}  // namespace zdr::aacdec
