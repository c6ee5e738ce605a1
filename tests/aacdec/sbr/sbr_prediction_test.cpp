// Compares the predictors of HF generation with a plain model in integers of 128 bits.
#include "aacdec/sbr/sbr_prediction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfenv>
#include <random>
#include <tuple>
#include <vector>

#include "aacdec/fixed/magnitude.h"
#include "aacdec/fixed/wide_integer.h"

namespace zdr::aacdec {
namespace {

// The leading 32 bits of |v|.
Magnitude leading_bits(WideInteger v) {
  if (v.is_negative()) v = -v;
  int exponent = 0;
  for (; v.high != 0; ++exponent) v = v >> 1;
  return scaled(make_magnitude(v.low, 0), exponent);
}

// numerator / denominator * 2^exponent in Q28, saturated.
int32_t quotient_q28(WideInteger numerator, WideInteger denominator, int exponent) {
  if (denominator == WideInteger{}) return 0;
  const Magnitude size = scaled(leading_bits(numerator) / leading_bits(denominator), exponent + 28);
  int64_t value = INT32_MAX;
  if (size.is_zero() || size.exponent < -32) {
    value = 0;
  } else if (size.exponent < 0) {
    value = std::min<int64_t>(((int64_t{size.mantissa} >> (-size.exponent - 1)) + 1) >> 1, INT32_MAX);
  }
  return static_cast<int32_t>(numerator.is_negative() ? -value : value);
}

// v / (1 + 1e-6). From 2^80 on, the lower 32 bits of v are dropped before the product.
WideInteger relaxed(WideInteger v) {
  constexpr uint64_t kRelaxation = 4503595123;  // 1e-6 / (1 + 1e-6) in Q52
  if (v.high < 1 << 16) return v - (v * kRelaxation >> 52);
  return v - ((v >> 32) * kRelaxation >> 20);
}

RowPredictor model(const Covariance& c) {
  const WideInteger determinant = wide_product(c.r11, c.r22) - relaxed(wide_product(c.r12.re, c.r12.re) +
                                                                       wide_product(c.r12.im, c.r12.im));
  const WideInteger re2 =
      wide_product(c.r01.re, c.r12.re) - wide_product(c.r01.im, c.r12.im) - wide_product(c.r02.re, c.r11);
  const WideInteger im2 =
      wide_product(c.r01.re, c.r12.im) + wide_product(c.r01.im, c.r12.re) - wide_product(c.r02.im, c.r11);
  RowPredictor p{};
  p.tap2_re = quotient_q28(re2, determinant, 0);
  p.tap2_im = quotient_q28(im2, determinant, 0);
  const WideInteger re1 =
      (wide(c.r01.re) << 28) + wide_product(p.tap2_re, c.r12.re) + wide_product(p.tap2_im, c.r12.im);
  const WideInteger im1 =
      (wide(c.r01.im) << 28) + wide_product(p.tap2_im, c.r12.re) - wide_product(p.tap2_re, c.r12.im);
  p.tap1_re = quotient_q28(-re1, wide(c.r11), -28);
  p.tap1_im = quotient_q28(-im1, wide(c.r11), -28);
  const auto is_large = [](int64_t re, int64_t im) { return re * re + im * im >= int64_t{1} << 60; };
  return is_large(p.tap1_re, p.tap1_im) || is_large(p.tap2_re, p.tap2_im) ? RowPredictor{} : p;
}

// The covariance of a tone with noise added; without noise the determinant nearly vanishes.
Covariance covariance_of_row(std::mt19937_64& random, int tone_bits, int noise_bits) {
  const auto sample = [&](int bits) {
    return static_cast<int64_t>(static_cast<int32_t>(random())) >> (31 - bits);
  };
  const std::pair<int64_t, int64_t> phase{sample(tone_bits), sample(tone_bits)};
  std::pair<int64_t, int64_t> row[40];
  for (int n = 0; n < 40; ++n) {
    // A quarter turn per sample.
    const int64_t sign = n % 4 < 2 ? 1 : -1;
    const auto [re, im] = n % 2 == 0 ? phase : std::pair{-phase.second, phase.first};
    row[n] = {sign * re + sample(noise_bits), sign * im + sample(noise_bits)};
  }
  const auto sum = [&](int i, int j) {
    ComplexSum total{};
    for (int n = 2; n < 40; ++n) {
      const auto [a, b] = row[n - i];
      const auto [c, d] = row[n - j];
      total.re += a * c + b * d;
      total.im += b * c - a * d;
    }
    return total;
  };
  return {sum(1, 1).re, sum(2, 2).re, sum(0, 1), sum(1, 2), sum(0, 2)};
}

// A second tap half way between two Q28 values, or just beside. Its numerator contains the product p q r s
// with both signs, whose estimates may differ. The determinant is about 2^117.
Covariance covariance_at_edge(std::mt19937_64& random) {
  const auto factor = [&] { return static_cast<int64_t>(random() % (1 << 27)) + (1 << 27); };
  const int64_t p = factor(), q = factor(), r = factor(), s = factor();
  const ComplexSum r12{r * s, q * s};
  const WideInteger cross = relaxed(wide_product(r12.re, r12.re) + wide_product(r12.im, r12.im));
  const auto r22 = static_cast<int64_t>((cross >> 57).low) + (int64_t{1} << 60) + (1 << 15);
  const auto twice_quotient = static_cast<int64_t>(random() % (1 << 28)) * 2 + 1;
  const auto off = static_cast<int64_t>(random() % 3) - 1;
  return {int64_t{1} << 57, r22, {p * q, p * r}, r12, {off - (twice_quotient << 31), 0}};
}

// A determinant below 2^31: a fraction, if relaxed() did not drop it, would be among its leading 32 bits.
Covariance covariance_of_few_bits(std::mt19937_64& random) {
  const auto between = [&](int64_t low, int64_t high) {
    return low + static_cast<int64_t>(random() % static_cast<uint64_t>(high - low));
  };
  const int64_t lag = between(0, 1 << 20);
  const int64_t determinant = between(3 << 29, int64_t{1} << 31);
  const int64_t re = between(int64_t{1} << 32, int64_t{5} << 30);
  const int64_t im = between(int64_t{1} << 32, int64_t{5} << 30);
  // Keeps the first tap small.
  const ComplexSum r01{-re * lag / determinant, -im * lag / determinant};
  return {1, determinant + lag * lag, r01, {lag, 0}, {r01.re * lag - re, r01.im * lag - im}};
}

TEST(SbrPrediction, FindsThePredictorsOfThePlainModelInEveryRoundingMode) {
  constexpr int kModes[] = {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO};
  std::mt19937_64 random(1);
  std::vector<Covariance> covariances(kCoreBands);
  for (int round = 0; round < 4000; ++round) {
    for (Covariance& c : covariances) {
      // Sums of tone and noise stay below 2^28.
      const int bits = static_cast<int>(random() % 27);
      const int noise_bits = static_cast<int>(random() % 27);
      c = round % 4 == 0   ? covariance_at_edge(random)
          : round % 4 == 1 ? covariance_of_few_bits(random)
                           : covariance_of_row(random, bits, std::min(bits, noise_bits));
    }
    RowPredictor found[kCoreBands];
    std::fesetround(kModes[round / 4 % 4]);
    find_predictors(sbr_kernels(), covariances.data(), kCoreBands, found);
    std::fesetround(FE_TONEAREST);
    for (int i = 0; i < kCoreBands; ++i) {
      const RowPredictor expected = model(covariances[static_cast<size_t>(i)]);
      const auto values = [](const RowPredictor& p) {
        return std::tuple(p.tap1_re, p.tap1_im, p.tap2_re, p.tap2_im);
      };
      ASSERT_EQ(values(found[i]), values(expected)) << "round " << round << ", row " << i;
    }
  }
}

}  // namespace
}  // namespace zdr::aacdec
