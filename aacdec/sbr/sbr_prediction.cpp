// Solves the normal equations of each row; divides for all rows together.
//
// Only the leading 32 bits of determinants and numerators matter. Almost always they are those of an estimate
// in `double`: then every number within the error of the estimate has the same leading bits. Otherwise
// they come from integers of 128 bits, which take longer. So the results do not depend on how
// estimates are rounded.
#include "aacdec/sbr/sbr_prediction.h"

#include <bit>
#include <cmath>

#include "aacdec/fixed/magnitude.h"
#include "aacdec/fixed/wide_integer.h"
#include "aacdec/sbr/sbr_levels.h"

namespace zdr::aacdec {
namespace {

// A number with its sign; `size` is truncated to 32 bits.
struct SignedMagnitude {
  Magnitude size;
  bool is_negative = false;
};

// Without a branch: signs and sizes are hard to predict.
SignedMagnitude magnitude_of_wide(WideInteger v) {
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
    size_ += std::fabs(product);
  }
  // An error beside that of rounding.
  void add_error(double error) { error_ += error; }

  // False if the leading bits are uncertain.
  bool find(SignedMagnitude& magnitude) const {
    // Factors, products and sums are rounded, in any direction: some ten times 2^-52 of the size.
    const double error = error_ + size_ * 0x1p-48;
    const double absolute = std::fabs(sum_);
    const auto lowest = std::bit_cast<uint64_t>(absolute - error);
    const auto highest = std::bit_cast<uint64_t>(absolute + error);
    constexpr int kDropped = 52 - 31;
    constexpr int kBias = 1023;
    magnitude.size = {static_cast<uint32_t>(highest >> kDropped) | 1U << 31,
                      static_cast<int>(highest >> 52) - kBias - 31};
    magnitude.is_negative = sum_ < 0;
    return (lowest ^ highest) >> kDropped == 0;
  }

 private:
  double sum_ = 0;
  double size_ = 0;  // the sum of the absolute values
  double error_ = 0;
};

// 1 / (1 + 1e-6) is 1 - kRelaxation / 2^52.
constexpr uint64_t kRelaxation = 4503595123;

// v / (1 + 1e-6), v >= 0.
WideInteger relaxed(WideInteger v) {
  const bool fits = v.high >> 16 == 0;
  return v - (fits ? v * kRelaxation >> 52 : (v >> 32) * kRelaxation >> 20);
}

// A complex quotient before its division.
struct Fraction {
  SignedMagnitude re, im;
  Magnitude denominator;  // not zero unless both numerators are
};

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
  determinant.add_error(2);  // relaxed() truncates
  SumEstimate re;
  re.add(r01_re * r12_re);
  re.add(-r01_im * r12_im);
  re.add(-static_cast<double>(c.r02.re) * r11);
  SumEstimate im;
  im.add(r01_re * r12_im);
  im.add(r01_im * r12_re);
  im.add(-static_cast<double>(c.r02.im) * r11);
  SignedMagnitude divisor;
  const bool is_certain = static_cast<int>(determinant.find(divisor)) & static_cast<int>(re.find(tap.re)) &
                          static_cast<int>(im.find(tap.im));
  tap.denominator = divisor.size;
  return is_certain;
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
  return {magnitude_of_wide(re), magnitude_of_wide(im), magnitude_of_wide(determinant).size};
}

// Times 2^28, as are the second taps.
bool estimate_first_tap(const Covariance& c, const Predictor& p, Fraction& tap) {
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
  return (static_cast<int>(re.find(tap.re)) & static_cast<int>(im.find(tap.im))) != 0;
}

Fraction first_tap(const Covariance& c, const Predictor& p) {
  if (c.r11 == 0) return {};
  Fraction tap;
  tap.denominator = scaled(make_magnitude(static_cast<uint64_t>(c.r11), 0), 28);
  if (estimate_first_tap(c, p, tap)) return tap;
  const WideInteger re =
      (wide(c.r01.re) << 28) + wide_product(p.tap2_re, c.r12.re) + wide_product(p.tap2_im, c.r12.im);
  const WideInteger im =
      (wide(c.r01.im) << 28) + wide_product(p.tap2_im, c.r12.re) - wide_product(p.tap2_re, c.r12.im);
  tap.re = magnitude_of_wide(-re);
  tap.im = magnitude_of_wide(-im);
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
    numerators_.set(i, numerator.size);
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

void predict(const SbrKernels& kernels, const Covariance* covariances, int count, Predictor* predictors) {
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
    Predictor& p = predictors[i];
    p.tap1_re = taps.re(i);
    p.tap1_im = taps.im(i);
    if (reaches_four(p.tap1_re, p.tap1_im) || reaches_four(p.tap2_re, p.tap2_im)) p = {};
  }
}

}  // namespace zdr::aacdec
