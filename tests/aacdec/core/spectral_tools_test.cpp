// Noise substitution, and edge cases of the spectral tools that real frames do not reach.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <random>
#include <span>
#include <vector>

#include "aacdec/core/core_kernels_lanes.h"
#include "aacdec/core/core_synthesis.h"
#include "aacdec/core/dequantiser.h"
#include "aacdec/core/noise_shaping.h"
#include "aacdec/core/noise_substitution.h"
#include "aacdec/core/sample_order.h"
#include "aacdec/core/stereo_tools.h"
#include "aacdec/fixed/cpu.h"
#include "aacdec/fixed/fixed_point.h"
#include "aacdec/fixed/magnitude.h"

namespace zdr::test {
namespace {

using namespace aacdec;

TEST(Dequantiser, FollowsThePowerLawUntilTheShiftOverflows) {
  for (int q = 1; q <= kMaxQuantised; ++q) {
    for (const int sf : {60, 93, 94, 95, 100, 101, 120}) {
      const double exact = std::pow(q, 4.0 / 3) * 8 * std::exp2((sf - 100) / 4.0);
      // The errors of truncation and multiplication, and 4e-6 of the value where the power is interpolated.
      ASSERT_NEAR(dequantise_value(q, sf), exact, 5 + exact * 4e-6) << q << " " << sf;
      ASSERT_EQ(dequantise_value(-q, sf), -dequantise_value(q, sf));
    }
  }
  struct Case {
    int q, scale_factor;
    int32_t expected;
  };
  const Case cases[] = {{1, 144, 16384},     {1, 16, 0},    {1, 15, 0},       {255, -7000, 0},
                        {1, 268, kInt32Max}, {1, 269, 0},   {1, 7000, 0},     {8191, 232, kInt32Max},
                        {8191, 233, 0},      {256, 300, 0}, {8191, -7000, 0}, {0, 200, 0}};
  for (const Case& c : cases) {
    EXPECT_EQ(dequantise_value(c.q, c.scale_factor), c.expected) << c.q << " " << c.scale_factor;
  }
}

TEST(Dequantiser, RefusesValuesFrom8192AndSilencesBandsWithTooLargeAScale) {
  ChannelStream channel{};
  channel.ics.band_count = 49;
  channel.ics.max_sfb = 2;
  channel.codebook[0] = channel.codebook[1] = 11;
  channel.scale[0] = channel.scale[1] = 236;
  std::vector<int16_t> quantised(kFrameLength, 1);
  std::vector<int32_t> lines(kFrameLength, 77);
  for (const int value : {8191, -8191, 8192, -8192, 32767, -32768, 256}) {
    quantised[2] = static_cast<int16_t>(value);
    const bool is_valid = dequantise(channel, scale_factor_bands(4, false), quantised.data(), lines.data());
    EXPECT_EQ(is_valid, std::abs(value) <= 8191) << value;
  }
  for (size_t k = 0; k < kFrameLength; ++k) EXPECT_EQ(lines[k], k / 4 == 1 ? kInt32Max : 0) << k;
}

double level(const int32_t* lines, int count) {
  double sum = 0;
  for (int i = 0; i < count; ++i) sum += static_cast<double>(lines[i]) * lines[i];
  return std::sqrt(sum);
}

TEST(FixedLanes, MultiplyLikeTheScalarFunction) {
  constexpr int32_t kFactors[] = {kInt32Min, kInt32Min + 1, -98305, -65536,   -1, 0,
                                  1,         32768,         65535,  kInt32Max};
  for (const int32_t a : kFactors) {
    for (const int32_t b : kFactors) {
      if (b == kInt32Min) continue;
      const Lanes product = mul_q31(broadcast(a), broadcast(b));
      for (const int number : {0, 3, 4, 7}) {  // both ends of each half
        EXPECT_EQ(static_cast<int32_t>(lane(product, number)), mul_q31(a, b)) << a << " " << b;
      }
    }
  }
}

// The products of normal values have a form of their own.
// A block of `time`, its windowed samples and, after them, its new overlap, from the DCT-IV `y` of its lines;
// `window` is of the samples in their order, for both halves.
std::vector<int32_t> windowed_plainly(const std::vector<int32_t>& y, const std::vector<int32_t>& window) {
  std::vector<int32_t> time(2 * kFrameLength);
  const auto put = [&](int n, int32_t w, uint32_t value) {
    const int32_t shifted = static_cast<int32_t>(value) >> 8;
    const auto size = static_cast<int32_t>(int64_t{std::abs(shifted)} * w >> 15);
    time[static_cast<size_t>(n)] = shifted < 0 ? -size : size;
  };
  const auto line = [&](int n) { return static_cast<uint32_t>(y[static_cast<size_t>(n)]); };
  constexpr int kHalf = kFrameLength / 2;
  for (int n = 0; n < kFrameLength; ++n) {
    put(n, window[static_cast<size_t>(n)],
        n < kHalf ? line(kHalf + n) : 0 - line(kFrameLength + kHalf - 1 - n));
    put(kFrameLength + n, window[static_cast<size_t>(kFrameLength - 1 - n)],
        0 - (n < kHalf ? line(kHalf - 1 - n) : line(n - kHalf)));
  }
  return time;
}

TEST(Transforms, HaveTheSameArithmeticForLinesOfAnyMagnitude) {
  std::mt19937 random(3);
  using Values = std::vector<int32_t>;
  Values in(kFrameLength), work(kTransformWork), expected_long(kFrameLength), expected_short(kFrameLength),
      out(kFrameLength), window(kFrameLength), ordered(kFrameLength);
  for (int32_t& w : window) w = static_cast<int32_t>(random() % 32769);
  SampleOrder::for_each([&](int place, int i) {
    ordered.data()[place] = static_cast<int32_t>(static_cast<uint32_t>(window.data()[i]) * 0x10001);
  });
  for (int shift = 0; shift < 32; ++shift) {
    for (int32_t& line : in) line = static_cast<int32_t>(random()) >> shift;
    if (shift == 0) in[8] = in[500] = kInt32Min;
    transform_long<GeneralProducts>(in.data(), work.data(), work.data() + kFrameLength);
    put_lines<GeneralProducts>(work.data(), expected_long.data());
    transform_short<GeneralProducts>(in.data(), work.data(), work.data() + kFrameLength);
    scatter_windows(work.data(), expected_short.data());
    for (const VectorLevel level : vector_levels()) {
      limit_vector_level(level);
      core_kernels().dct4_long(in.data(), out.data(), work.data());
      EXPECT_EQ(out, expected_long) << shift;
      core_kernels().dct4_short(in.data(), out.data(), work.data());
      EXPECT_EQ(out, expected_short) << shift;
      Values overlap(kFrameLength);
      std::vector<int16_t> pcm(kFrameLength);
      core_kernels().put_long_block(in.data(), {ordered.data(), ordered.data()}, overlap.data(), pcm.data(),
                                    1, work.data());
      const Values time = windowed_plainly(expected_long, window);
      SampleOrder::for_each([&](int place, int i) {
        ASSERT_EQ(pcm.data()[i], std::clamp((time.data()[i] + 16) >> 5, -32767, 32767)) << shift;
        ASSERT_EQ(overlap.data()[place], time.data()[kFrameLength + i]) << shift;
      });
    }
  }
}

// One line at a time.
void substitute_noise_plainly(uint32_t& state, int noise_energy, std::span<int32_t> lines) {
  uint64_t energy = 0;
  for (int32_t& line : lines) {
    state = state * 1664525 + 1013904223;
    line = static_cast<int32_t>(state) >> 16;
    energy += static_cast<uint64_t>(int64_t{line} * line);
  }
  const int shift = std::countl_zero(energy) / 2;
  const uint64_t inverse = (uint64_t{1} << 62) / integer_root(energy << (2 * shift));
  const int32_t root = saturate(static_cast<int64_t>(inverse));
  for (int32_t& line : lines) {
    line = scale_by_quarter_steps(mul_q31(line * 65536, root), noise_energy + 4 * (shift - 44));
  }
}

void expect_noise_of_every_energy(uint32_t state, int count) {
  uint32_t expected_state = state;
  std::vector<int32_t> lines(size_t(count) + 2, 77);
  std::vector<int32_t> expected = lines;
  // Energies that do not occur in streams saturate or vanish.
  for (const int e : {-7000, -300, 0, 40, 61, 82, 83, 90, 104, 112, 113, 114, 121, 150, 300, 7000}) {
    substitute_noise(state, e, lines.data() + 1, count);
    substitute_noise_plainly(expected_state, e, std::span(expected).subspan(1, size_t(count)));
    EXPECT_EQ(lines, expected) << count << " " << e;
    EXPECT_EQ(state, expected_state) << count << " " << e;
    const double norm = level(lines.data() + 1, count);
    if (e >= 40 && e <= 90) {
      EXPECT_NEAR(norm / (8 * std::exp2(e / 4.0)), 1, 2e-3) << count << " " << e;
    } else {
      EXPECT_EQ(norm > 0, e >= 0 && e <= 150) << count << " " << e;
    }
  }
}

TEST(NoiseSubstitution, HasTheEnergyOfTheBand) {
  constexpr uint32_t kBeforeLeast = 0xA5D60FE5;  // the first line is -32768 before it is scaled
  for (const VectorLevel vectors : vector_levels()) {
    limit_vector_level(vectors);
    for (const uint32_t state : {0U, kBeforeLeast}) {
      for (const int count : {4, 8, 12, 16, 20, 28, 96}) expect_noise_of_every_energy(state, count);
    }
  }
}

// A pair of noise bands only, with mid/side and prediction enabled.
TEST(NoiseSubstitution, KeptChannelsStartWithTheSameNoise) {
  const auto frame = std::make_unique<Frame>();
  const auto state = std::make_unique<CoreState>();
  state->reset();
  frame->channel_count = 2;
  frame->is_pair = frame->pair.common_window = true;
  frame->pair.ms_mask_present = 2;
  for (ChannelStream& channel : frame->channel) {
    channel.ics.band_count = channel.ics.max_sfb = 49;
    channel.uses_noise = true;
    std::ranges::fill(channel.codebook, uint8_t{kNoiseBook});
    std::ranges::fill(channel.scale, int16_t{60});
  }
  const auto& spectrum = frame->spectrum;
  ASSERT_TRUE(reconstruct_spectra(*frame, {4, kProfileLc}, *state));
  EXPECT_TRUE(std::equal(spectrum[0], spectrum[0] + kFrameLength, spectrum[1]));
  // Once one generator has drawn more, the channels differ, even if the pair declares common noise.
  ChannelStream& second = frame->channel[1];
  second.codebook[3] = kZeroBook;
  second.ltp.present = true;
  std::ranges::fill(second.ltp.long_used, true);
  ASSERT_TRUE(reconstruct_spectra(*frame, {4, kProfileLtp}, *state));
  EXPECT_TRUE(std::equal(spectrum[0], spectrum[0] + 8, spectrum[1]));
  EXPECT_FALSE(std::equal(spectrum[0] + 20, spectrum[0] + 24, spectrum[1] + 20));
  // Mid/side and prediction do not change noise: it has the level of its band.
  EXPECT_NEAR(level(spectrum[0] + 4, 4), 8 * 32768, 500);
  for (int sfb = 0; sfb < kMaxLtpBands; ++sfb) EXPECT_EQ(second.ltp.long_used[sfb], sfb == 3) << sfb;
}

TEST(StereoTools, ApplyByBandAndSaturate) {
  struct Case {
    int first_book, second_book, ms_mask_present, position;  // the position is that of intensity
    int32_t left_in, right_in, left, right;
  };
  const Case cases[] = {
      // Mid/side: a silent side, both ends of the range, and noise in either channel.
      {11, 0, 2, 4, 1000, 200, 1200, 800},
      {11, 11, 2, 0, kInt32Max, 3, kInt32Max, kInt32Max - 3},
      {11, 11, 2, 0, kInt32Min, 3, kInt32Min + 3, kInt32Min},
      {13, 11, 2, 4, 1000, 200, 1000, 200},
      {11, 13, 2, 4, 1000, 200, 1000, 200},
      // Intensity: ignored in the first channel, far to the right, beyond a word, far to the left, no level.
      {15, 11, 0, 4, 1000, 200, 1000, 200},
      {11, 15, 0, -124, 1000, 200, 1000, kInt32Max},
      {11, 15, 0, -125, 1000, 200, 1000, 0},
      {11, 14, 0, 33, 1000, 200, 1000, -2},
      {11, 15, 0, 128, 1000, 200, 1000, 0},
      {11, 15, 0, 32767, 1000, 200, 1000, 0},
  };
  // Twelve lines: one vector of eight and a remainder of four.
  constexpr int kBands = 3;
  constexpr int kLines = 12;
  const auto frame = std::make_unique<Frame>();
  for (const Case& c : cases) {
    frame->pair.ms_mask_present = static_cast<uint8_t>(c.ms_mask_present);
    for (int i = 0; i < 2; ++i) {
      ChannelStream& channel = frame->channel[i];
      channel.ics.max_sfb = kBands;
      std::fill_n(channel.codebook, kBands, static_cast<uint8_t>(i == 0 ? c.first_book : c.second_book));
      std::fill_n(channel.scale, kBands, static_cast<int16_t>(c.position));
      std::fill_n(frame->spectrum[i], kLines, i == 0 ? c.left_in : c.right_in);
    }
    apply_mid_side(*frame, scale_factor_bands(4, false));
    apply_intensity(*frame, scale_factor_bands(4, false));
    const auto& [left, right] = frame->spectrum;
    EXPECT_EQ(std::count(left, left + kLines, c.left), kLines) << &c - cases << ": " << left[0];
    EXPECT_EQ(std::count(right, right + kLines, c.right), kLines) << &c - cases << ": " << right[0];
  }
}

// y[n], or nothing if a line exceeds the limit.
std::vector<int64_t> sums_of_all_taps(const AllPoleRun& run) {
  const auto& [filter, lines] = run;
  std::vector<int64_t> y;
  for (int n = 0; n < lines.count; ++n) {
    int64_t sum = 0;
    for (int i = 0; i < std::min(n, AllPoleFilter::kTaps); ++i)
      sum += mul_q31(filter.a[i], static_cast<int32_t>(y.rbegin()[i]));
    y.push_back((int64_t{lines.in[n * lines.step]} << filter.shift) - (sum << filter.exponent));
    if (std::abs(y.back()) > filter.limit) return {};
  }
  return y;
}

// Two filters of different lengths, directions and exponents; the largest lines need more than a word.
TEST(NoiseShaping, FiltersLikeTheSumOfAllTaps) {
  std::mt19937 random(5);
  constexpr int kCount = 101;
  for (const int bits : {12, 24, 29, 31, 33}) {
    for (const int taps : {0, 1, 3, 5, 8, 9, 12}) {
      int32_t in[2][kCount], out[2][kCount];
      for (auto& lines : in) {
        for (int32_t& v : lines) v = static_cast<int32_t>(random()) >> (34 - bits);
      }
      AllPoleRun runs[2] = {
          {{{}, taps, 1, 0, kInt32Max}, {in[0], out[0], taps * 8, 1}},
          {{{}, 4, 3, 2, kInt32Max}, {in[1] + kCount - 1, out[1] + kCount - 1, kCount, -1}}};
      for (auto& [filter, lines] : runs) {
        for (int i = 0; i < filter.taps; ++i) filter.a[i] = static_cast<int32_t>(random()) >> 6;
      }
      for (const VectorLevel level : vector_levels()) {
        limit_vector_level(level);
        const auto expect_sums = [&](const AllPoleRun& run) {
          const std::vector<int64_t> y = sums_of_all_taps(run);
          const int half = (1 << run.filter.shift) / 2;
          ASSERT_EQ(static_cast<int>(y.size()), run.lines.count);
          for (int n = 0; n < run.lines.count; ++n)
            EXPECT_EQ(run.lines.out[n * run.lines.step], (y.data()[n] + half) >> run.filter.shift) << taps;
        };
        // The largest lines, scaled, are no input for a pair; those before them are always refused.
        const bool both = bits <= 31 && core_kernels().all_pole_pair(runs[0], runs[1]);
        EXPECT_TRUE(bits == 29 || both == (bits < 29)) << taps << " " << bits;
        if (both) std::ranges::for_each(runs, expect_sums);
        for (const AllPoleRun& run : runs) {
          const bool fits = core_kernels().all_pole(run);
          EXPECT_EQ(fits, run.lines.count == 0 || !sums_of_all_taps(run).empty()) << taps << " " << bits;
          if (fits) expect_sums(run);
        }
      }
    }
  }
}

// All lines look small if their sums wrap: the last one of the first case, the second one of the other.
TEST(NoiseShaping, RefusesPairsWhoseSumsWrap) {
  const struct {
    AllPoleFilter filter;
    int32_t lines[3];
  } cases[] = {{{{-kInt32Max, -kInt32Max}, 2, 0, 0, 1 << 30}, {1'000'000'000, 0, kInt32Max}},
               {{{-(1 << 30)}, 1, 3, 0, kInt32Max}, {(1 << 30) - 1, 0, 0}}};
  const AllPoleRun none = {{{}, 0, 0, 0, kInt32Max}, {nullptr, nullptr, 0, 1}};
  for (const auto& [filter, lines] : cases) {
    for (const VectorLevel level : vector_levels()) {
      limit_vector_level(level);
      int32_t out[3];
      EXPECT_FALSE(core_kernels().all_pole_pair(none, {filter, {lines, out, 3, 1}})) << filter.exponent;
    }
  }
}

// Runs the steepest possible predictor over full-scale lines, and in the same frame gentle ones over small
// lines, which are the same beside silence.
TEST(NoiseShaping, SaturatesWhereAFilterIsUnstable) {
  const auto frame = std::make_unique<Frame>();
  frame->channel_count = 2;
  for (ChannelStream& channel : frame->channel) {
    channel.ics.band_count = channel.ics.max_sfb = 49;
    channel.tns.present = true;
  }
  frame->channel[0].tns.window[0] = {
      1, 4, {{49, kMaxTnsOrder, false, {-8, -8, -8, -8, -8, -8, -8, -8, -8, -8, -8, -8}}}};
  frame->channel[1].tns.window[0] = {2, 4, {{30, 3, true, {5, -4, 2}}, {19, 9, false, {7, -6, 1, 1, 2}}}};
  std::vector<int32_t> scratch(kShapingScratch);
  std::vector<int32_t> beside_silence;
  for (const int32_t level : {0, kInt32Max}) {
    std::fill_n(frame->spectrum[0], kFrameLength, level);
    for (int i = 0; i < kFrameLength; ++i) frame->spectrum[1][i] = i * 7919 % 65536 - 32768;
    shape_noise(*frame, {4, kProfileLc}, scratch.data());
    if (level == 0) beside_silence.assign(frame->spectrum[1], frame->spectrum[1] + kFrameLength);
  }
  EXPECT_TRUE(std::ranges::equal(beside_silence, std::span(frame->spectrum[1], kFrameLength)));
  std::vector<int32_t> inverse(kFrameLength, kInt32Max);
  undo_noise_shaping(frame->channel[0], {4, kProfileLc}, inverse.data(), scratch.data());
  for (const int32_t* const lines : {frame->spectrum[0], inverse.data()}) {
    EXPECT_EQ(*std::max_element(lines, lines + kFrameLength), kInt32Max);
    // Lines above the bands that may be shaped are unchanged.
    EXPECT_EQ(lines[1023], kInt32Max);
    EXPECT_NE(lines[1], lines[100]);
  }
}

}  // namespace
}  // namespace zdr::test
