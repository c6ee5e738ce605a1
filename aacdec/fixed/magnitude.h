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
  return make_magnitude(uint64_t{a.mantissa} * b.mantissa, a.exponent + b.exponent);
}

// `b` must not be zero.
constexpr Magnitude operator/(Magnitude a, Magnitude b) {
  return make_magnitude((uint64_t{a.mantissa} << 32) / b.mantissa, a.exponent - b.exponent - 32);
}

constexpr Magnitude operator+(Magnitude a, Magnitude b) {
  if (a.is_zero()) return b;
  if (b.is_zero()) return a;
  const Magnitude& big = a.exponent >= b.exponent ? a : b;
  const Magnitude& small = a.exponent >= b.exponent ? b : a;
  const int distance = big.exponent - small.exponent;
  if (distance > 32) return big;
  const uint64_t sum = (uint64_t{big.mantissa} << 31) + ((uint64_t{small.mantissa} << 31) >> distance);
  return make_magnitude(sum, big.exponent - 31);
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

// sqrt((i + 64.5) * 2^56), to seven bits.
inline constexpr auto kRootSeeds = [] {
  std::array<uint32_t, 192> seeds{};
  for (size_t i = 0; i < seeds.size(); ++i) {
    const uint64_t value = (2 * uint64_t{i} + 129) << 55;
    uint64_t root = uint64_t{1} << 31;
    while (root * root < value && root < uint64_t{255} << 24) root += uint64_t{1} << 24;
    seeds[i] = static_cast<uint32_t>(root);
  }
  return seeds;
}();

// Returns sqrt(value) within a unit or two, for values of 2^62 and more. Each Newton step doubles the number
// of correct bits.
constexpr uint64_t integer_root(uint64_t value) {
  uint64_t root = kRootSeeds[static_cast<size_t>(value >> 56) - 64];
  root = (root + value / root) >> 1;
  root = (root + value / root) >> 1;
  return (root + value / root) >> 1;
}

constexpr Magnitude square_root(Magnitude a) {
  if (a.is_zero()) return {};
  const int odd = a.exponent & 1;
  const uint64_t value = uint64_t{a.mantissa} << (32 - odd);
  return make_magnitude(integer_root(value), (a.exponent + odd - 32) / 2);
}

}  // namespace zdr::aacdec
