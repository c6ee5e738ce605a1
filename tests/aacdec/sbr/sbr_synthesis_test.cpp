// SBR and parametric stereo, from written payloads to PCM, beside the double-precision reference; and what
// they do beside following the formulas: on other processors, in mixes to mono, after damage.
#include "aacdec/sbr/sbr_synthesis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "aacdec/fixed/cpu.h"
#include "aacdec/sbr/sbr_kernels.h"
#include "mediakit/aac/sbr_stream.h"
#include "tests/aacdec/sbr/sbr_reference.h"

namespace zdr::aacdec {
namespace {

using namespace test;

struct Decoder {
  std::unique_ptr<SbrSynthesis> sbr = std::make_unique<SbrSynthesis>();
  std::unique_ptr<PsSynthesis> ps = std::make_unique<PsSynthesis>();
  SbrOutput output;

  explicit Decoder(const SbrSettings& settings) {
    sbr->configure(settings);
    ps->configure();
  }
  // At a stride of two.
  Pcm decode(const SbrFrame& frame, const std::vector<Pcm>& cores, bool stereo, int fade_counter = 0) {
    Pcm pcm(4096);
    for (size_t c = 0; c < cores.size(); ++c) {
      for (size_t i = 0; i < cores[c].size(); ++i) pcm[2 * i + c] = cores[c][i];
    }
    output = sbr->process_frame(frame, static_cast<int>(cores.size()), fade_counter,
                                stereo ? ps.get() : nullptr, pcm.data(), 2);
    return pcm;
  }
};

// Both decoders of the same stream, and how far they are apart.
class Comparison {
 public:
  static constexpr int kCuts[9] = {64, 32, 16, 46, 23, 11, 42, 21, 10};
  static constexpr double kFades[6] = {1, 1, 0.5, 0.25, 0, 0};

  Comparison(const SbrSettings& settings, bool stereo)
      : decoder_(settings),
        reference_(settings.rate_multiplier, kCuts[settings.resampling_class] * settings.rate_multiplier / 2),
        stereo_(stereo),
        samples_(1024 * settings.rate_multiplier) {}

  void decode(const SbrFrame& frame, const std::vector<Pcm>& cores, int fade_counter) {
    const Pcm pcm = decoder_.decode(frame, cores, stereo_, fade_counter);
    std::vector<SbrReference::Signal> signals;
    for (const Pcm& core : cores) signals.emplace_back(core.begin(), core.end());
    const auto expected = reference_.process(frame, signals, stereo_, kFades[fade_counter]);
    worst = 0;
    ASSERT_EQ(decoder_.output.samples, samples_);
    ASSERT_EQ(decoder_.output.channel_count, expected.size());
    for (size_t c = 0; c < expected.size(); ++c) {
      for (size_t i = 0; i < expected[c].size(); ++i) {
        const double wanted = std::clamp(expected[c][i], -32768.0, 32767.0);
        worst = std::max(worst, std::abs(pcm[2 * i + c] - wanted));
        energy += wanted * wanted;
      }
    }
  }
  double worst = 0;   // of the last frame
  double energy = 0;  // of all

 private:
  Decoder decoder_;
  SbrReference reference_;
  bool stereo_;
  int samples_;
};

struct Kind {
  const char* name;
  uint32_t streams;
  int frames;
  // By frame, over and over: the element, s: single channel, p: pair, c: coupled pair, n: single channel
  // without SBR data; and the concealment counter.
  const char* elements;
  const char* fades = "0";
  bool ps = false;
  bool header_changes = false;  // and the first frames have none
  int multiplier = 2;           // 0: both, by stream
  bool resampled = false;
  bool loud = false;  // square waves of full scale, the most that a band can be
};

class SbrSynthesisOf : public testing::TestWithParam<Kind> {};

// Half a step is the rounding to 16 bits. Without a limiter a gain may raise what is all but silent, 1/64 of
// a step, and its rounding with it.
double tolerance(const SbrHeader& header) {
  return header.limiter_gains == 3 ? 2 : 0.52;
}

// Also what a stream of the kind says of the modes that announce 34 bands or the other mixing procedure.
TEST_P(SbrSynthesisOf, EveryStreamRequiredToFollowOneReference) {
  constexpr int32_t kRates[] = {22050, 7350,  8000,  11025, 12000, 16000, 24000,
                                32000, 44100, 48000, 64000, 88200, 96000};
  const Kind& kind = GetParam();
  for (uint32_t number = 0; number < kind.streams; ++number) {
    allow_wide_vectors(number % 2 == 0);
    Stream stream(number, kRates[number % std::size(kRates)], kind.ps);
    CoreSignal core[2] = {CoreSignal(number), CoreSignal(number + 100)};
    const int multiplier = kind.multiplier != 0 ? kind.multiplier : 1 + static_cast<int>(number % 2);
    Comparison comparison({multiplier, kind.resampled ? static_cast<int>(number / 2 % 9) : 0}, kind.ps);
    if (!kind.header_changes) comparison.decode({}, {core[0].frame()}, 0);
    double tolerance_before = 0;
    for (int f = 0; f < kind.frames; ++f) {
      const char element = kind.elements[static_cast<size_t>(f) % std::strlen(kind.elements)];
      const bool pair = element == 'p' || element == 'c';
      const bool header_comes = !kind.header_changes || f > 1;
      if (kind.header_changes && f % 4 == 3) stream.change_header();
      const SbrFrame& frame = stream.next(pair, element == 'c', header_comes);
      ASSERT_EQ(stream.result(), header_comes ? SbrResult::kParsed : SbrResult::kNoHeader);
      std::vector<Pcm> cores{core[0].frame()};
      if (pair) cores.push_back(core[1].frame());
      for (size_t i = 0; kind.loud && i < 1024; ++i) {
        cores[0][i] = static_cast<int16_t>(i / (2 << number % 6) % 2 * 65535 - 32768);
      }
      const int fade = kind.fades[static_cast<size_t>(f) % std::strlen(kind.fades)] - '0';
      comparison.decode(element == 'n' ? SbrFrame{} : frame, cores, fade);
      EXPECT_LT(comparison.worst,
                std::max({tolerance_before, tolerance(stream.header()), kind.loud ? 0.6 : 0}))
          << "stream " << number << ", frame " << f;
      tolerance_before = tolerance(stream.header());
    }
    EXPECT_GT(comparison.energy, 1e9) << "stream " << number;
  }
  allow_wide_vectors(true);
}

constexpr Kind kKinds[] = {{"SingleChannels", 52, 8, "s"},
                           {"Pairs", 20, 8, "p"},
                           {"CoupledPairs", 20, 8, "c"},
                           {"ParametricStereo", 26, 12, "s", "0", true, false, 0},
                           {"HeaderChangesAndMissingData", 20, 16, "sssssn", "0", false, true},
                           {"HeaderChangesAndMissingDataInStereo", 20, 16, "sssssn", "0", true, true},
                           {"Fades", 13, 12, "s", "000012345543", true},
                           {"SinglesAndPairsInTurn", 13, 15, "ssspcnnn", "0", false},
                           {"ParametricStereoAndPairsInTurn", 13, 15, "ssspcsnn", "0", true},
                           {"OutputsForTheResampler", 18, 6, "s", "0", false, false, 0, true},
                           {"OutputsForTheResamplerInStereo", 18, 6, "s", "0", true, false, 0, true},
                           {"FullScale", 12, 6, "s", "0", false, false, 2, false, true},
                           {"FullScaleInStereo", 12, 6, "s", "0", true, false, 2, false, true}};

INSTANTIATE_TEST_SUITE_P(All, SbrSynthesisOf, testing::ValuesIn(kKinds),
                         [](const auto& kind) { return kind.param.name; });

SbrFrame two_channels_with_a_sinusoid_each() {
  SbrHeader header;
  header.start_freq = 5;
  header.stop_freq = 8;
  SbrFrame frame;
  for (SbrChannelFrame& channel : frame.channel) {
    channel.status = SbrStatus::kParsed;
    channel.bands_generation = 1;
    channel.header = header;
    EXPECT_TRUE(build_sbr_bands(header, 44100, channel.bands));
    build_limiter_bands(header, channel.bands);
    channel.grid.envelope_count = channel.grid.noise_count = 1;
    channel.grid.border[1] = channel.grid.noise_border[1] = 16;
    channel.grid.high_resolution[0] = true;
    std::fill_n(channel.envelope[0], kMaxSbrBands, int16_t{40});
    std::fill_n(channel.noise[0], kMaxNoiseBands, int16_t{30});
  }
  frame.channel[0].add_harmonic[1] = 1;
  frame.channel[1].add_harmonic[3] = 1;
  return frame;
}

// Two single channel elements may each have a header of their own; the first one's tables are then shorter
// than the range, which must do no harm.
TEST(SbrSynthesis, RequiredThatAMonoMixHasTheSinusoidsOfBothAndTheLargerBandRange) {
  struct Case {
    uint8_t kx[2], m[2];
    SbrStatus second;
    int merged_kx, merged_m;
  };
  for (const Case& c : {Case{{20, 24}, {22, 10}, SbrStatus::kParsed, 24, 22},
                        Case{{24, 20}, {10, 22}, SbrStatus::kParsed, 24, 22},
                        Case{{31, 20}, {10, 40}, SbrStatus::kParsed, 31, 33},
                        Case{{20, 24}, {22, 30}, SbrStatus::kNoHeader, 20, 22}}) {
    SbrFrame frame = two_channels_with_a_sinusoid_each();
    for (size_t i = 0; i < 2; ++i) {
      frame.channel[i].bands.kx = c.kx[i];
      frame.channel[i].bands.m = c.m[i];
    }
    frame.channel[1].status = c.second;
    merge_sbr_for_mono(frame);
    EXPECT_EQ(frame.channel[0].bands.kx, c.merged_kx);
    EXPECT_EQ(frame.channel[0].bands.m, c.merged_m);
    for (const int band : {0, 1, 2, 3}) {
      const bool sounds = band == 1 || (band == 3 && c.second == SbrStatus::kParsed);
      EXPECT_EQ(frame.channel[0].add_harmonic[band] != 0, sounds) << band;
    }
    Decoder decoder({2, 0});
    for (int f = 0; f < 3; ++f) decoder.decode(frame, {Pcm(1024, 9000)}, false);
  }
}

// Leftovers of another channel must not cost precision.
TEST(SbrSynthesis, PatchesTellOnlyTheBitsOfTheirRow) {
  uint32_t used[2];
  for (const bool leftovers : {false, true}) {
    const auto bands = std::make_unique<QmfMatrix>();
    for (int s = 0; s < kRowStride; ++s) {
      bands->re[3][s] = bands->im[3][s] = s < kRowSlots ? s * s : leftovers ? 1 << 22 : 0;
    }
    used[leftovers ? 1 : 0] = sbr_kernels().patch(*bands, {3, 40, 1 << 28, 0, 0, 1 << 28, 20});
  }
  EXPECT_EQ(used[0], used[1]);
}

// Whatever a damaged stream says, the decoder goes on, and is as good as before soon after.
TEST(SbrSynthesis, SenselessFramesLeaveNoTrace) {
  for (uint32_t number = 0; number < 8; ++number) {
    std::mt19937 random(number);
    Stream stream(number, 22050, true);
    CoreSignal core(number);
    Decoder decoder({2, 0});
    for (int f = 0; f < 6; ++f) decoder.decode(stream.next(), {core.frame()}, true);
    for (int f = 0; f < 6; ++f) {
      SbrFrame frame = stream.next();
      SbrChannelFrame& channel = frame.channel[0];
      for (auto& envelope : channel.envelope) {
        for (int16_t& value : envelope) value = static_cast<int16_t>(random());
      }
      for (auto& floor : channel.noise) {
        for (int16_t& value : floor) value = static_cast<int16_t>(random());
      }
      channel.grid.border[0] = static_cast<uint8_t>(random() % channel.grid.border[1]);
      decoder.decode(frame, {Pcm(1024, static_cast<int16_t>(f % 2 != 0 ? 32767 : -32768))}, true);
    }
    for (int f = 0; f < 7; ++f) decoder.decode({}, {Pcm(1024)}, true);
    EXPECT_EQ(decoder.decode({}, {Pcm(1024)}, true), Pcm(4096)) << number;
  }
}

}  // namespace
}  // namespace zdr::aacdec
