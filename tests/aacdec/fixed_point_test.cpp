// The multiplication and its helpers: against what they are defined to be, and every form against the others.
#include "aacdec/fixed_point.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "aacdec/core_kernels.h"
#include "aacdec/cpu.h"

namespace zdr::aacdec {
namespace {

std::vector<const CoreKernels*> all_kernels() {
  std::vector<const CoreKernels*> kernels = {&kBaseKernels};
#if defined(__x86_64__)
  if (use_wide_vectors()) kernels.push_back(&kWideKernels);
#endif
  return kernels;
}

std::vector<int32_t> edge_values() {
  std::vector<int32_t> values = {0, kInt32Max, kInt32Min};
  for (int bit = 0; bit < 31; ++bit) {
    for (const int64_t offset : {-1, 0, 1}) {
      const int64_t v = (int64_t{1} << bit) + offset;
      values.push_back(static_cast<int32_t>(v));
      values.push_back(static_cast<int32_t>(-v));
    }
  }
  while (values.size() % 8 != 0) values.push_back(12345);
  return values;
}

// The exact product less what the definition leaves out: the low halves' product and two fractions.
int64_t defined_product(int32_t a, int32_t b) {
  const auto a_bits = static_cast<uint64_t>(std::abs(int64_t{a}));
  const auto b_bits = static_cast<uint64_t>(std::abs(int64_t{b}));
  const uint64_t low = 65535;
  uint64_t product = a_bits * b_bits - (a_bits & low) * (b_bits & low);
  const uint64_t mixed1 = (a_bits & low) * (b_bits >> 16) * 2;
  const uint64_t mixed2 = (b_bits & low) * (a_bits >> 16) * 2;
  product -= (mixed1 & low) * 32768 + (mixed2 & low) * 32768;
  const auto magnitude = static_cast<int64_t>(product >> 31);
  return (a < 0) != (b < 0) ? -magnitude : magnitude;
}

TEST(MulQ31, IsWhatItIsDefinedToBe) {
  const std::vector<int32_t> edges = edge_values();
  for (const int32_t a : edges) {
    for (const int32_t b : edges) {
      const int64_t defined = defined_product(a, b);
      ASSERT_EQ(mul_q31(a, b), static_cast<int32_t>(static_cast<uint32_t>(defined))) << a << " " << b;
      if (a == kInt32Min && b == kInt32Min) continue;
      const auto exact = static_cast<double>(a) * static_cast<double>(b) / 2147483648.0;
      ASSERT_LT(std::abs(exact) - std::abs(static_cast<double>(defined)), 4) << a << " " << b;
    }
  }
  EXPECT_EQ(mul_q31(kInt32Min, kInt32Min), kInt32Min);
  EXPECT_EQ(mul_q31(kInt32Max, kInt32Max), 2147483644);
  EXPECT_EQ(mul_q31(16384, kInt32Max), 16383);
}

// More pairs by the environment variable ZDR_MULTIPLY_PAIRS.
TEST(MulQ31, IsTheSameInEveryForm) {
  const char* const wanted = std::getenv("ZDR_MULTIPLY_PAIRS");
  const long long pairs = wanted != nullptr ? std::atoll(wanted) : 1'000'000;
  std::mt19937_64 random(31);
  for (const CoreKernels* kernels : all_kernels()) {
    const auto check = [&](const std::vector<int32_t>& a, const std::vector<int32_t>& b) {
      std::vector<int32_t> product(a.size());
      kernels->multiply(a.data(), b.data(), product.data(), static_cast<int>(a.size()));
      for (size_t i = 0; i < a.size(); ++i) {
        ASSERT_EQ(product[i], mul_q31(a[i], b[i])) << a[i] << " " << b[i];
      }
    };
    const std::vector<int32_t> edges = edge_values();
    for (const int32_t b : edges) check(edges, std::vector<int32_t>(edges.size(), b));
    std::vector<int32_t> a(4096);
    std::vector<int32_t> b(4096);
    for (long long done = 0; done < pairs; done += 4096) {
      for (size_t i = 0; i < a.size(); ++i) {
        const uint64_t bits = random();
        a[i] = static_cast<int32_t>(bits);
        b[i] = static_cast<int32_t>(bits >> 32) >> (i % 31);
      }
      check(a, b);
    }
  }
}

TEST(FixedPoint, SaturatesAndWrapsAtTheEdges) {
  EXPECT_EQ(add_saturating(kInt32Max, 1), kInt32Max);
  EXPECT_EQ(add_saturating(kInt32Min, -1), kInt32Min);
  EXPECT_EQ(sub_saturating(kInt32Min, 1), kInt32Min);
  EXPECT_EQ(sub_saturating(0, kInt32Min), kInt32Max);
  EXPECT_EQ(shift_left_saturating(1, 31), kInt32Max);
  EXPECT_EQ(shift_left_saturating(-1, 31), kInt32Min);
  EXPECT_EQ(shift_left_saturating(-2, 31), kInt32Min);
  EXPECT_EQ(add_wrapping(kInt32Max, 1), kInt32Min);
  EXPECT_EQ(sub_wrapping(kInt32Min, 1), kInt32Max);
  EXPECT_EQ(shift_left_wrapping(3, 31), kInt32Min);
}

TEST(FixedPoint, ScalesByQuarterStepsAndSilencesSenselessScales) {
  for (const int32_t v : {1 << 20, -(1 << 20), 1, -1, 0, kInt32Max, kInt32Min}) {
    for (int exponent = -140; exponent <= 140; ++exponent) {
      const int shift = exponent > 0 ? (exponent + 3) / 4 : -exponent / 4;
      double expected = shift >= 32 ? 0 : v * std::exp2(exponent / 4.0);
      // What saturates does so before the quarter steps.
      const double limit = 2147483648.0 * std::exp2(-((-exponent) & 3) / 4.0);
      expected = std::clamp(expected, -limit, limit);
      ASSERT_NEAR(scale_by_quarter_steps(v, exponent), expected, 5) << v << " " << exponent;
    }
  }
  for (const int exponent : {-7000, 7000, -128, 125}) EXPECT_EQ(scale_by_quarter_steps(99, exponent), 0);
}

}  // namespace
}  // namespace zdr::aacdec
