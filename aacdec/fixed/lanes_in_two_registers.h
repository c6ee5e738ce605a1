// Eight lanes in two registers. For kernel files only; lanes_in_one_register.h is its counterpart.
#pragma once

#include "aacdec/fixed/registers.h"

namespace zdr::aacdec {
namespace {

inline constexpr int kLanes = 2 * kRegisterLanes;

template <class Value>
struct Pair {
  Value low, high;
};
using Lanes = Pair<Register>;
using WideLanes = Pair<WideRegisters>;
using FactorLanes = Pair<LaneFactors>;

// Applies an operation on registers to both halves.
template <class Operation, class... Values>
[[gnu::always_inline]] inline auto each(Operation operation, const Values&... values) {
  return Pair<decltype(operation(values.low...))>{operation(values.low...), operation(values.high...)};
}

[[gnu::always_inline]] inline Lanes operator+(Lanes a, Lanes b) {
  return each([](Register x, Register y) { return x + y; }, a, b);
}

[[gnu::always_inline]] inline Lanes operator-(Lanes a, Lanes b) {
  return each([](Register x, Register y) { return x - y; }, a, b);
}

[[gnu::always_inline]] inline Lanes operator&(Lanes a, Lanes b) {
  return each([](Register x, Register y) { return x & y; }, a, b);
}

[[gnu::always_inline]] inline Lanes operator|(Lanes a, Lanes b) {
  return each([](Register x, Register y) { return x | y; }, a, b);
}

[[gnu::always_inline]] inline Lanes operator^(Lanes a, Lanes b) {
  return each([](Register x, Register y) { return x ^ y; }, a, b);
}

[[gnu::always_inline]] inline Lanes operator+(Lanes a, uint32_t b) {
  return each([b](Register x) { return x + b; }, a);
}

[[gnu::always_inline]] inline Lanes operator&(Lanes a, uint32_t b) {
  return each([b](Register x) { return x & b; }, a);
}

[[gnu::always_inline]] inline Lanes operator^(Lanes a, uint32_t b) {
  return each([b](Register x) { return x ^ b; }, a);
}

[[gnu::always_inline]] inline Lanes operator<<(Lanes a, int count) {
  return each([count](Register x) { return x << count; }, a);
}

// Shifts zeros in, whatever the sign.
[[gnu::always_inline]] inline Lanes operator>>(Lanes a, int count) {
  return each([count](Register x) { return x >> count; }, a);
}

[[gnu::always_inline]] inline Lanes operator-(Lanes a) {
  return each([](Register x) { return -x; }, a);
}

[[gnu::always_inline]] inline Lanes operator~(Lanes a) {
  return each([](Register x) { return ~x; }, a);
}

[[gnu::always_inline]] inline Lanes& operator+=(Lanes& a, Lanes b) {
  return a = a + b;
}

[[gnu::always_inline]] inline Lanes& operator|=(Lanes& a, Lanes b) {
  return a = a | b;
}

[[gnu::always_inline]] inline WideLanes operator+(const WideLanes& a, const WideLanes& b) {
  return {a.low + b.low, a.high + b.high};
}

[[gnu::always_inline]] inline WideLanes operator-(const WideLanes& a, const WideLanes& b) {
  return {a.low - b.low, a.high - b.high};
}

[[gnu::always_inline]] inline Lanes select(Lanes mask, Lanes yes, Lanes no) {
  return {select(mask.low, yes.low, no.low), select(mask.high, yes.high, no.high)};
}

// Register by register: a pair that is copied at once stays in memory.
[[gnu::always_inline]] inline Lanes load(const int32_t* from) {
  Lanes v;
  std::memcpy(&v.low, from, sizeof v.low);
  std::memcpy(&v.high, from + kRegisterLanes, sizeof v.high);
  return v;
}

[[gnu::always_inline]] inline void store(int32_t* to, Lanes v) {
  std::memcpy(to, &v.low, sizeof v.low);
  std::memcpy(to + kRegisterLanes, &v.high, sizeof v.high);
}

// Loads the first four lanes and clears the others.
[[gnu::always_inline]] inline Lanes load_half(const int32_t* from) {
  Lanes v = {};
  std::memcpy(&v.low, from, sizeof v.low);
  return v;
}

[[gnu::always_inline]] inline void store_half(int32_t* to, Lanes v) {
  std::memcpy(to, &v.low, sizeof v.low);
}

[[gnu::always_inline]] inline Lanes load_words(const uint16_t* from) {
  return {load_words_of_register(from), load_words_of_register(from + kRegisterLanes)};
}

// Four lanes of the sixteen in four registers; they must come from at most two of the registers.
template <int k0, int k1, int k2, int k3>
[[gnu::always_inline]] inline Register shuffle_part(const Register (&from)[4]) {
  constexpr int kFirst = k0 / 4;
  constexpr int kSecond = k1 / 4 != kFirst ? k1 / 4 : k2 / 4 != kFirst ? k2 / 4 : k3 / 4;
  constexpr auto place = [](int number) { return number % 4 + (number / 4 == kFirst ? 0 : 4); };
  constexpr auto reachable = [](int number) { return number / 4 == kFirst || number / 4 == kSecond; };
  static_assert(reachable(k1) && reachable(k2) && reachable(k3));
  return __builtin_shufflevector(from[kFirst], from[kSecond], place(k0), place(k1), place(k2), place(k3));
}

template <int k0, int k1, int k2, int k3, int... kHigh>
[[gnu::always_inline]] inline Lanes shuffle(Lanes a, Lanes b) {
  const Register from[] = {a.low, a.high, b.low, b.high};
  return {shuffle_part<k0, k1, k2, k3>(from), shuffle_part<kHigh...>(from)};
}

// Column by column, saturated.
[[gnu::always_inline]] inline void transpose_saturated(const Lanes (&rows)[kLanes],
                                                       EightWords (&columns)[kLanes]) {
  Register low[kLanes];
  Register high[kLanes];
  for (int i = 0; i < kLanes; ++i) {
    low[i] = rows[i].low;
    high[i] = rows[i].high;
  }
  WordRegister part[4];
  transpose_saturated(low, part);
  for (int i = 0; i < 4; ++i) columns[i] = part[i];
  transpose_saturated(high, part);
  for (int i = 0; i < 4; ++i) columns[i + 4] = part[i];
}

[[gnu::always_inline]] inline WideLanes in_order(const WideLanes& sum) {
  return {in_order(sum.low), in_order(sum.high)};
}

// The lower four lanes of a and of b.
[[gnu::always_inline]] inline Lanes lower_halves(Lanes a, Lanes b) {
  return {a.low, b.low};
}

[[gnu::always_inline]] inline Lanes upper_halves(Lanes a, Lanes b) {
  return {a.high, b.high};
}

[[gnu::always_inline]] inline uint32_t lane(Lanes v, int number) {
  return number < kRegisterLanes ? v.low[number] : v.high[number - kRegisterLanes];
}

[[gnu::always_inline]] inline WideLanes wide_product(Lanes a, Lanes b) {
  return {wide_product(a.low, b.low), wide_product(a.high, b.high)};
}

[[gnu::always_inline]] inline WideLanes wide_product(Lanes a, Factor b) {
  return {wide_product(a.low, b), wide_product(a.high, b)};
}

[[gnu::always_inline]] inline WideLanes wide_product(Lanes a, Lanes next, Factor b) {
  return {wide_product(a.low, next.low, b), wide_product(a.high, next.high, b)};
}

[[gnu::always_inline]] inline FactorLanes lane_factors(Lanes v) {
  return {lane_factors(v.low), lane_factors(v.high)};
}

[[gnu::always_inline]] inline WideLanes wide_product(Lanes a, const FactorLanes& b) {
  return {wide_product(a.low, b.low), wide_product(a.high, b.high)};
}

[[gnu::always_inline]] inline WideLanes with_half(const WideLanes& sum, int shift) {
  return {with_half(sum.low, shift), with_half(sum.high, shift)};
}

[[gnu::always_inline]] inline Lanes truncated(const WideLanes& sum, int shift) {
  return {truncated(sum.low, shift), truncated(sum.high, shift)};
}

[[gnu::always_inline]] inline Lanes narrowed(const WideLanes& sum, int shift) {
  return {narrowed(sum.low, shift), narrowed(sum.high, shift)};
}

[[gnu::always_inline]] inline Lanes upper_words(const WideLanes& sum) {
  return {upper_words(sum.low), upper_words(sum.high)};
}

[[gnu::always_inline]] inline Lanes pair_product(Lanes a, Factor b) {
  return {pair_product(a.low, b.lanes), pair_product(a.high, b.lanes)};
}

[[gnu::always_inline]] inline void store(uint64_t* to, const WideLanes& v) {
  store(to, v.low);
  store(to + kRegisterLanes, v.high);
}

// The OR of all lanes.
[[gnu::always_inline]] inline uint32_t any_bits(Lanes v) {
  const auto pairs = reinterpret_cast<WideRegister>(v.low | v.high);
  const uint64_t any = pairs[0] | pairs[1];
  return static_cast<uint32_t>(any | any >> 32);
}

// Sums of some lanes each, for sums over all lanes.
[[gnu::always_inline]] inline WideRegister folded(const WideLanes& v) {
  const WideRegisters halves = v.low + v.high;
  return halves.first + halves.second;
}

[[gnu::always_inline]] inline uint64_t total(WideRegister v) {
  return v[0] + v[1];
}

[[gnu::always_inline]] inline uint64_t total(const WideLanes& v) {
  return total(folded(v));
}

}  // namespace
}  // namespace zdr::aacdec
