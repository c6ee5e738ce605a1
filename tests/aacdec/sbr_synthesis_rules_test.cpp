// What SBR synthesis does beside following the formulas: on other processors, in fades and mixes, after
// damage.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "aacdec/cpu.h"
#include "aacdec/sbr_synthesis.h"
#include "tests/aacdec/sbr_stream.h"

namespace zdr::aacdec {
namespace {

using namespace test;

struct Decoder {
  std::unique_ptr<SbrSynthesis> sbr = std::make_unique<SbrSynthesis>();
  std::unique_ptr<PsSynthesis> ps = std::make_unique<PsSynthesis>();

  explicit Decoder(const SbrSettings& settings) {
    sbr->configure(settings);
    ps->configure();
  }
  Pcm decode(int channel, const SbrFrame& frame, const Pcm& core, bool stereo, int fade_counter = 0) {
    Pcm pcm(4096);
    for (size_t i = 0; i < core.size(); ++i) pcm[2 * i] = core[i];
    sbr->process_channel(channel, frame, fade_counter, stereo ? ps.get() : nullptr, pcm.data(), 2);
    return pcm;
  }
};

class WideVectors {
 public:
  explicit WideVectors(bool allowed) { allow_wide_vectors(allowed); }
  ~WideVectors() { allow_wide_vectors(true); }
};

TEST(SbrSynthesisRules, EveryProcessorGivesTheSameBits) {
  std::vector<Pcm> outputs[2];
  for (const bool wide : {false, true}) {
    const WideVectors vectors(wide);
    for (uint32_t number = 0; number < 12; ++number) {
      Stream stream(number, 22050, number % 2 != 0);
      CoreSignal core(number);
      Decoder decoder({number % 3 != 0 ? 2 : 1, 0});
      for (int f = 0; f < 8; ++f) {
        outputs[wide ? 1 : 0].push_back(decoder.decode(0, stream.next(), core.frame(), number % 2 != 0));
      }
    }
  }
  EXPECT_EQ(outputs[0], outputs[1]);
}

double energy(const Pcm& pcm) {
  double sum = 0;
  for (const int16_t sample : pcm) sum += 1.0 * sample * sample;
  return sum;
}

// Of frames whose core is silent, so that nothing but noise and sinusoids is heard.
double energy_of_high_bands(int fade_counter) {
  Stream stream(4, 22050, false);
  Decoder decoder({2, 0});
  double sum = 0;
  for (int f = 0; f < 10; ++f) {
    sum += energy(decoder.decode(0, stream.next(), Pcm(1024), false, f < 4 ? 0 : fade_counter)) * (f >= 6);
  }
  return sum;
}

TEST(SbrSynthesisRules, HighBandsFadeWithTheConcealmentCounter) {
  const double full = energy_of_high_bands(0);
  ASSERT_GT(full, 3e5);
  EXPECT_NEAR(energy_of_high_bands(1) / full, 1, 1e-9);
  EXPECT_NEAR(energy_of_high_bands(2) / full, 1.0 / 4, 0.01);
  EXPECT_NEAR(energy_of_high_bands(3) / full, 1.0 / 16, 0.01);
  EXPECT_EQ(energy_of_high_bands(4), 0);
  EXPECT_EQ(energy_of_high_bands(5), 0);
}

// Amplitude of the sinusoid that stands in the middle of QMF band `band` of 64.
double tone(const Pcm& pcm, int band) {
  double re = 0;
  double im = 0;
  for (size_t i = 0; i < 2048; ++i) {
    const double angle = M_PI / 64 * (band + 0.5) * static_cast<double>(i);
    re += pcm[2 * i] * std::cos(angle);
    im += pcm[2 * i] * std::sin(angle);
  }
  return std::hypot(re, im) / 1024;
}

TEST(SbrSynthesisRules, RequiredThatAMonoMixHasTheSinusoidsOfBothChannels) {
  SbrHeader header;
  header.start_freq = 5;
  header.stop_freq = 8;
  SbrFrame frame;
  for (SbrChannelFrame& channel : frame.channel) {
    channel.status = SbrStatus::kParsed;
    channel.bands_generation = 1;
    channel.header = header;
    ASSERT_TRUE(build_sbr_bands(header, 44100, channel.bands));
    build_limiter_bands(header, channel.bands);
    channel.grid.envelope_count = channel.grid.noise_count = 1;
    channel.grid.border[1] = channel.grid.noise_border[1] = 16;
    channel.grid.high_resolution[0] = true;
    std::fill_n(channel.envelope[0], kMaxSbrBands, int16_t{40});
    std::fill_n(channel.noise[0], kMaxNoiseBands, int16_t{30});
  }
  frame.channel[0].add_harmonic[1] = 1;
  frame.channel[1].add_harmonic[3] = 1;
  const SbrBandTables& bands = frame.channel[0].bands;
  const int left = (bands.high[1] + bands.high[2]) / 2;
  const int right = (bands.high[3] + bands.high[4]) / 2;
  for (const bool merged : {false, true}) {
    if (merged) merge_sbr_for_mono(frame);
    Decoder decoder({2, 0});
    Pcm pcm;
    for (int f = 0; f < 3; ++f) pcm = decoder.decode(0, frame, Pcm(1024), false);
    EXPECT_GT(tone(pcm, left), 100);
    EXPECT_EQ(tone(pcm, right) > 100, merged);
  }
}

// Whatever a damaged stream says, the decoder goes on, and is as good as before soon after.
TEST(SbrSynthesisRules, SenselessFramesLeaveNoTrace) {
  for (uint32_t number = 0; number < 8; ++number) {
    std::mt19937 random(number);
    Stream stream(number, 22050, true);
    CoreSignal core(number);
    Decoder decoder({2, 0});
    for (int f = 0; f < 6; ++f) decoder.decode(0, stream.next(), core.frame(), true);
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
      decoder.decode(0, frame, Pcm(1024, static_cast<int16_t>(f % 2 != 0 ? 32767 : -32768)), true);
    }
    double last = 0;
    for (int f = 0; f < 8; ++f) last = energy(decoder.decode(0, {}, Pcm(1024), true));
    EXPECT_EQ(last, 0) << number;
  }
}

}  // namespace
}  // namespace zdr::aacdec
