// The edges of the kernels that whole frames don't reach. (Their transforms are held against sums, and their
// forms against each other, in core_synthesis_test.cpp.)
#include "aacdec/core_kernels.h"

#include <gtest/gtest.h>

#include <vector>

#include "aacdec/fixed_point.h"

namespace zdr::aacdec {
namespace {

TEST(CoreKernels, PutSamplesRoundsAndRequiredStopsOneAboveTheLeastSample) {
  std::vector<int32_t> overlap(16, 0);
  std::vector<int32_t> time = {0,           15,          16,      -16,       -17,        47,
                               48,          -48,         -49,     32 * 7,    32767 * 32, 32767 * 32 + 16,
                               -32767 * 32, -32768 * 32, 1 << 25, -(1 << 25)};
  const std::vector<int16_t> expected = {0,  0, 1,     0,     -1,     1,      2,     -1,
                                         -2, 7, 32767, 32767, -32767, -32767, 32767, -32767};
  for (const int stride : {1, 2}) {
    std::vector<int16_t> pcm(static_cast<size_t>(16 * stride), 55);
    kBaseKernels.put_samples(overlap.data(), time.data(), 16, pcm.data(), stride);
    for (size_t i = 0; i < pcm.size(); ++i) {
      const auto step = static_cast<size_t>(stride);
      EXPECT_EQ(pcm[i], i % step == 0 ? expected[i / step] : 55) << i;
    }
  }
}

TEST(CoreKernels, MidSideSaturates) {
  // Twelve values: a vector of eight and a rest of four.
  std::vector<int32_t> left(12, 5);
  std::vector<int32_t> right(12, 3);
  left[1] = left[10] = kInt32Max;
  left[2] = left[11] = kInt32Min;
  kBaseKernels.mid_side(left.data(), right.data(), 12);
  EXPECT_EQ(left, (std::vector<int32_t>{8, kInt32Max, kInt32Min + 3, 8, 8, 8, 8, 8, 8, 8, kInt32Max,
                                        kInt32Min + 3}));
  EXPECT_EQ(right, (std::vector<int32_t>{2, kInt32Max - 3, kInt32Min, 2, 2, 2, 2, 2, 2, 2, kInt32Max - 3,
                                         kInt32Min}));
}

}  // namespace
}  // namespace zdr::aacdec
