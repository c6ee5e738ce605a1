// The multiplication and its helpers: against what they are defined to be, and every form against the others.
#include "aacdec/fixed_point.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <random>
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

TEST(MulQ31, IsTheSameInEveryForm) {
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
    for (int round = 0; round < 250; ++round) {
      for (size_t i = 0; i < a.size(); ++i) {
        const uint64_t bits = random();
        a[i] = static_cast<int32_t>(bits);
        b[i] = static_cast<int32_t>(bits >> 32) >> (i % 31);
      }
      check(a, b);
    }
  }
}

}  // namespace
}  // namespace zdr::aacdec
