// The edges of the spectral tools that random frames don't reach, and noise substitution.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "aacdec/core_synthesis.h"
#include "aacdec/dequantiser.h"
#include "aacdec/noise_shaping.h"
#include "aacdec/noise_substitution.h"
#include "aacdec/stereo_tools.h"

namespace zdr::aacdec {
namespace {

TEST(Dequantiser, FollowsThePowerLaw) {
  EXPECT_EQ(dequantise_value(1, 144), 16384);
  EXPECT_EQ(dequantise_value(-1, 144), -16384);
  for (int q = 1; q <= kMaxQuantised; ++q) {
    for (const int sf : {60, 93, 94, 95, 100, 101, 120}) {
      const double exact = std::pow(q, 4.0 / 3) * 8 * std::exp2((sf - 100) / 4.0);
      // Cut and multiplied, and 4e-6 of the value off where the power is interpolated.
      ASSERT_NEAR(dequantise_value(q, sf), exact, 5 + exact * 4e-6) << q << " " << sf;
      ASSERT_EQ(dequantise_value(-q, sf), -dequantise_value(q, sf));
    }
  }
}

struct ScaleCase {
  int q;
  int scale_factor;
  int32_t expected;
};

TEST(Dequantiser, SaturatesUntilTheShiftLeavesTheWord) {
  const ScaleCase cases[] = {
      {1, 16, 0},
      {1, 15, 0},
      {255, -7000, 0},
      {1, 268, 0x7FFFFFFF},
      {1, 269, 0},
      {1, 7000, 0},
      {8191, 232, 0x7FFFFFFF},
      {8191, 233, 0},
      {256, 300, 0},
      {8191, -7000, 0},
      {0, 200, 0},
  };
  for (const ScaleCase& c : cases) {
    EXPECT_EQ(dequantise_value(c.q, c.scale_factor), c.expected) << c.q << " " << c.scale_factor;
  }
}

TEST(Dequantiser, ScaleThatIsTooLargeForALargeValueSilencesTheBand) {
  ChannelStream channel;
  const ScaleFactorBands bands = scale_factor_bands(4, false);
  channel.ics.band_count = static_cast<uint8_t>(bands.count);
  channel.ics.max_sfb = 2;
  channel.codebook[0] = channel.codebook[1] = 11;
  channel.scale[0] = channel.scale[1] = 236;
  std::vector<int16_t> quantised(kFrameLength, 1);
  quantised[2] = 256;
  std::vector<int32_t> lines(kFrameLength, 77);
  ASSERT_TRUE(dequantise(channel, bands, quantised.data(), lines.data()));
  for (int k = 0; k < 4; ++k) EXPECT_EQ(lines[static_cast<size_t>(k)], 0);
  for (int k = 4; k < 8; ++k) EXPECT_EQ(lines[static_cast<size_t>(k)], 0x7FFFFFFF);
  for (size_t k = 8; k < kFrameLength; ++k) EXPECT_EQ(lines[k], 0);
}

double energy(const int32_t* lines, int count) {
  double sum = 0;
  for (int i = 0; i < count; ++i) sum += static_cast<double>(lines[i]) * lines[i];
  return sum;
}

TEST(NoiseSubstitution, HasTheEnergyOfTheBand) {
  uint32_t state = 0;
  std::vector<int32_t> lines(96);
  for (const int width : {4, 8, 12, 28, 32, 96}) {
    for (int noise_energy = 40; noise_energy <= 90; ++noise_energy) {
      substitute_noise(state, noise_energy, lines.data(), width);
      const double expected = 8 * std::exp2(noise_energy / 4.0);
      EXPECT_NEAR(std::sqrt(energy(lines.data(), width)) / expected, 1, 2e-3) << width << " " << noise_energy;
    }
  }
  // One step of the generator a line.
  state = 5;
  substitute_noise(state, 60, lines.data(), 3);
  uint32_t expected = 5;
  for (int i = 0; i < 3; ++i) expected = expected * 1664525U + 1013904223U;
  EXPECT_EQ(state, expected);
  // Senseless energies saturate or vanish.
  for (const int noise_energy : {-7000, -300, 150, 300, 7000}) {
    substitute_noise(state, noise_energy, lines.data(), 96);
    EXPECT_EQ(energy(lines.data(), 96) > 0, noise_energy == 150) << noise_energy;
  }
}

struct NoisePair {
  NoisePair() {
    state->reset();
    frame->channel_count = 2;
    frame->is_pair = true;
    frame->pair.common_window = true;
    frame->pair.ms_mask_present = 2;
    for (ChannelStream& channel : frame->channel) {
      channel.ics.band_count = static_cast<uint8_t>(bands.count);
      channel.ics.max_sfb = 20;
      channel.uses_noise = true;
      std::fill_n(channel.codebook, 20, kNoiseBook);
      std::fill_n(channel.scale, 20, int16_t{60});
    }
  }
  ScaleFactorBands bands = scale_factor_bands(4, false);
  std::unique_ptr<Frame> frame = std::make_unique<Frame>();
  std::unique_ptr<CoreState> state = std::make_unique<CoreState>();
};

TEST(NoiseSubstitution, RequiredChannelsDrawApartFromEqualStates) {
  NoisePair pair;
  const auto& spectrum = pair.frame->spectrum;
  ASSERT_TRUE(reconstruct_spectra(*pair.frame, {4, kProfileLc}, *pair.state));
  // Both generators start from 0, so that the first frame's noise is the same in both channels.
  EXPECT_TRUE(std::equal(spectrum[0], spectrum[0] + kFrameLength, spectrum[1]));
  // Once one of them has drawn more they differ for good, also where the pair says that noise is common.
  pair.frame->channel[1].codebook[3] = kZeroBook;
  ASSERT_TRUE(reconstruct_spectra(*pair.frame, {4, kProfileLc}, *pair.state));
  EXPECT_TRUE(std::equal(spectrum[0], spectrum[0] + 8, spectrum[1]));
  EXPECT_FALSE(std::equal(spectrum[0] + 20, spectrum[0] + 24, spectrum[1] + 20));
  // Mid/side leaves noise alone: the level is the band's.
  EXPECT_NEAR(std::sqrt(energy(spectrum[0] + 4, 4)), 8 * 32768, 500);
}

TEST(NoiseSubstitution, TakesTheBandFromPrediction) {
  NoisePair pair;
  ChannelStream& channel = pair.frame->channel[0];
  channel.ltp.present = true;
  std::fill_n(channel.ltp.long_used, kMaxLtpBands, true);
  channel.codebook[5] = kZeroBook;
  ASSERT_TRUE(reconstruct_spectra(*pair.frame, {4, kProfileLtp}, *pair.state));
  for (int sfb = 0; sfb < 20; ++sfb) EXPECT_EQ(channel.ltp.long_used[sfb], sfb == 5) << sfb;
}

struct StereoCase {
  const char* name;
  int first_book, second_book, ms_mask_present, ms_used;
  int32_t left, right;  // from 1000 and 200
  int position = 4;     // of intensity
};

TEST(StereoTools, DecideByBandAndMask) {
  const StereoCase cases[] = {
      {"MidSideByBand", 11, 11, 1, 1, 1200, 800},
      {"BandNotMarked", 11, 11, 1, 0, 1000, 200},
      {"AllBands", 11, 11, 2, 0, 1200, 800},
      {"NoMask", 11, 11, 0, 0, 1000, 200},
      {"ReservedMaskIsNone", 11, 11, 3, 0, 1000, 200},
      {"SilentSide", 11, 0, 2, 0, 1200, 800},
      {"NoiseInTheFirst", 13, 11, 2, 0, 1000, 200},
      {"NoiseInTheSecond", 11, 13, 1, 1, 1000, 200},
      {"IntensityInPhase", 11, 15, 0, 0, 1000, 500},
      {"IntensityOutOfPhase", 11, 14, 0, 0, 1000, -500},
      {"IntensityInverted", 11, 15, 1, 1, 1000, -500},
      {"IntensityInvertedTwice", 11, 14, 1, 1, 1000, 500},
      {"MaskOfAllBandsInvertsNothing", 11, 15, 2, 0, 1000, 500},
      {"IntensityFarToTheRight", 11, 15, 0, 0, 1000, 0x7FFFFFFF, -124},
      {"IntensityFurtherThanAWord", 11, 15, 0, 0, 1000, 0, -125},
      {"IntensityFarToTheLeft", 11, 14, 0, 0, 1000, -2, 33},
      {"IntensityWithoutLevel", 11, 15, 0, 0, 1000, 0, 128},
      {"IntensityWithoutAnySense", 11, 15, 0, 0, 1000, 0, 32767},
      {"IntensityBookInTheFirstChannelSaysNothing", 15, 11, 0, 0, 1000, 200},
  };
  const ScaleFactorBands bands = scale_factor_bands(4, false);
  const auto frame = std::make_unique<Frame>();
  for (const StereoCase& c : cases) {
    SCOPED_TRACE(c.name);
    frame->pair.common_window = true;
    frame->pair.ms_mask_present = static_cast<uint8_t>(c.ms_mask_present);
    frame->pair.ms_used[0] = static_cast<uint8_t>(c.ms_used);
    for (int i = 0; i < 2; ++i) {
      frame->channel[i].ics.max_sfb = 1;
      frame->channel[i].codebook[0] = static_cast<uint8_t>(i == 0 ? c.first_book : c.second_book);
      frame->channel[i].scale[0] = static_cast<int16_t>(c.position);
      std::fill_n(frame->spectrum[i], 4, i == 0 ? 1000 : 200);
    }
    apply_mid_side(*frame, bands);
    apply_intensity(*frame, bands);
    for (int k = 0; k < 4; ++k) {
      EXPECT_EQ(frame->spectrum[0][k], c.left);
      EXPECT_EQ(frame->spectrum[1][k], c.right);
    }
  }
}

TEST(NoiseShaping, SaturatesWhereAFilterRunsAway) {
  // The steepest predictor there is, over full-scale lines of alternating sign.
  ChannelStream channel;
  channel.ics.band_count = 49;
  channel.ics.max_sfb = 49;
  channel.tns.present = true;
  TnsWindow& window = channel.tns.window[0];
  window.filter_count = 1;
  window.resolution = 4;
  window.filter[0].length = 49;
  window.filter[0].order = kMaxTnsOrder;
  std::fill_n(window.filter[0].coefficient, kMaxTnsOrder, int8_t{-8});
  std::vector<int32_t> scratch(kShapingScratch);
  for (const Shaping direction : {Shaping::kSynthesis, Shaping::kAnalysis}) {
    std::vector<int32_t> lines(kFrameLength, 0x7FFFFFFF);
    shape_noise(channel, {4, kProfileLc}, direction, lines.data(), scratch.data());
    EXPECT_EQ(*std::max_element(lines.begin(), lines.end()), 0x7FFFFFFF);
    // Lines above the bands that may be shaped stay as they are.
    EXPECT_EQ(lines[1023], 0x7FFFFFFF);
    EXPECT_NE(lines[1], lines[100]);
  }
}

}  // namespace
}  // namespace zdr::aacdec
