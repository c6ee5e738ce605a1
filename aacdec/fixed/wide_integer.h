// Integers of 128 bits in two's complement, on targets whose compiler has none as well. Sums wrap.
#pragma once

#include <cstdint>

namespace zdr::aacdec {

struct WideInteger {
  uint64_t high = 0, low = 0;

  constexpr bool is_negative() const { return (high >> 63) != 0; }
  constexpr bool operator==(const WideInteger&) const = default;
};

constexpr WideInteger wide(int64_t v) {
  return {v < 0 ? ~uint64_t{0} : 0, static_cast<uint64_t>(v)};
}

constexpr WideInteger operator+(WideInteger a, WideInteger b) {
  const uint64_t low = a.low + b.low;
  return {a.high + b.high + (low < a.low ? 1 : 0), low};
}

constexpr WideInteger operator-(WideInteger a, WideInteger b) {
  return {a.high - b.high - (a.low < b.low ? 1 : 0), a.low - b.low};
}

constexpr WideInteger operator-(WideInteger a) {
  return WideInteger{} - a;
}

// |v|, without a branch.
constexpr WideInteger absolute_value(WideInteger v) {
  const uint64_t sign = 0 - (v.high >> 63);
  return WideInteger{v.high ^ sign, v.low ^ sign} - WideInteger{sign, sign};
}

// The count is 1 to 63.
constexpr WideInteger operator<<(WideInteger a, int count) {
  return {a.high << count | a.low >> (64 - count), a.low << count};
}

// Shifts zeros in, whatever the sign; the count is 1 to 64.
constexpr WideInteger operator>>(WideInteger a, int count) {
  if (count == 64) return {0, a.high};
  return {a.high >> count, a.low >> count | a.high << (64 - count)};
}

// The product of unsigned numbers.
constexpr WideInteger unsigned_product(uint64_t a, uint64_t b) {
#ifdef __SIZEOF_INT128__
  __extension__ using Native = unsigned __int128;
  const Native product = Native{a} * b;
  return {static_cast<uint64_t>(product >> 64), static_cast<uint64_t>(product)};
#else
  constexpr uint64_t kLow = 0xFFFFFFFF;
  const uint64_t lowest = (a & kLow) * (b & kLow);
  const uint64_t first = (a >> 32) * (b & kLow) + (lowest >> 32);
  const uint64_t second = (a & kLow) * (b >> 32) + (first & kLow);
  return {(a >> 32) * (b >> 32) + (first >> 32) + (second >> 32), second << 32 | (lowest & kLow)};
#endif
}

constexpr WideInteger wide_product(int64_t a, int64_t b) {
#ifdef __SIZEOF_INT128__
  __extension__ using Native = __int128;
  const Native native = Native{a} * b;
  return {static_cast<uint64_t>(native >> 64), static_cast<uint64_t>(native)};
#else
  WideInteger product = unsigned_product(static_cast<uint64_t>(a), static_cast<uint64_t>(b));
  // Read as unsigned, a negative factor is 2^64 too large.
  if (a < 0) product.high -= static_cast<uint64_t>(b);
  if (b < 0) product.high -= static_cast<uint64_t>(a);
  return product;
#endif
}

// The low 128 bits of the product.
constexpr WideInteger operator*(WideInteger a, uint64_t b) {
  WideInteger product = unsigned_product(a.low, b);
  product.high += a.high * b;
  return product;
}

static_assert(wide_product(INT64_MIN, INT64_MIN) == WideInteger{uint64_t{1} << 62, 0});
static_assert(wide_product(INT64_MIN, 3) == WideInteger{~uint64_t{1}, uint64_t{1} << 63});
static_assert(wide_product(-7, 5) == wide(-35));
static_assert(absolute_value(wide(-35)) == wide(35));
static_assert(unsigned_product(~uint64_t{0}, ~uint64_t{0}) == WideInteger{~uint64_t{1}, 1});

}  // namespace zdr::aacdec
