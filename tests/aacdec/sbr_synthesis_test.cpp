// SBR and parametric stereo, from written payloads to PCM, beside the double-precision reference.
#include "aacdec/sbr_synthesis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>

#include "aacdec/cpu.h"
#include "tests/aacdec/ps_writer.h"
#include "tests/aacdec/sbr_reference.h"
#include "tests/aacdec/sbr_writer.h"

namespace zdr::aacdec {
namespace {

using namespace test;

constexpr int kResamplingCuts[9] = {64, 32, 16, 46, 23, 11, 42, 21, 10};

using Pcm = std::vector<int16_t>;

// A core signal that has everything: noise, steady tones, a click now and then.
class CoreSignal {
 public:
  explicit CoreSignal(uint32_t seed) : random_(seed) {}
  Pcm frame() {
    std::normal_distribution<double> noise(0, 300);
    Pcm pcm(1024);
    for (int16_t& sample : pcm) {
      ++time_;
      double value = noise(random_);
      for (const double turns : {0.0207, 0.111, 0.186}) value += 1500 * std::sin(2 * M_PI * turns * time_);
      if (random_() % 1500 == 0) value += 12000;
      sample = static_cast<int16_t>(std::lround(value));
    }
    return pcm;
  }

 private:
  std::mt19937 random_;
  double time_ = 0;
};

// Both decoders of the same stream, and how far they are apart.
class Comparison {
 public:
  Comparison(const SbrSettings& settings, bool stereo)
      : stereo_(stereo),
        sbr_(std::make_unique<SbrSynthesis>()),
        ps_(std::make_unique<PsSynthesis>()),
        reference_(settings.rate_multiplier,
                   kResamplingCuts[settings.resampling_class] * settings.rate_multiplier / 2),
        samples_(static_cast<size_t>(1024 * settings.rate_multiplier)) {
    sbr_->configure(settings);
    ps_->configure();
  }

  void decode(int channel, const SbrFrame& frame, const Pcm& core) {
    pcm_.assign(2 * samples_, 0);
    for (size_t i = 0; i < core.size(); ++i) pcm_[2 * i] = core[i];
    const SbrOutput output =
        sbr_->process_channel(channel, frame, 0, stereo_ ? ps_.get() : nullptr, pcm_.data(), 2);
    const auto expected = reference_.process(channel, frame, {core.begin(), core.end()}, stereo_);
    ASSERT_EQ(output.samples, samples_);
    ASSERT_EQ(output.channel_count, expected.size());
    for (size_t c = 0; c < expected.size(); ++c) {
      for (size_t i = 0; i < samples_; ++i) {
        const double wanted = std::clamp(expected[c][i], -32768.0, 32767.0);
        worst_ = std::max(worst_, std::abs(pcm_[2 * i + c] - wanted));
        energy_ += wanted * wanted;
      }
    }
  }
  double worst() const { return worst_; }
  double energy() const { return energy_; }
  const Pcm& pcm() const { return pcm_; }

 private:
  bool stereo_;
  std::unique_ptr<SbrSynthesis> sbr_;
  std::unique_ptr<PsSynthesis> ps_;
  SbrReference reference_;
  size_t samples_;
  Pcm pcm_;
  double worst_ = 0;
  double energy_ = 0;
};

SbrHeader random_header(std::mt19937& random, int32_t sbr_rate, SbrBandTables& tables) {
  const auto draw = [&](unsigned count) { return static_cast<uint8_t>(random() % count); };
  for (;;) {
    SbrHeader h;
    h.amp_res = draw(2);
    h.start_freq = draw(16);
    h.stop_freq = draw(16);
    h.xover_band = draw(4);
    h.freq_scale = draw(4);
    h.alter_scale = draw(2);
    h.noise_bands = draw(4);
    h.limiter_bands = draw(4);
    h.limiter_gains = draw(4);
    h.interpol_freq = draw(2);
    h.smoothing_mode = draw(2);
    if (build_sbr_bands(h, sbr_rate, tables) && tables.m > 0) return h;
  }
}

// A random stream of payloads that can be played, through the parser.
class Stream {
 public:
  Stream(uint32_t seed, int32_t core_rate_hz, bool with_ps)
      : random_(seed), rate_hz_(core_rate_hz), with_ps_(with_ps), ps_(seed), parser_(core_rate_hz) {
    change_header();
  }

  void change_header() {
    SbrBandTables tables;
    const uint8_t smoothing = header_.smoothing_mode;
    const bool first = tables_.m == 0;
    header_ = random_header(random_, 2 * rate_hz_, tables);
    // Smoothing that begins without a reset is nobody's rule.
    if (!first) header_.smoothing_mode = smoothing;
    tables_ = tables;
    header_due_ = true;
  }

  const SbrHeader& header() const { return header_; }

  const SbrFrame& next(bool pair = false, bool coupled = false, bool header_comes = true) {
    BitWriter w;
    const bool header = header_due_ && header_comes;
    w.put(header ? 1 : 0, 1);
    if (header) put_sbr_header(w, {header_});
    header_due_ = header_due_ && !header;
    SbrFrameWriter writer(random_, header_, tables_);
    writer.continuous = true;
    writer.levels.high = 28;    // as loud as music
    writer.balances.high = 50;  // the rest is beyond what is either channel alone
    pair ? writer.put_pair(w, models_[0], models_[1], coupled) : writer.put_single(w, models_[0]);
    // Nothing of it is read, so nothing can refer to it.
    if (!header_comes) models_[0] = {};
    put_extended_data(w);
    const auto bytes = w.bytes();
    BitReader reader(bytes.data(), bytes.size());
    bool ps_seen = false;
    for (SbrChannelFrame& channel : frame_.channel) channel.status = SbrStatus::kNone;
    result_ = parse_sbr_payload(reader, false, {0, pair}, parser_, frame_, ps_seen);
    return frame_;
  }
  SbrResult result() const { return result_; }

 private:
  void put_extended_data(BitWriter& w) {
    BitWriter data;
    if (with_ps_) {
      ps_.put_frame(data, count_ % 5 == 0);
      // A frame without parametric stereo data every now and then.
      if (++count_ % 4 == 3) data = {};
    }
    w.put(data.size() != 0 ? 1 : 0, 1);
    if (data.size() == 0) return;
    const size_t bytes = (data.size() + 2 + 7) / 8;
    if (bytes < 15) {
      w.put(bytes, 4);
    } else {
      w.put(15, 4).put(bytes - 15, 8);
    }
    w.put(2, 2).append(data).put(0, static_cast<int>(8 * bytes - 2 - data.size()));
  }

  std::mt19937 random_;
  int32_t rate_hz_;
  bool with_ps_;
  int count_ = 0;
  PsWriter ps_;
  SbrHeader header_;
  SbrBandTables tables_;
  bool header_due_ = false;
  SbrParser parser_;
  SbrModel models_[2];
  SbrFrame frame_;
  SbrResult result_ = SbrResult::kInvalid;
};

// Half a step is the rounding to 16 bits.
constexpr double kTolerance = 0.52;
// Without a limiter a gain may raise what is all but silent, 1/64 of a step, and its rounding with it.
double tolerance(const SbrHeader& header) {
  return header.limiter_gains == 3 ? 2 : kTolerance;
}

TEST(SbrSynthesis, EveryKindOfFrameFollowsTheReference) {
  for (uint32_t number = 0; number < 60; ++number) {
    constexpr int32_t kRates[] = {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};
    Stream stream(number, kRates[number % 9], false);
    CoreSignal core(number);
    Comparison comparison({2, 0}, false);
    comparison.decode(0, {}, core.frame());
    for (int f = 0; f < 8; ++f) {
      const SbrFrame& frame = stream.next();
      ASSERT_EQ(stream.result(), SbrResult::kParsed);
      comparison.decode(0, frame, core.frame());
    }
    EXPECT_LT(comparison.worst(), tolerance(stream.header())) << number;
    EXPECT_GT(comparison.energy(), 1e9);
  }
}

TEST(SbrSynthesis, PairsFollowTheReferenceCoupledAndNot) {
  for (uint32_t number = 0; number < 20; ++number) {
    Stream stream(number, 22050, false);
    CoreSignal core[2] = {CoreSignal(number), CoreSignal(number + 100)};
    Comparison comparison({2, 0}, false);
    for (int c = 0; c < 2; ++c) comparison.decode(c, {}, core[c].frame());
    for (int f = 0; f < 8; ++f) {
      const SbrFrame& frame = stream.next(true, number % 2 != 0);
      ASSERT_EQ(stream.result(), SbrResult::kParsed);
      for (int c = 0; c < 2; ++c) comparison.decode(c, frame, core[c].frame());
    }
    EXPECT_LT(comparison.worst(), tolerance(stream.header())) << number;
  }
}

TEST(SbrSynthesis, ParametricStereoFollowsTheReferenceInEveryMode) {
  for (uint32_t number = 0; number < 30; ++number) {
    Stream stream(number, 22050, true);
    CoreSignal core(number);
    Comparison comparison({number % 2 != 0 ? 2 : 1, 0}, true);
    comparison.decode(0, {}, core.frame());
    for (int f = 0; f < 12; ++f) {
      const SbrFrame& frame = stream.next();
      ASSERT_EQ(stream.result(), SbrResult::kParsed);
      comparison.decode(0, frame, core.frame());
    }
    EXPECT_LT(comparison.worst(), tolerance(stream.header())) << number;
  }
}

TEST(SbrSynthesis, HeaderChangesAndMissingDataFollowTheReference) {
  for (uint32_t number = 0; number < 30; ++number) {
    Stream stream(number, 24000, number % 2 != 0);
    CoreSignal core(number);
    Comparison comparison({2, 0}, number % 2 != 0);
    double bound = 0;
    for (int f = 0; f < 16; ++f) {
      // Before the first header there is nothing to read, later a frame now and then has no data.
      if (f % 4 == 3) stream.change_header();
      const SbrFrame& frame = stream.next(false, false, f > 1);
      ASSERT_EQ(stream.result(), f > 1 ? SbrResult::kParsed : SbrResult::kNoHeader);
      bound = std::max(bound, tolerance(stream.header()));
      comparison.decode(0, f % 6 == 5 ? SbrFrame{} : frame, core.frame());
    }
    EXPECT_LT(comparison.worst(), bound) << number;
  }
}

TEST(SbrSynthesis, OutputAtTheCoreRateAndForTheResamplerFollowsTheReference) {
  for (int resampling = 0; resampling <= 8; ++resampling) {
    for (const int multiplier : {1, 2}) {
      Stream stream(static_cast<uint32_t>(resampling), 24000, false);
      CoreSignal core(3);
      Comparison comparison({multiplier, resampling}, false);
      comparison.decode(0, {}, core.frame());
      for (int f = 0; f < 6; ++f) comparison.decode(0, stream.next(), core.frame());
      EXPECT_LT(comparison.worst(), tolerance(stream.header())) << resampling << " " << multiplier;
    }
  }
}

}  // namespace
}  // namespace zdr::aacdec
