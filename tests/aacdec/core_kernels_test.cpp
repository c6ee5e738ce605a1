// The kernels against plain sums in double precision, and their forms against each other.
#include "aacdec/core_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "aacdec/cpu.h"
#include "aacdec/fixed_point.h"
#include "aacdec/tables/tools_tables.h"
#include "aacdec/tables/window_tables.h"
#include "tests/aacdec/reference_core.h"

namespace zdr::aacdec {
namespace {

using namespace test;

constexpr int kLines = 1024;

std::vector<int32_t> random_lines(std::mt19937& random, int32_t limit) {
  std::uniform_int_distribution<int32_t> value(-limit, limit);
  std::vector<int32_t> lines(kLines);
  for (int32_t& line : lines) line = value(random);
  return lines;
}

using Work = std::array<int32_t, kTransformWork>;

std::vector<int32_t> transformed(decltype(CoreKernels::dct4_long) transform, const std::vector<int32_t>& in) {
  Work work;
  std::vector<int32_t> out(kLines);
  transform(in.data(), out.data(), work.data());
  return out;
}

double dct4(const int32_t* in, int count, int n) {
  double sum = 0;
  for (int k = 0; k < count; ++k) {
    sum += in[k] * std::cos(std::numbers::pi / count * (n + 0.5) * (k + 0.5));
  }
  return sum;
}

TEST(CoreKernels, TransformsAgreeWithSums) {
  std::mt19937 random(1);
  const std::vector<int32_t> in = random_lines(random, 1 << 23);
  const auto long_out = transformed(kBaseKernels.dct4_long, in);
  const auto short_out = transformed(kBaseKernels.dct4_short, in);
  for (int n = 0; n < kLines; ++n) {
    const auto at = static_cast<size_t>(n);
    // Some forty products of at most two units each lie on the way of a value, more or less at random.
    EXPECT_NEAR(long_out[at], dct4(in.data(), kLines, n), 400) << n;
    const int window = n / 128;
    EXPECT_NEAR(short_out[at], 8 * dct4(in.data() + 128 * window, 128, n % 128), 200) << n;
  }
  auto in_place = in;
  Work work;
  kBaseKernels.dct4_long(in_place.data(), in_place.data(), work.data());
  EXPECT_EQ(in_place, long_out);
}

TEST(CoreKernels, WindowsFoldOutTheInverseTransform) {
  std::mt19937 random(2);
  for (const int length : {kLines, 128}) {
    std::vector<int32_t> lines = random_lines(random, 1 << 20);
    lines.resize(static_cast<size_t>(length));
    const Lines exact = inverse_transform(Lines(lines.begin(), lines.end()));
    std::vector<int32_t> y(lines.size());
    for (int n = 0; n < length; ++n) {
      y[static_cast<size_t>(n)] = static_cast<int32_t>(dct4(lines.data(), length, n));
    }
    const uint16_t* const window = length == kLines ? kLongKbdWindow.value : kShortSineWindow.value;
    std::vector<int32_t> rise(y.size());
    std::vector<int32_t> fall(y.size());
    kBaseKernels.window_rise(y.data(), length, window, rise.data());
    kBaseKernels.window_fall(y.data(), length, window, fall.data());
    for (size_t n = 0; n < y.size(); ++n) {
      const double scale = length / 256.0 / 32768;
      EXPECT_NEAR(rise[n], exact[n] * scale * window[n], 2) << n;
      EXPECT_NEAR(fall[n], exact[y.size() + n] * scale * window[y.size() - 1 - n], 2) << n;
    }
  }
}

TEST(CoreKernels, PutSamplesRoundsAndCutsSymmetrically) {
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

TEST(CoreKernels, AttenuateCutsTowardsZero) {
  const std::vector<int32_t> in = {0, 1, -1, 7, -7, kInt32Max, kInt32Min, 1000, -1000, 3, 4, 5};
  for (const int steps : {0, 1, 2, 3}) {
    for (const int shift : {0, 1, 5, 31}) {
      for (const bool negate : {false, true}) {
        std::vector<int32_t> out(in.size());
        kBaseKernels.attenuate(in.data(), out.data(), 12, shift, steps == 0 ? 0 : kQuarterSteps[steps],
                               negate);
        for (size_t i = 0; i < in.size(); ++i) {
          const int32_t v = scale_by_quarter_steps(std::max(in[i], -kInt32Max), -(4 * shift + steps));
          EXPECT_EQ(out[i], negate ? -v : v) << in[i] << " " << shift << " " << steps;
        }
      }
    }
  }
}

// Taps that fall off, as those of a stable filter do.
AllPoleFilter decaying_filter(int32_t limit) {
  AllPoleFilter filter = {};
  for (int i = 0; i < 12; ++i) filter.a[i] = (i % 3 == 0 ? -1 : 1) * (1'100'000'000 >> i);
  filter.exponent = 1;
  filter.shift = 3;
  filter.limit = limit;
  return filter;
}

TEST(CoreKernels, AllPoleFilterIsItsSumUpToItsLimit) {
  std::mt19937 random(5);
  const std::vector<int32_t> in = random_lines(random, 1 << 20);
  const AllPoleFilter filter = decaying_filter(1 << 28);
  std::vector<int32_t> out(kLines);
  ASSERT_TRUE(kBaseKernels.all_pole(filter, in.data(), kLines, out.data()));
  for (size_t n = 0; n < kLines; ++n) {
    int64_t sum = 0;
    for (size_t i = 0; i < 12 && i < n; ++i) sum += mul_q31(filter.a[i], out[n - 1 - i]);
    ASSERT_EQ(out[n], in[n] * 8 - 2 * sum) << n;
  }
  const int32_t largest = std::abs(*std::max_element(
      out.begin(), out.end(), [](int32_t a, int32_t b) { return std::abs(a) < std::abs(b); }));
  EXPECT_TRUE(kBaseKernels.all_pole(decaying_filter(largest), in.data(), kLines, out.data()));
  EXPECT_FALSE(kBaseKernels.all_pole(decaying_filter(largest - 1), in.data(), kLines, out.data()));
}

// Every result of one set of kernels for the same input.
std::vector<std::vector<int32_t>> all_results(const CoreKernels& kernels, const std::vector<int32_t>& a,
                                              const std::vector<int32_t>& b) {
  std::vector<std::vector<int32_t>> results = {transformed(kernels.dct4_long, a),
                                               transformed(kernels.dct4_short, b)};
  for (const int length : {kLines, 128}) {
    const uint16_t* const window = length == kLines ? kLongSineWindow.value : kShortKbdWindow.value;
    std::vector<int32_t> half(static_cast<size_t>(length));
    kernels.window_rise(a.data(), length, window, half.data());
    results.push_back(half);
    kernels.window_fall(b.data(), length, window, half.data());
    results.push_back(half);
  }
  results.push_back(a);
  results.push_back(b);
  kernels.mid_side(results[6].data(), results[7].data(), kLines - 4);
  std::vector<int32_t> attenuated(kLines);
  kernels.attenuate(a.data(), attenuated.data(), kLines - 4, 3, kQuarterSteps[1], true);
  results.push_back(attenuated);
  std::vector<int16_t> pcm(kLines);
  kernels.put_samples(results[2].data(), results[3].data(), kLines, pcm.data(), 1);
  results.emplace_back(pcm.begin(), pcm.end());
  std::vector<int32_t> filtered(kLines);
  results.push_back({kernels.all_pole(decaying_filter(1 << 28), a.data(), kLines, filtered.data())});
  if (results.back().front() != 0) results.push_back(filtered);
  return results;
}

TEST(CoreKernels, FormsAreEqualToTheBit) {
#if defined(__x86_64__)
  if (use_wide_vectors()) {
    std::mt19937 random(3);
    for (int shift = 0; shift < 31; ++shift) {
      const auto a = random_lines(random, kInt32Max >> shift);
      auto b = random_lines(random, kInt32Max >> shift);
      b[0] = kInt32Min;
      EXPECT_EQ(all_results(kBaseKernels, a, b), all_results(kWideKernels, a, b)) << shift;
    }
  }
#endif
}

TEST(CoreTables, AgreeWithTheirFormulas) {
  for (int n = 0; n < kLines; ++n) {
    const double sine = std::sin(std::numbers::pi / 2048 * (n + 0.5));
    ASSERT_EQ(kLongSineWindow.value[n], std::min(32767, static_cast<int>(std::lround(sine * 32768)))) << n;
  }
  const Lines kbd = long_block_window(WindowSequence::kOnlyLong, 1, 1);
  const Lines short_kbd = long_block_window(WindowSequence::kLongStop, 1, 1);
  for (size_t n = 0; n < kLines; ++n) {
    ASSERT_NEAR(kLongKbdWindow.value[n], std::min(32767.0, kbd[n] * 32768), 0.5001) << n;
  }
  for (size_t n = 0; n < 128; ++n) {
    ASSERT_NEAR(kShortKbdWindow.value[n], std::min(32767.0, short_kbd[448 + n] * 32768), 0.5001) << n;
  }
  for (int i = 0; i < kDynamicRangeGains; ++i) {
    const double gain = std::exp2(18 + i / 6.0);
    EXPECT_NEAR(dynamic_range_gain(i), gain, 1 + 1e-7 * gain) << i;
  }
  EXPECT_EQ(dynamic_range_gain(73), 1205234411);
}

}  // namespace
}  // namespace zdr::aacdec
