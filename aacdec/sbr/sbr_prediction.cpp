// Solves the normal equations of each row; divides for all rows together.
//
// Only the leading 32 bits of determinants and numerators are used. They are taken from an estimate in
// `double` if every number within its error has the same ones, as is almost always so. Otherwise the sum is
// computed in integers of 128 bits, which takes longer. So the predictors are those of the exact sums,
// however estimates are rounded.
#include "aacdec/sbr/sbr_prediction.h"

#include <bit>
#include <cmath>

#include "aacdec/fixed/magnitude.h"
#include "aacdec/fixed/wide_integer.h"
#include "aacdec/sbr/sbr_levels.h"

namespace zdr::aacdec {
namespace {

// The sign and the leading 32 bits of a number.
struct SignedMagnitude {
  Magnitude magnitude;
  bool is_negative = false;
};

SignedMagnitude leading_bits(WideInteger v) {
  const WideInteger absolute = absolute_value(v);
  const bool large = absolute.high != 0;
  const uint64_t top = large ? absolute.high : absolute.low;
  const uint64_t next = large ? absolute.low : 0;
  const int shift = std::countl_zero(top | 1);
  const uint64_t bits = top << shift | next >> 1 >> (63 - shift);
  return {{static_cast<uint32_t>(bits >> 32), (large ? 96 : 32) - shift}, v.is_negative()};
}

// Estimates a sum of products of integers.
class SumEstimate {
 public:
  void add(double product) {
    sum_ += product;
    absolute_sum_ += std::fabs(product);
  }
  // An error beside that of rounding.
  void add_error(double error) { error_ += error; }

  // Finds the sign and the leading 32 bits. Returns the bits that are uncertain, including sign and exponent:
  // 0 if every number within the error of the estimate has the same ones. A sum of 0 counts as 2^-1023, whose
  // quotient is rounded to 0.
  uint64_t find_leading_bits(SignedMagnitude& found) const {
    // In every rounding mode, a conversion, a product or an addition is off by at most 2^-52 of the result.
    // There are fewer than ten of them in a row; this covers sixteen.
    const double error = error_ + absolute_sum_ * 0x1p-48;
    const double size = std::fabs(sum_);
    const auto lowest = std::bit_cast<uint64_t>(size - error);
    const auto highest = std::bit_cast<uint64_t>(size + error);
    constexpr int kDropped = 52 - 31;
    constexpr int kBias = 1023;
    // The leading 1 is not stored in a `double`.
    found.magnitude = {static_cast<uint32_t>(highest >> kDropped) | 1U << 31,
                       static_cast<int>(highest >> 52) - kBias - 31};
    found.is_negative = sum_ < 0;
    return (lowest ^ highest) >> kDropped;
  }

 private:
  double sum_ = 0;
  double absolute_sum_ = 0;
  double error_ = 0;
};

// 1 / (1 + 1e-6) is 1 - kRelaxation / 2^52.
constexpr uint64_t kRelaxation = 4503595123;

// v / (1 + 1e-6), v >= 0. From 2^80 on, 32 bits are dropped first, so that the product fits into 128 bits.
WideInteger relaxed(WideInteger v) {
  const bool fits = v.high >> 16 == 0;
  return v - (fits ? v * kRelaxation >> 52 : (v >> 32) * kRelaxation >> 20);
}

// A complex quotient before its division.
struct Fraction {
  SignedMagnitude re, im;
  Magnitude denominator;  // not zero unless both numerators are
};

// The estimates return false if one is too inexact; `tap` is unspecified then.
bool estimate_second_tap(const Covariance& c, Fraction& tap) {
  const auto r11 = static_cast<double>(c.r11);
  const auto r22 = static_cast<double>(c.r22);
  const auto r01_re = static_cast<double>(c.r01.re);
  const auto r01_im = static_cast<double>(c.r01.im);
  const auto r12_re = static_cast<double>(c.r12.re);
  const auto r12_im = static_cast<double>(c.r12.im);
  SumEstimate determinant;
  determinant.add(r11 * r22);
  determinant.add((r12_re * r12_re + r12_im * r12_im) * (kRelaxation * 0x1p-52 - 1));
  // relaxed() drops less than 1; from 2^80 on less than 2^13, which the error of rounding covers.
  determinant.add_error(1);
  SumEstimate re;
  re.add(r01_re * r12_re);
  re.add(-r01_im * r12_im);
  re.add(-static_cast<double>(c.r02.re) * r11);
  SumEstimate im;
  im.add(r01_re * r12_im);
  im.add(r01_im * r12_re);
  im.add(-static_cast<double>(c.r02.im) * r11);
  SignedMagnitude divisor;  // not negative: |r12|^2 is at most r11 r22
  const uint64_t uncertain =
      determinant.find_leading_bits(divisor) | re.find_leading_bits(tap.re) | im.find_leading_bits(tap.im);
  tap.denominator = divisor.magnitude;
  return uncertain == 0;
}

Fraction second_tap(const Covariance& c) {
  Fraction tap;
  if (estimate_second_tap(c, tap)) return tap;
  const WideInteger cross = wide_product(c.r12.re, c.r12.re) + wide_product(c.r12.im, c.r12.im);
  const WideInteger determinant = wide_product(c.r11, c.r22) - relaxed(cross);
  if (determinant == WideInteger{}) return {};
  const WideInteger re =
      wide_product(c.r01.re, c.r12.re) - wide_product(c.r01.im, c.r12.im) - wide_product(c.r02.re, c.r11);
  const WideInteger im =
      wide_product(c.r01.re, c.r12.im) + wide_product(c.r01.im, c.r12.re) - wide_product(c.r02.im, c.r11);
  return {leading_bits(re), leading_bits(im), leading_bits(determinant).magnitude};
}

// The numerators are at 2^28, the scale of the second tap.
bool estimate_first_tap(const Covariance& c, const RowPredictor& p, Fraction& tap) {
  const auto r12_re = static_cast<double>(c.r12.re);
  const auto r12_im = static_cast<double>(c.r12.im);
  SumEstimate re;
  re.add(-0x1p28 * static_cast<double>(c.r01.re));
  re.add(-p.tap2_re * r12_re);
  re.add(-p.tap2_im * r12_im);
  SumEstimate im;
  im.add(-0x1p28 * static_cast<double>(c.r01.im));
  im.add(-p.tap2_im * r12_re);
  im.add(p.tap2_re * r12_im);
  return (re.find_leading_bits(tap.re) | im.find_leading_bits(tap.im)) == 0;
}

Fraction first_tap(const Covariance& c, const RowPredictor& p) {
  if (c.r11 == 0) return {};
  Fraction tap;
  tap.denominator = scaled(make_magnitude(static_cast<uint64_t>(c.r11), 0), 28);
  if (estimate_first_tap(c, p, tap)) return tap;
  const WideInteger re =
      (wide(c.r01.re) << 28) + wide_product(p.tap2_re, c.r12.re) + wide_product(p.tap2_im, c.r12.im);
  const WideInteger im =
      (wide(c.r01.im) << 28) + wide_product(p.tap2_im, c.r12.re) - wide_product(p.tap2_re, c.r12.im);
  tap.re = leading_bits(-re);
  tap.im = leading_bits(-im);
  return tap;
}

// Complex quotients, computed for many rows at once.
class Quotients {
 public:
  void set(int index, const Fraction& v) {
    set_part(2 * index, v.re, v.denominator);
    set_part(2 * index + 1, v.im, v.denominator);
  }

  void compute(const SbrKernels& kernels, int count) {
    numerators_.clear_after(2 * count);
    denominators_.clear_after(2 * count);
    kernels.divide_q28(numerators_, denominators_, 2 * count, quotients_);
  }

  // Q28, saturated.
  int32_t re(int index) const { return with_sign(2 * index); }
  int32_t im(int index) const { return with_sign(2 * index + 1); }

 private:
  void set_part(int i, SignedMagnitude numerator, Magnitude denominator) {
    numerators_.set(i, numerator.magnitude);
    denominators_.set(i, denominator);
    signs_[i] = -static_cast<int32_t>(numerator.is_negative);
  }
  int32_t with_sign(int i) const { return (quotients_[i] ^ signs_[i]) - signs_[i]; }

  static_assert(2 * kCoreBands <= kQmfBands);
  MagnitudeRow numerators_;
  MagnitudeRow denominators_;
  int32_t quotients_[whole_blocks(2 * kCoreBands)];
  int32_t signs_[2 * kCoreBands];
};

bool reaches_four(int32_t re_q28, int32_t im_q28) {
  return int64_t{re_q28} * re_q28 + int64_t{im_q28} * im_q28 >= int64_t{16} << 56;
}

}  // namespace

void find_predictors(const SbrKernels& kernels, const Covariance* covariances, int count,
                     RowPredictor* predictors) {
  Quotients taps;
  for (int i = 0; i < count; ++i) taps.set(i, second_tap(covariances[i]));
  taps.compute(kernels, count);
  for (int i = 0; i < count; ++i) {
    predictors[i].tap2_re = taps.re(i);
    predictors[i].tap2_im = taps.im(i);
    taps.set(i, first_tap(covariances[i], predictors[i]));
  }
  taps.compute(kernels, count);
  for (int i = 0; i < count; ++i) {
    RowPredictor& p = predictors[i];
    p.tap1_re = taps.re(i);
    p.tap1_im = taps.im(i);
    if (reaches_four(p.tap1_re, p.tap1_im) || reaches_four(p.tap2_re, p.tap2_im)) p = {};
  }
}

}  // namespace zdr::aacdec
