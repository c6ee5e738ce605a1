// The kernels at the edges that whole frames don't reach. (Their transforms are held against sums, and their
// forms against each other, in core_synthesis_test.cpp.)
#include "aacdec/core/core_kernels.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <vector>

#include "aacdec/fixed/cpu.h"
#include "aacdec/fixed/fixed_lanes.h"
#include "aacdec/fixed/fixed_point.h"

namespace zdr::aacdec {
namespace {

using Values = std::vector<int32_t>;

std::vector<const CoreKernels*> all_kernels() {
  std::vector<const CoreKernels*> kernels = {&kBaseCoreKernels};
#if defined(__x86_64__)
  if (use_wide_vectors()) kernels.push_back(&kAvx2CoreKernels);
#endif
  return kernels;
}

Values edge_values() {
  Values values = {0, kInt32Max, kInt32Min};
  for (int bit = 0; bit < 31; ++bit) {
    for (const int32_t offset : {-1, 0, 1}) {
      values.push_back((1 << bit) + offset);
      values.push_back(-(1 << bit) - offset);
    }
  }
  return values;
}

// The exact product less what the definition leaves out: the low halves' product and two fractions.
int32_t defined_product(int32_t a, int32_t b) {
  const auto a_bits = static_cast<uint64_t>(std::abs(int64_t{a}));
  const auto b_bits = static_cast<uint64_t>(std::abs(int64_t{b}));
  const uint64_t low = 65535;
  uint64_t product = a_bits * b_bits - (a_bits & low) * (b_bits & low);
  product -= ((a_bits & low) * (b_bits >> 16) * 2 & low) * 32768;
  product -= ((b_bits & low) * (a_bits >> 16) * 2 & low) * 32768;
  const auto magnitude = static_cast<uint32_t>(product >> 31);
  return static_cast<int32_t>((a < 0) != (b < 0) ? 0 - magnitude : magnitude);
}

TEST(CoreKernels, MultiplyAsDefined) {
  Values a;
  Values b;
  for (const int32_t left : edge_values()) {
    for (const int32_t right : edge_values()) {
      a.push_back(left);
      b.push_back(right);
    }
  }
  std::mt19937_64 random(31);
  while (a.size() < 1 << 20) {
    const uint64_t bits = random();
    a.push_back(static_cast<int32_t>(bits));
    b.push_back(static_cast<int32_t>(bits >> 32) >> (a.size() % 31));
  }
  for (size_t i = 0; i < a.size(); i += kLanes) {
    Values product(kLanes);
    store(product.data(), mul_q31(load(a.data() + i), load(b.data() + i)));
    for (size_t lane = 0; lane < kLanes; ++lane) {
      const int32_t left = a[i + lane];
      const int32_t right = b[i + lane];
      ASSERT_EQ(product[lane], defined_product(left, right)) << left << " " << right;
      ASSERT_EQ(aacdec::mul_q31(left, right), product[lane]) << left << " " << right;
    }
  }
}

TEST(CoreKernels, PutSamplesRoundsAndRequiredStopsOneAboveTheLeastSample) {
  const Values overlap(16, 0);
  const Values time = {0,           15,          16,      -16,       -17,        47,
                       48,          -48,         -49,     32 * 7,    32767 * 32, 32767 * 32 + 16,
                       -32767 * 32, -32768 * 32, 1 << 25, -(1 << 25)};
  const std::vector<int16_t> expected = {0,  0, 1,     0,     -1,     1,      2,     -1,
                                         -2, 7, 32767, 32767, -32767, -32767, 32767, -32767};
  for (const CoreKernels* kernels : all_kernels()) {
    std::vector<int16_t> pcm(16);
    kernels->put_samples(overlap.data(), time.data(), 16, pcm.data(), 1);
    EXPECT_EQ(pcm, expected);
  }
}

}  // namespace
}  // namespace zdr::aacdec
