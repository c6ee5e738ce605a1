// Non-negative floating-point numbers in integer arithmetic, for energies, gains and their ratios, which
// range from 1e-12 to 2^69 and beyond.
//
// Each operation is exact to about the last bit of the mantissa (2^-31 of the value). Operations do not
// overflow while exponents stay within 2^28, far beyond what any chain of them reaches.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "aacdec/tables/constant_math.h"

namespace zdr::aacdec {

// mantissa * 2^exponent; the mantissa has its top bit set, or is 0 for zero.
struct Magnitude {
  uint32_t mantissa = 0;
  int32_t exponent = 0;

  constexpr bool is_zero() const { return mantissa == 0; }
};

// value * 2^exponent.
constexpr Magnitude make_magnitude(uint64_t value, int exponent) {
  if (value == 0) return {};
  const int shift = std::countl_zero(value);
  return {static_cast<uint32_t>((value << shift) >> 32), exponent + 32 - shift};
}

// For constants; evaluated at compile time only.
consteval Magnitude magnitude_of(double value) {
  int exponent = 0;
  while (value < 0x1p31) {
    value *= 2;
    --exponent;
  }
  while (value >= 0x1p32) {
    value /= 2;
    ++exponent;
  }
  return {static_cast<uint32_t>(value), exponent};
}

constexpr Magnitude operator*(Magnitude a, Magnitude b) {
  const uint64_t product = uint64_t{a.mantissa} * b.mantissa;
  if (product == 0) return {};
  // Of two mantissas with the top bit set.
  const int shift = product >> 63 != 0 ? 0 : 1;
  return {static_cast<uint32_t>(product << shift >> 32), a.exponent + b.exponent + 32 - shift};
}

// `b` must not be zero.
constexpr Magnitude operator/(Magnitude a, Magnitude b) {
  if (a.is_zero()) return {};
  // By a power of two, as is the length of most envelopes.
  if (b.mantissa == 1U << 31) return {a.mantissa, a.exponent - b.exponent - 31};
  // Between 2^31 and 2^33.
  const uint64_t quotient = (uint64_t{a.mantissa} << 32) / b.mantissa;
  const int shift = quotient >> 32 != 0 ? 1 : 0;
  return {static_cast<uint32_t>(quotient >> shift), a.exponent - b.exponent - 32 + shift};
}

constexpr Magnitude operator+(Magnitude a, Magnitude b) {
  if (a.is_zero()) return b;
  if (b.is_zero()) return a;
  // Selections instead of branches: which is the larger is hard to predict.
  const bool swap = a.exponent < b.exponent;
  const uint64_t big = swap ? b.mantissa : a.mantissa;
  const uint64_t small = swap ? a.mantissa : b.mantissa;
  const int exponent = swap ? b.exponent : a.exponent;
  const int distance = exponent - (swap ? a.exponent : b.exponent);
  const uint64_t sum = big + (small >> (distance > 32 ? 32 : distance));
  const auto carry = static_cast<int>(sum >> 32);
  return {static_cast<uint32_t>(sum >> carry), exponent + carry};
}

constexpr bool operator<(Magnitude a, Magnitude b) {
  if (a.is_zero() || b.is_zero()) return a.mantissa < b.mantissa;
  return a.exponent != b.exponent ? a.exponent < b.exponent : a.mantissa < b.mantissa;
}

constexpr Magnitude smaller(Magnitude a, Magnitude b) {
  return b < a ? b : a;
}

constexpr Magnitude scaled(Magnitude a, int power_of_two) {
  return {a.mantissa, a.exponent + power_of_two};
}

// 1 / sqrt((i + 128.5) / 512) in Q30.
inline constexpr auto kInverseRoots = [] {
  std::array<int32_t, 384> roots{};
  for (size_t i = 0; i < roots.size(); ++i) {
    const double inverse = constant_math::square_root(1024 / (2 * static_cast<double>(i) + 257));
    roots[i] = constant_math::fixed(inverse, constant_math::kQ30);
  }
  return roots;
}();

// Returns sqrt(value), truncated, for values of 2^62 and more. A Newton step on the inverse root gives
// 17 correct bits, and one on the root 34; neither needs a division.
constexpr uint64_t integer_root(uint64_t value) {
  const uint64_t high = value >> 32;
  const auto seed = static_cast<uint64_t>(kInverseRoots[static_cast<size_t>(value >> 55) - 128]);
  const uint64_t product_q28 = (seed * seed >> 32) * high >> 32;  // nearly 1
  const uint64_t inverse_q30 = seed * ((uint64_t{3} << 28) - product_q28) >> 29;
  uint64_t root = high * inverse_q30 >> 30;
  const auto rest = static_cast<int64_t>(value - root * root);
  root += static_cast<uint64_t>((rest >> 16) * static_cast<int64_t>(inverse_q30) >> 47);
  const auto error = static_cast<int64_t>(value - root * root);
  return root - (error < 0 ? 1 : 0) + (error > static_cast<int64_t>(2 * root) ? 1 : 0);
}

constexpr Magnitude square_root(Magnitude a) {
  if (a.is_zero()) return {};
  const int odd = a.exponent & 1;
  const uint64_t value = uint64_t{a.mantissa} << (32 - odd);
  // The root of a number of 62 bits and more has its top bit set.
  return {static_cast<uint32_t>(integer_root(value)), (a.exponent + odd - 32) / 2};
}

}  // namespace zdr::aacdec
