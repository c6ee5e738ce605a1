// Mathematics for tables that are computed at compile time. Use it for constants only, so that the program
// contains no floating point. Results are accurate to about 1e-15, far below half a unit of any table's
// format.
#pragma once

#include <cstdint>

namespace zdr::aacdec::constant_math {

inline constexpr double kPi = 3.14159265358979323846;

struct Angle {
  double cos, sin;
};

// Taylor series, |x| at most pi / 4.
constexpr Angle small_angle(double x) {
  Angle sum = {1, x};
  double cos_term = 1;
  double sin_term = x;
  for (int i = 2; i < 22; i += 2) {
    cos_term *= -x * x / (i * (i - 1));
    sin_term *= -x * x / (i * (i + 1));
    sum.cos += cos_term;
    sum.sin += sin_term;
  }
  return sum;
}

// Cosine and sine of numerator / denominator turns.
constexpr Angle turns(int64_t numerator, int64_t denominator) {
  numerator %= denominator;
  if (numerator < 0) numerator += denominator;
  // The nearest multiple of a quarter turn, and the remainder.
  const int64_t quarter = (8 * numerator + denominator) / (2 * denominator);
  const int64_t rest = 4 * numerator - quarter * denominator;
  const Angle a = small_angle(kPi / 2 * static_cast<double>(rest) / static_cast<double>(denominator));
  switch (quarter & 3) {
    case 0:
      return a;
    case 1:
      return {-a.sin, a.cos};
    case 2:
      return {-a.cos, -a.sin};
    default:
      return {a.sin, -a.cos};
  }
}

constexpr double square_root(double x) {
  if (x <= 0) return 0;
  double root = x > 1 ? x : 1;
  for (double next = (root + x / root) / 2; next < root; next = (root + x / root) / 2) root = next;
  return root;
}

constexpr double cube_root(double x) {
  if (x <= 0) return 0;
  double root = x > 1 ? x : 1;
  for (double next = (2 * root + x / (root * root)) / 3; next < root;
       next = (2 * root + x / (root * root)) / 3) {
    root = next;
  }
  return root;
}

// Modified Bessel function of the first kind, order 0.
constexpr double bessel_i0(double x) {
  double term = 1;
  double sum = 1;
  for (int i = 1; term > sum * 1e-17; ++i) {
    term *= (x / 2 / i) * (x / 2 / i);
    sum += term;
  }
  return sum;
}

// Rounds v * scale to the nearest integer, at most `limit`.
constexpr int32_t fixed(double v, double scale, int32_t limit = 0x7FFFFFFF) {
  const double scaled = v * scale;
  if (scaled >= limit) return limit;
  return static_cast<int32_t>(static_cast<int64_t>(scaled + (scaled < 0 ? -0.5 : 0.5)));
}

inline constexpr double kQ30 = 1073741824.0;
inline constexpr double kQ31 = 2147483648.0;

}  // namespace zdr::aacdec::constant_math
