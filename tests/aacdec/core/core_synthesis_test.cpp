// Compares the whole core with the double-precision model on frames of real files, and checks the limits of
// its output.
#include "aacdec/core/core_synthesis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <span>
#include <utility>

#include "aacdec/core/core_kernels.h"
#include "aacdec/core/dynamic_range_gain.h"
#include "aacdec/fixed/cpu.h"
#include "tests/aacdec/core/reference_core.h"
#include "tests/aacdec/test_decoder.h"

namespace zdr::test {
namespace {

using namespace aacdec;

// Varies a frame beyond what real files contain: every stereo mask, any window shape, and filters of both
// resolutions and directions up to the highest order. Noise bands are silenced, as in the model.
void vary(std::mt19937& random, Frame& frame) {
  const auto draw = [&random](unsigned count) { return static_cast<int>(random() % count); };
  if (frame.pair.common_window) frame.pair.ms_mask_present = static_cast<uint8_t>(draw(4));
  for (ChannelStream& channel : frame.channel) {
    channel.uses_noise = false;
    channel.ics.window_shape = static_cast<uint8_t>(draw(2));
    channel.tns.present = draw(2) != 0;
    const bool is_short = channel.ics.is_short();
    for (TnsWindow& window : channel.tns.window) {
      window.filter_count = static_cast<uint8_t>(draw(is_short ? 2 : 4));
      window.resolution = static_cast<uint8_t>(3 + draw(2));
      for (TnsFilter& filter : window.filter) {
        filter.length = static_cast<uint8_t>(draw(is_short ? 16 : 41));
        filter.order = static_cast<uint8_t>(draw(1 + (is_short ? kMaxTnsOrderShort : kMaxTnsOrder)));
        filter.downwards = draw(2) != 0;
        const unsigned reach = window.resolution == 4 ? 3 : 1;
        for (int8_t& k : filter.coefficient) {
          k = static_cast<int8_t>(draw(2 * reach + 1) - static_cast<int>(reach));
        }
      }
    }
  }
}

// The model computes some twenty frames per second. This many frames contain every window sequence and tool
// of a file, and fill the history of long term prediction.
constexpr size_t kFramesOfAFile = 20;

// Decodes a frame with every instruction set.
Pcm decoded(Frame& frame, const StreamFormat& format, int channels, std::vector<CoreState>& states) {
  std::vector<Pcm> pcm;
  for (const VectorLevel level : vector_levels()) {
    limit_vector_level(level);
    pcm.emplace_back(static_cast<size_t>(kFrameLength * channels));
    CoreState& state = states[static_cast<size_t>(level)];
    EXPECT_TRUE(reconstruct_spectra(frame, format, state));
    synthesise_core(frame, state, format.profile, channels, {pcm.back().data(), 1, channels});
    EXPECT_EQ(pcm.back(), pcm.front());
  }
  return pcm.front();
}

// A stereo frame for a mono output is mixed in the spectral domain and uses the windows of the first channel.
void expect_model(const AdtsFile& file, int output_channels) {
  const StreamFormat format = {file.sampling_index, file.profile};
  std::mt19937 random(7);
  std::vector<CoreState> states(vector_levels().size());
  for (CoreState& state : states) state.reset();
  ReferenceCore model(format);
  double error = 0;  // both squared
  double level = 0;
  double count = 0;
  for (const AdtsFrame& unit : std::span(file.frames).first(std::min(kFramesOfAFile, file.frames.size()))) {
    const auto frame = parsed(unit.payload, file);
    vary(random, *frame);
    std::vector<Lines> spectra = model.reconstruct(*frame);
    if (frame->channel_count > output_channels) {
      for (size_t k = 0; k < kFrameLength; ++k) spectra[0][k] = (spectra[0][k] + spectra[1][k]) / 2;
      spectra.pop_back();
    }
    const auto expected = model.synthesise(*frame, spectra);
    const Pcm pcm = decoded(*frame, format, output_channels, states);
    for (size_t c = 0; c < expected.size(); ++c) {
      Pcm channel;
      for (size_t n = 0; n < kFrameLength; ++n) {
        channel.push_back(pcm[n * expected.size() + c]);
        const double target = std::clamp(expected[c][n], -32767.0, 32767.0);
        ASSERT_NEAR(channel[n], target, 2);
        error += (channel[n] - target) * (channel[n] - target);
        level += target * target;
        ++count;
      }
      model.remember(c, channel);
    }
  }
  EXPECT_GT(level, 30 * 30 * count);
  // The errors of rounding to whole steps and of windows with 15 bits. Prediction feeds the error of the
  // windows back into the spectrum.
  const double ceiling = std::hypot(0.2887, 1.28e-5 * std::sqrt(level / count));
  EXPECT_LT(std::sqrt(error / count), (file.profile == kProfileLtp ? 1.1 : 1.05) * ceiling);
}

TEST(CoreSynthesis, KeptMonoMixAndOutputMatchTheModel) {
  for (const AdtsFile& file : adts_samples()) {
    for (int channels = 1; channels <= file.channel_configuration; ++channels) {
      SCOPED_TRACE(testing::Message() << file.name << ", " << channels << " output channels");
      expect_model(file, channels);
    }
  }
}

TEST(CoreSynthesis, KeptDynamicRangeHasCoarseStepsAndALowReference) {
  struct Band {
    bool negative;
    uint8_t control;
    uint16_t top;
    double steps;  // of the factor 2^(1/6)
    size_t end;    // the line after its last one
  };
  constexpr uint16_t kWhole = kFrameLength / 4 + 1;
  const std::pair<uint8_t, std::vector<Band>> cases[] = {
      // Control 0 without a reference level is 42 dB down. Four units are a step, rounded down.
      {0, {{false, 0, kWhole, 42 - 84, 1032}}},
      {0, {{false, 7, kWhole, 43 - 84, 1032}}},
      {0, {{true, 1, kWhole, 41 - 84, 1032}}},
      // A step of level; the loudest; the quietest.
      {7, {{false, 72, kWhole, 60 + 1 - 84, 1032}}},
      {127, {{false, 127, kWhole, 73 + 31 - 84, 1032}}},
      {0, {{true, 127, kWhole, 10 - 84, 1032}}},
      // Each band starts where the previous one ends.
      {48,
       {{false, 72, 9, -12, 40}, {true, 24, 50, -36, 204}, {true, 0, 9, 0, 204}, {false, 96, 255, -6, 1024}}},
  };
  constexpr int32_t kLevel = 200'000'000;
  for (const auto& [reference_level, bands] : cases) {
    DynamicRange range;
    range.program_reference_level = reference_level;
    std::vector<double> expected;
    for (const Band& band : bands) {
      range.band_top[range.band_count] = band.top;
      range.negative[range.band_count] = band.negative;
      range.control[range.band_count++] = band.control;
      expected.resize(band.end, kLevel * std::exp2(band.steps / 6));
    }
    expected.resize(kSpectrumLines, kLevel);
    std::vector<int32_t> spectrum(kSpectrumLines, kLevel);
    apply_dynamic_range(range, spectrum.data());
    for (size_t k = 0; k < spectrum.size(); ++k) {
      ASSERT_NEAR(spectrum[k], expected[k], 8 + expected[k] * 1.2e-6) << k;
    }
  }
}

TEST(CoreSynthesis, KeptSmallestSampleIsMinus32767) {
  const std::vector<int32_t> sums = {0,           15,          16,         -16,
                                     -17,         47,          48,         -48,
                                     -49,         32 * 7,      32767 * 32, 32767 * 32 + 16,
                                     -32767 * 32, -32768 * 32, 1 << 25,    -(1 << 25)};
  const Pcm expected = {0, 0, 1, 0, -1, 1, 2, -1, -2, 7, 32767, 32767, -32767, -32767, 32767, -32767};
  for (const VectorLevel level : vector_levels()) {
    limit_vector_level(level);
    std::vector<int32_t> time = sums;
    time.resize(2 * kFrameLength);
    int32_t overlap[kFrameLength] = {};
    Pcm pcm(kFrameLength);
    core_kernels().put_samples(time.data(), overlap, pcm.data(), 1);
    pcm.resize(expected.size());
    EXPECT_EQ(pcm, expected);
  }
}

}  // namespace
}  // namespace zdr::test
