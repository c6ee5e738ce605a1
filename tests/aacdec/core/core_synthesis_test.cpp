// The whole core against the double-precision model, and the limits of its output.
#include "aacdec/core/core_synthesis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <utility>

#include "aacdec/fixed/cpu.h"
#include "tests/aacdec/core/random_frame.h"
#include "tests/aacdec/core/reference_core.h"

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

// Of `channels` put out as `output_channels`: two in one are mixed in their spectra, with the windows of the
// first.
Difference compare_with_model(const StreamFormat& format, int channels, int output_channels, uint32_t seed) {
  FrameMaker maker(seed, format);
  Decoder decoder;
  ReferenceCore model;
  const auto frame = std::make_unique<Frame>();
  Difference difference;
  for (int i = 0; i < 12; ++i) {
    maker.make(channels, *frame);
    std::vector<Lines> spectra = model.reconstruct(*frame, format);
    if (channels > output_channels) {
      for (size_t k = 0; k < kFrameLength; ++k) spectra[0][k] = (spectra[0][k] + spectra[1][k]) / 2;
      spectra.pop_back();
    }
    const auto expected = model.synthesise(*frame, spectra);
    const auto pcm = decoder.decode(*frame, format, output_channels);
    for (int c = 0; c < output_channels; ++c) {
      const auto samples = channel_of(pcm, c, output_channels);
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
      for (const auto& [channels, output_channels] : {std::pair(1, 1), std::pair(2, 2), std::pair(2, 1)}) {
        SCOPED_TRACE(testing::Message()
                     << sampling_index << " " << profile << " " << channels << " " << output_channels);
        const Difference d = compare_with_model({sampling_index, profile}, channels, output_channels,
                                                static_cast<uint32_t>(sampling_index));
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

TEST(CoreSynthesis, RequiredDynamicRangeHasCoarseStepsAndALowReference) {
  struct Band {
    bool negative;
    uint8_t control;
    uint16_t top;
    double steps;  // of the factor 2^(1/6)
    int end;       // line behind its last one
  };
  struct Case {
    const char* name;
    uint8_t level;
    std::vector<Band> bands;
  };
  constexpr uint16_t kWhole = kFrameLength / 4 + 1;
  const Case cases[] = {
      {"WithoutReferenceLevelControl0Is42dBDown", 0, {{false, 0, kWhole, 42 - 84, 1032}}},
      {"FourUnitsAreAStepRoundedDown", 0, {{false, 7, kWhole, 43 - 84, 1032}}},
      {"NegativeControlRoundsDownToo", 0, {{true, 1, kWhole, 41 - 84, 1032}}},
      {"OneStepOfLevel", 7, {{false, 72, kWhole, 60 + 1 - 84, 1032}}},
      {"Louder", 127, {{false, 127, kWhole, 73 + 31 - 84, 1032}}},
      {"Quietest", 0, {{true, 127, kWhole, 10 - 84, 1032}}},
      {"BandsGoOnWhereTheOneBeforeEnds",
       48,
       {{false, 72, 9, -12, 40}, {true, 24, 50, -36, 204}, {true, 0, 9, 0, 204}, {false, 96, 255, -6, 1024}}},
  };
  constexpr int32_t kLevel = 200'000'000;
  const auto frame = std::make_unique<Frame>();
  frame->channel_count = 2;
  // The lines of short windows count through, like those of long ones.
  frame->channel[0].ics.window_sequence = WindowSequence::kEightShort;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    for (auto& spectrum : frame->spectrum) std::fill_n(spectrum, kSpectrumLines, kLevel);
    DynamicRange& range = frame->dynamic_range;
    range.program_reference_level = c.level;
    range.band_count = 0;
    for (const Band& band : c.bands) {
      range.band_top[range.band_count] = band.top;
      range.negative[range.band_count] = band.negative;
      range.control[range.band_count++] = band.control;
    }
    std::vector<int16_t> pcm(2 * kFrameLength);
    synthesise_core(*frame, *Decoder().state, kProfileLc, 2, pcm.data());
    for (const auto& spectrum : frame->spectrum) {
      int line = 0;
      for (const Band& band : c.bands) {
        const double expected = kLevel * std::exp2(band.steps / 6);
        for (; line < band.end; ++line) ASSERT_NEAR(spectrum[line], expected, 8 + expected * 1.2e-6) << line;
      }
      for (; line < kSpectrumLines; ++line) ASSERT_EQ(spectrum[line], kLevel) << line;
    }
  }
}

}  // namespace
}  // namespace zdr::aacdec
