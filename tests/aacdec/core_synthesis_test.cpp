// The whole core against the double-precision model, and the limits of its output.
#include "aacdec/core_synthesis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <string>

#include "aacdec/cpu.h"
#include "tests/aacdec/random_frame.h"
#include "tests/aacdec/reference_core.h"

namespace zdr::aacdec {
namespace {

using namespace test;

struct Decoder {
  Decoder() { state->reset(); }

  std::vector<int16_t> decode(Frame& f, const StreamFormat& format, int output_channels) {
    EXPECT_TRUE(reconstruct_spectra(f, format, *state));
    std::vector<int16_t> pcm(static_cast<size_t>(kFrameLength * output_channels));
    synthesise_core(f, *state, format.profile, output_channels, pcm.data());
    return pcm;
  }

  std::unique_ptr<CoreState> state = std::make_unique<CoreState>();
};

std::vector<int16_t> channel_of(const std::vector<int16_t>& pcm, int channel, int channels) {
  std::vector<int16_t> samples;
  for (auto i = static_cast<size_t>(channel); i < pcm.size(); i += static_cast<size_t>(channels)) {
    samples.push_back(pcm[i]);
  }
  return samples;
}

double clipped(double v) {
  return std::clamp(v, -32767.0, 32767.0);
}

// Sums up the difference of a decoder to the model.
struct Difference {
  double largest = 0;
  double squares = 0;
  double signal = 0;
  size_t count = 0;

  void add(double expected, double actual) {
    const double error = actual - clipped(expected);
    largest = std::max(largest, std::abs(error));
    squares += error * error;
    signal += clipped(expected) * clipped(expected);
    ++count;
  }
  double rms() const { return std::sqrt(squares / static_cast<double>(count)); }
  double level() const { return std::sqrt(signal / static_cast<double>(count)); }
};

Difference compare_with_model(const StreamFormat& format, int channels, int frames, uint32_t seed) {
  FrameMaker maker(seed, format);
  Decoder decoder;
  ReferenceCore model;
  const auto frame = std::make_unique<Frame>();
  Difference difference;
  for (int i = 0; i < frames; ++i) {
    maker.make(channels, *frame);
    const auto expected = model.synthesise(*frame, model.reconstruct(*frame, format));
    const auto pcm = decoder.decode(*frame, format, channels);
    for (int c = 0; c < channels; ++c) {
      const auto samples = channel_of(pcm, c, channels);
      for (size_t n = 0; n < kFrameLength; ++n)
        difference.add(expected[static_cast<size_t>(c)][n], samples[n]);
      model.remember(c, samples);
    }
  }
  return difference;
}

TEST(CoreSynthesis, AgreesWithTheModelOverRandomFrames) {
  for (const int sampling_index : {0, 3, 4, 6, 8, 11}) {
    for (const int profile : {kProfileLc, kProfileLtp}) {
      for (const int channels : {1, 2}) {
        SCOPED_TRACE(std::to_string(sampling_index) + " " + std::to_string(profile) + " " +
                     std::to_string(channels));
        const StreamFormat format = {sampling_index, profile};
        const Difference d = compare_with_model(format, channels, 12, static_cast<uint32_t>(sampling_index));
        EXPECT_GT(d.level(), 30);
        // Rounding to whole steps, and windows of 15 bits.
        const double ceiling = std::hypot(0.2887, 1.28e-5 * d.level());
        // Prediction puts the errors of the window into the spectrum again.
        EXPECT_LT(d.rms(), (profile == kProfileLtp ? 1.1 : 1.05) * ceiling);
        EXPECT_LT(d.largest, 2);
      }
    }
  }
}

// Values and scales far beyond any level, where everything saturates and wraps, noise in any band, and any
// dynamic range data.
void make_hostile(std::mt19937& random, Frame& frame) {
  const auto pick = [&](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };
  for (int c = 0; c < 2; ++c) {
    ChannelStream& channel = frame.channel[c];
    channel.uses_noise = true;
    for (int band = 0; band < kMaxBands; ++band) {
      channel.scale[band] = static_cast<int16_t>(pick(0, 9) == 0 ? pick(-8000, 8000) : pick(100, 270));
      uint8_t& book = channel.codebook[band];
      if (is_spectral_book(book)) book = static_cast<uint8_t>(pick(0, 9) == 0 ? 13 : 11);
    }
    for (int16_t& value : frame.quantised[c]) value = static_cast<int16_t>(pick(-8191, 8191));
  }
  frame.dynamic_range.band_count = kMaxDynamicRangeBands;
  frame.dynamic_range.program_reference_level = static_cast<uint8_t>(pick(0, 127));
  for (int band = 0; band < kMaxDynamicRangeBands; ++band) {
    frame.dynamic_range.band_top[band] = static_cast<uint16_t>(pick(0, 257));
    frame.dynamic_range.negative[band] = pick(0, 1) != 0;
    frame.dynamic_range.control[band] = static_cast<uint8_t>(pick(0, 127));
  }
}

TEST(CoreSynthesis, IsTheSameWithAndWithoutWideVectors) {
  const StreamFormat format = {4, kProfileLtp};
  std::vector<int16_t> pcm[2];
  for (const bool wide : {false, true}) {
    allow_wide_vectors(wide);
    FrameMaker maker(7, format);
    std::mt19937 random(8);
    Decoder decoder;
    const auto frame = std::make_unique<Frame>();
    for (int i = 0; i < 100; ++i) {
      maker.make(2, *frame);
      if (i % 4 == 3) make_hostile(random, *frame);
      const auto samples = decoder.decode(*frame, format, 2);
      pcm[wide].insert(pcm[wide].end(), samples.begin(), samples.end());
    }
  }
  allow_wide_vectors(true);
  EXPECT_TRUE(pcm[0] == pcm[1]);
}

// A long block of one band, all of whose lines have the same value.
void make_plain_frame(int channels, int value, int scale, Frame& frame) {
  frame.channel_count = channels;
  frame.is_pair = channels == 2;
  frame.pair = PairData();
  frame.dynamic_range = DynamicRange();
  for (int c = 0; c < channels; ++c) {
    ChannelStream& channel = frame.channel[c];
    channel = ChannelStream();
    channel.ics.band_count = static_cast<uint8_t>(scale_factor_bands(4, false).count);
    channel.ics.max_sfb = channel.ics.band_count;
    std::fill_n(channel.codebook, channel.ics.max_sfb, uint8_t{11});
    std::fill_n(channel.scale, channel.ics.max_sfb, static_cast<int16_t>(scale));
    std::fill_n(frame.quantised[c], kFrameLength, static_cast<int16_t>(value));
  }
}

constexpr StreamFormat k44100Lc = {4, kProfileLc};

TEST(CoreSynthesis, RequiredOutputStopsOneAboveTheLeastSample) {
  const auto frame = std::make_unique<Frame>();
  Decoder decoder;
  make_plain_frame(1, 8191, 150, *frame);
  for (int i = 0; i < 2; ++i) {
    const auto pcm = decoder.decode(*frame, k44100Lc, 1);
    EXPECT_EQ(*std::min_element(pcm.begin(), pcm.end()), -32767);
    EXPECT_EQ(*std::max_element(pcm.begin(), pcm.end()), 32767);
  }
}

TEST(CoreSynthesis, RefusesValuesFrom8192OnAndLeavesSilence) {
  const auto frame = std::make_unique<Frame>();
  Decoder decoder;
  for (const int value : {8191, -8191, 8192, -8192, 32767, -32768}) {
    make_plain_frame(2, 1, 120, *frame);
    frame->quantised[1][1000] = static_cast<int16_t>(value);
    const bool valid = std::abs(value) <= 8191;
    EXPECT_EQ(reconstruct_spectra(*frame, k44100Lc, *decoder.state), valid) << value;
    const auto is_silent = [](const auto& lines) {
      return std::all_of(std::begin(lines), std::end(lines), [](int32_t line) { return line == 0; });
    };
    EXPECT_EQ(is_silent(frame->spectrum[0]) && is_silent(frame->spectrum[1]), !valid) << value;
  }
}

TEST(CoreSynthesis, PutsChannelsWhereTheOutputHasThem) {
  const auto frame = std::make_unique<Frame>();
  std::vector<int16_t> alone[2];
  for (int c = 0; c < 2; ++c) {
    Decoder decoder;
    make_plain_frame(1, c == 0 ? 3 : -7, 140, *frame);
    alone[c] = decoder.decode(*frame, k44100Lc, 1);
  }
  // A mono frame in a stereo buffer fills every other sample.
  std::vector<int16_t> pcm(2 * kFrameLength, 99);
  EXPECT_EQ(synthesise_core(*frame, *Decoder().state, kProfileLc, 2, pcm.data()), 1);
  EXPECT_EQ(channel_of(pcm, 0, 2), alone[1]);
  EXPECT_EQ(channel_of(pcm, 1, 2), std::vector<int16_t>(kFrameLength, 99));

  make_plain_frame(2, 3, 140, *frame);
  std::fill_n(frame->quantised[1], kFrameLength, int16_t{-7});
  Decoder stereo;
  pcm = stereo.decode(*frame, k44100Lc, 2);
  EXPECT_EQ(channel_of(pcm, 0, 2), alone[0]);
  EXPECT_EQ(channel_of(pcm, 1, 2), alone[1]);

  Decoder mono;
  const auto mixed = mono.decode(*frame, k44100Lc, 1);
  for (size_t i = 0; i < mixed.size(); ++i) EXPECT_NEAR(mixed[i], (alone[0][i] + alone[1][i]) / 2.0, 1.01);
}

struct DynamicRangeCase {
  const char* name;
  DynamicRange range;
  double steps;  // of the factor 2^(1/6), in the first `lines` lines
  int lines = 1032;
};

DynamicRange one_band(bool negative, uint8_t control, uint8_t level, uint16_t top = kFrameLength / 4 + 1) {
  DynamicRange range;
  range.band_count = 1;
  range.band_top[0] = top;
  range.negative[0] = negative;
  range.control[0] = control;
  range.program_reference_level = level;
  return range;
}

TEST(CoreSynthesis, RequiredDynamicRangeHasCoarseStepsAndALowReference) {
  const DynamicRangeCase cases[] = {
      {"WithoutReferenceLevelControl0Is42dBDown", one_band(false, 0, 0), 42 - 84},
      {"FourUnitsAreAStepRoundedDown", one_band(false, 7, 0), 43 - 84},
      {"NegativeControlRoundsDownToo", one_band(true, 1, 0), 41 - 84},
      {"ReferenceLevel", one_band(false, 72, 99), 60 + 24 - 84},
      {"Louder", one_band(false, 127, 127), 73 + 31 - 84},
      {"Quietest", one_band(true, 127, 0), 10 - 84},
      {"UpToItsTop", one_band(false, 72, 48, 9), 60 + 12 - 84, 40},
  };
  const auto frame = std::make_unique<Frame>();
  for (const DynamicRangeCase& c : cases) {
    SCOPED_TRACE(c.name);
    Decoder decoder;
    make_plain_frame(2, 0, 0, *frame);
    EXPECT_TRUE(reconstruct_spectra(*frame, k44100Lc, *decoder.state));
    constexpr int32_t kLevel = 200'000'000;
    for (auto& spectrum : frame->spectrum) std::fill_n(spectrum, kSpectrumLines, kLevel);
    frame->dynamic_range = c.range;
    std::vector<int16_t> pcm(2 * kFrameLength);
    synthesise_core(*frame, *decoder.state, kProfileLc, 2, pcm.data());
    const double expected = std::min(kLevel * std::exp2(c.steps / 6), 2147483647.0);
    for (const auto& spectrum : frame->spectrum) {
      for (int k = 0; k < c.lines; ++k) ASSERT_NEAR(spectrum[k], expected, 8 + expected * 5e-7) << k;
      for (int k = c.lines; k < kSpectrumLines; ++k) ASSERT_EQ(spectrum[k], kLevel) << k;
    }
  }
}

}  // namespace
}  // namespace zdr::aacdec
