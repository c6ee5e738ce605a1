// Distances between QMF bands in octaves. The standard spaces bands evenly on a logarithmic axis; here that
// axis is log2 with 24 fraction bits. That is precise enough: no value that the standard rounds is so close
// to a half.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace zdr::aacdec {

inline constexpr int kTopBand = 64;  // the end of the QMF bands
inline constexpr int kOctaveFractionBits = 24;
inline constexpr int64_t kOctave = int64_t{1} << kOctaveFractionBits;

constexpr int64_t log2_q24(uint32_t n) {
  const int exponent = static_cast<int>(std::bit_width(n)) - 1;
  uint64_t mantissa = uint64_t{n} << (31 - exponent);  // 1 to 2, 31 fraction bits
  int64_t result = exponent;
  for (int i = 0; i < kOctaveFractionBits; ++i) {
    mantissa = mantissa * mantissa >> 31;
    const bool carry = mantissa >> 32 != 0;
    if (carry) mantissa >>= 1;
    result = result * 2 + (carry ? 1 : 0);
  }
  return result;
}

// By number; entry 0 is unused.
inline constexpr auto kLog2 = [] {
  std::array<int64_t, 2 * kTopBand + 2> table{};
  for (uint32_t n = 1; n < table.size(); ++n) table[n] = log2_q24(n);
  return table;
}();

constexpr int64_t log2_of(int n) {
  return kLog2[static_cast<size_t>(n)];
}

constexpr int64_t round_quotient(int64_t numerator, int64_t denominator) {
  return (2 * numerator + denominator) / (2 * denominator);
}

}  // namespace zdr::aacdec
