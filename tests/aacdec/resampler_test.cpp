// The resampler: counts, an ideal spline in double precision, its clamp.
#include "aacdec/resampler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace zdr::aacdec {
namespace {

constexpr double kRatio[] = {0, 2, 4, 1.378125, 2.75625, 5.5125, 1.5, 3, 6};
constexpr int kEmphasis[] = {0, 3277, 983, 9830, 1966, 655, 7864, 1638, 492};
constexpr int kFrame = 1024;

using Samples = std::vector<int16_t>;

// The output of every block, and how many samples each one gave.
struct Resampled {
  Samples output;
  std::vector<int> counts;
};

Resampled resample_blocks(int resampling_class, const Samples& input, size_t block, int stride) {
  Resampled result;
  ResamplerState state;
  for (size_t at = 0; at < input.size(); at += block) {
    const size_t count = std::min(block, input.size() - at);
    Samples buffer(count * static_cast<size_t>(stride), 4711);
    for (size_t i = 0; i < count; ++i) buffer[i * static_cast<size_t>(stride)] = input[at + i];
    const int written = resample(state, resampling_class, buffer.data(), static_cast<int>(count), stride);
    result.counts.push_back(written);
    for (int i = 0; i < written; ++i) result.output.push_back(buffer[static_cast<size_t>(i * stride)]);
    if (stride > 1) {
      EXPECT_EQ(buffer[1], 4711);
    }
  }
  return result;
}

TEST(Resampler, GivesTheCountsOfItsRatio) {
  const std::vector<int> expected[] = {
      {},
      {512, 512, 512, 512},
      {256, 256, 256, 256},
      {744, 743, 743, 743},
      {372, 372, 371, 372},
      {186, 186, 186, 186},
      {683, 683, 682, 683},
      {342, 341, 341, 342},
      {171, 171, 170, 171},
  };
  for (int c = 1; c <= kResamplerClasses; ++c) {
    const Resampled r = resample_blocks(c, Samples(4 * kFrame), kFrame, 1);
    EXPECT_EQ(r.counts, expected[c]) << c;
    const Resampled hours = resample_blocks(c, Samples(3000 * kFrame), kFrame, 1);
    EXPECT_NEAR(static_cast<double>(hours.output.size()), 3000 * kFrame / kRatio[c], 1) << c;
  }
}

double ideal_spline(const Samples& input, double position) {
  const auto p = static_cast<std::ptrdiff_t>(std::floor(position));
  const double t = position - static_cast<double>(p);
  const double weights[4] = {std::pow(1 - t, 3) / 6, (3 * t * t * t - 6 * t * t + 4) / 6,
                             (-3 * t * t * t + 3 * t * t + 3 * t + 1) / 6, t * t * t / 6};
  double sum = 0;
  for (int i = 0; i < 4; ++i) {
    const std::ptrdiff_t at = p - 3 + i;
    if (at >= 0) sum += weights[i] * input[static_cast<size_t>(at)];
  }
  return sum;
}

TEST(Resampler, FollowsTheSplineAndItsEmphasis) {
  std::mt19937 random(4);
  Samples input(5 * kFrame);
  for (int16_t& sample : input) sample = static_cast<int16_t>(static_cast<int>(random() % 40001) - 20000);
  for (int c = 1; c <= kResamplerClasses; ++c) {
    // Frames, and blocks of a length that no frame has.
    const Samples output = resample_blocks(c, input, kFrame, 2).output;
    EXPECT_EQ(resample_blocks(c, input, 7, 1).output, output) << c;
    double before = 0;
    for (size_t n = 0; n < output.size(); ++n) {
      const double y = ideal_spline(input, static_cast<double>(n) * kRatio[c]);
      const double expected = y + (y - before) * kEmphasis[c] / 32768;
      // Weights off by up to 4 / 32768 of samples of 20000, and two cuts.
      ASSERT_NEAR(output[n], expected, 9) << c << " " << n;
      before = output[n];
    }
  }
}

TEST(Resampler, KeepsAConstantAndRequiredReachesTheLeastSample) {
  for (int c = 1; c <= kResamplerClasses; ++c) {
    EXPECT_EQ(resample_blocks(c, Samples(2 * kFrame, 1234), kFrame, 1).output.back(), 1234) << c;
    Samples edge(kFrame, 32767);
    edge.insert(edge.end(), kFrame, int16_t{-32768});
    const Samples steep = resample_blocks(c, edge, kFrame, 1).output;
    EXPECT_EQ(*std::min_element(steep.begin(), steep.end()), -32768) << c;
    EXPECT_EQ(*std::max_element(steep.begin(), steep.end()), 32767) << c;
  }
}

}  // namespace
}  // namespace zdr::aacdec
