// Eight lanes in one register. For kernel files only; lanes_in_two_registers.h is its counterpart.
#pragma once

#include "aacdec/fixed/registers.h"

namespace zdr::aacdec {
namespace {

inline constexpr int kLanes = kRegisterLanes;
using Lanes = Register;
using WideLanes = WideRegisters;

// Applies an operation on registers.
template <class Operation, class... Values>
[[gnu::always_inline]] inline auto each(Operation operation, const Values&... values) {
  return operation(values...);
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

[[gnu::always_inline]] inline uint32_t lane(Lanes v, int number) {
  return v[number];
}

// The sum of all lanes.
[[gnu::always_inline]] inline uint64_t total(const WideLanes& v) {
  const WideRegister sum = v.first + v.second;
  return sum[0] + sum[1] + sum[2] + sum[3];
}

}  // namespace
}  // namespace zdr::aacdec
