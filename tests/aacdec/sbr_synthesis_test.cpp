// SBR and parametric stereo, from written payloads to PCM, beside the double-precision reference.
#include "aacdec/sbr_synthesis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "tests/aacdec/sbr_reference.h"
#include "tests/aacdec/sbr_stream.h"

namespace zdr::aacdec {
namespace {

using namespace test;

constexpr int kResamplingCuts[9] = {64, 32, 16, 46, 23, 11, 42, 21, 10};

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

// Half a step is the rounding to 16 bits.
constexpr double kTolerance = 0.52;
// Without a limiter a gain may raise what is all but silent, 1/64 of a step, and its rounding with it.
double tolerance(const SbrHeader& header) {
  return header.limiter_gains == 3 ? 2 : kTolerance;
}

TEST(SbrSynthesis, EveryKindOfFrameFollowsTheReference) {
  for (uint32_t number = 0; number < 45; ++number) {
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

// Also the modes that announce 34 bands or the other mixing procedure.
TEST(SbrSynthesis, RequiredThatParametricStereoOfEveryModeFollowsOneReference) {
  for (uint32_t number = 0; number < 20; ++number) {
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
  for (uint32_t number = 0; number < 20; ++number) {
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
