// The conversion to 8 and 16 kHz: which rates are converted, and the resampler against an ideal spline in
// double precision.
#include "aacdec/resampler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "aacdec/output_rate.h"
#include "aacdec/syntax/sampling_rates.h"

namespace zdr::test {
namespace {

using namespace aacdec;

// The rate that each class converts to 8 kHz.
constexpr int kInputHz[] = {0, 16000, 32000, 11025, 22050, 44100, 12000, 24000, 48000};
constexpr int kEmphasis[] = {0, 3277, 983, 9830, 1966, 655, 7864, 1638, 492};
constexpr int kFrame = 1024;

constexpr double ratio_of(int resampling_class) {
  return kInputHz[resampling_class] / 8000.0;
}

// A rate below 16 kHz reaches 16 kHz by SBR doubling, even if the stream signals single-rate SBR.
TEST(OutputRate, IsConvertedTo8And16KilohertzWhereARatioExists) {
  for (const int32_t core_hz : kSamplingRates) {
    for (const int32_t requested_hz : {8000, 16000}) {
      const int multiplier = requested_hz == 16000 && core_hz < 16000 ? 2 : 1;
      const int input_hz = multiplier * core_hz / (requested_hz / 8000);
      const auto* const found = std::find(kInputHz + 1, kInputHz + 9, input_hz);
      for (const bool single_rate : {false, true}) {
        const OutputRate rate = choose_output_rate(core_hz, requested_hz, single_rate);
        EXPECT_EQ(rate.multiplier, multiplier) << core_hz << " to " << requested_hz;
        EXPECT_EQ(rate.resampling_class, (found - kInputHz) % 9) << core_hz << " to " << requested_hz;
      }
    }
  }
}

using Samples = std::vector<int16_t>;

// Resamples block by block; each block must yield all output samples up to its end.
Samples resample_blocks(int resampling_class, const Samples& input, size_t block, size_t stride) {
  Samples output;
  ResamplerState state;
  for (size_t at = 0; at < input.size(); at += block) {
    const size_t count = std::min(block, input.size() - at);
    Samples buffer(count * stride, 4711);
    for (size_t i = 0; i < count; ++i) buffer[i * stride] = input[at + i];
    const int written =
        resample(state, resampling_class, buffer.data(), static_cast<int>(count), static_cast<int>(stride));
    for (size_t i = 0; i < static_cast<size_t>(written); ++i) output.push_back(buffer[i * stride]);
    const double expected = static_cast<double>(at + count) / ratio_of(resampling_class);
    EXPECT_NEAR(static_cast<double>(output.size()), expected + 0.5, 0.501);
    EXPECT_TRUE(stride == 1 || buffer[1] == 4711);
  }
  return output;
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
    // Compares whole frames with blocks of another length.
    const Samples output = resample_blocks(c, input, kFrame, 2);
    EXPECT_EQ(resample_blocks(c, input, 7, 1), output) << c;
    double before = 0;
    for (size_t n = 0; n < output.size(); ++n) {
      const double y = ideal_spline(input, static_cast<double>(n) * ratio_of(c));
      const double expected = y + (y - before) * kEmphasis[c] / 32768;
      // Errors of up to 4 / 32768 in the weights, at samples of 20000, and two truncations.
      ASSERT_NEAR(output[n], expected, 9) << c << " " << n;
      before = output[n];
    }
  }
}

TEST(Resampler, KeptReachesTheSmallestSampleAndPreservesAConstant) {
  for (int c = 1; c <= kResamplerClasses; ++c) {
    // About a minute, over which the position must not drift.
    EXPECT_EQ(resample_blocks(c, Samples(3000 * kFrame, 1234), 1000 * kFrame, 1).back(), 1234) << c;
    Samples edge(kFrame, 32767);
    edge.insert(edge.end(), kFrame, int16_t{-32768});
    const Samples steep = resample_blocks(c, edge, kFrame, 1);
    EXPECT_EQ(*std::min_element(steep.begin(), steep.end()), -32768) << c;
    EXPECT_EQ(*std::max_element(steep.begin(), steep.end()), 32767) << c;
  }
}

}  // namespace
}  // namespace zdr::test
