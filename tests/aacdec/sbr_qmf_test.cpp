#include "aacdec/sbr_qmf.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>

#include "aacdec/cpu.h"
#include "aacdec/sbr_kernels.h"
#include "tests/aacdec/qmf_reference.h"

namespace zdr::aacdec {
namespace {

using namespace test;

struct Bank {
  const SbrKernels* kernels;
  QmfAnalysisState analysis{};
  QmfSynthesisState synthesis{};
  QmfScratch scratch{};
  QmfMatrix bands{};

  explicit Bank(const SbrKernels& k) : kernels(&k) {}
  void analyse(const std::vector<int16_t>& pcm) { kernels->analyse(pcm.data(), 1, analysis, scratch, bands); }
  std::vector<int16_t> synthesise(int band_count, int scale_bits) {
    std::vector<int16_t> pcm(static_cast<size_t>(32 * band_count));
    kernels->synthesise(bands, band_count, scale_bits, synthesis, scratch, pcm.data(), 1);
    return pcm;
  }
};

// Of every form that this processor runs.
std::vector<const SbrKernels*> all_kernels() {
  std::vector<const SbrKernels*> list{&kBaseSbrKernels};
  if (use_wide_vectors()) list.push_back(&sbr_kernels());
  return list;
}

std::vector<int16_t> random_pcm(std::mt19937& random, int amplitude) {
  std::uniform_int_distribution<int> draw(-amplitude, amplitude);
  std::vector<int16_t> pcm(1024);
  for (int16_t& sample : pcm) sample = static_cast<int16_t>(draw(random));
  return pcm;
}

// The largest difference between analysed slots and the model's, in steps of 16-bit PCM.
double analysis_error(const Bank& bank, QmfAnalysisReference& model, const std::vector<int16_t>& pcm) {
  const std::vector<double> samples(pcm.begin(), pcm.end());
  double worst = 0;
  for (size_t t = 0; t < kQmfSlots; ++t) {
    const Slot slot = model.slot(samples.data() + 32 * t);
    for (size_t k = 0; k < kCoreBands; ++k) {
      const Complex value(bank.bands.re[k][kHistorySlots + t], bank.bands.im[k][kHistorySlots + t]);
      worst = std::max(worst, std::abs(value / 64.0 - slot[k]));
    }
  }
  return worst;
}

TEST(SbrQmf, AnalysisFollowsTheReference) {
  std::mt19937 random(5);
  for (const SbrKernels* kernels : all_kernels()) {
    Bank bank(*kernels);
    QmfAnalysisReference model;
    for (const int amplitude : {32767, 300, 32767}) {
      std::vector<int16_t> pcm = random_pcm(random, amplitude);
      // The loudest that a band can be: a square wave of its frequency, full scale.
      if (amplitude == 32767) {
        for (size_t i = 0; i < 1024; ++i) pcm[i] = i / 8 % 2 != 0 ? int16_t{32767} : int16_t{-32768};
      }
      bank.analyse(pcm);
      EXPECT_LT(analysis_error(bank, model, pcm), 0.06) << amplitude;
    }
  }
}

Slot random_slot(std::mt19937& random, double deviation) {
  std::normal_distribution<double> draw(0, deviation);
  const auto sample = [&] { return std::round(std::clamp(draw(random), -2147483648.0, 2147483647.0)); };
  Slot slot;
  for (Complex& value : slot) value = {sample(), sample()};
  return slot;
}

void fill(QmfMatrix& bands, std::vector<Slot>& slots) {
  for (size_t t = 0; t < kQmfSlots; ++t) {
    for (size_t k = 0; k < kQmfBands; ++k) {
      bands.re[k][kLeadSlots + t] = static_cast<int32_t>(slots[t][k].real());
      bands.im[k][kLeadSlots + t] = static_cast<int32_t>(slots[t][k].imag());
    }
  }
}

TEST(SbrQmf, SynthesisFollowsTheReferenceAtEveryLevelAndClips) {
  for (const SbrKernels* kernels : all_kernels()) {
    for (const int band_count : {64, 32}) {
      std::mt19937 random(7);
      Bank bank(*kernels);
      QmfSynthesisReference model(band_count);
      double before = 0;
      // In units of 2^-6, from silence over full scale to the top of 32 bits. What is beyond what the delay
      // line can hold is only cut somehow; the frame after it is left out, then all is well again.
      for (const double level : {100.0, 100.0, 1e5, 2e6, 1e7, 2e9, 1e5, 1e5}) {
        std::vector<Slot> slots(kQmfSlots);
        for (Slot& slot : slots) slot = random_slot(random, level);
        fill(bank.bands, slots);
        const std::vector<int16_t> pcm = bank.synthesise(band_count, kSampleScaleBits);
        for (size_t t = 0; t < kQmfSlots; ++t) {
          const std::vector<double> expected = model.slot(slots[t]);
          if (level > 1e8 || (before > 1e8 && t < 10)) continue;
          for (size_t i = 0; i < expected.size(); ++i) {
            const double value = std::clamp(expected[i] / 64, -32768.0, 32767.0);
            ASSERT_NEAR(pcm[t * expected.size() + i], value, 0.51) << level << " " << t << " " << i;
          }
        }
        before = level;
      }
    }
  }
}

TEST(SbrQmf, FormsOfTheKernelsGiveTheSameBits) {
  std::mt19937 random(9);
  Bank base(kBaseSbrKernels);
  Bank wide(*all_kernels().back());
  for (int frame = 0; frame < 20; ++frame) {
    const std::vector<int16_t> pcm = random_pcm(random, 1 << (frame % 16));
    base.analyse(pcm);
    wide.analyse(pcm);
    ASSERT_EQ(std::memcmp(&base.bands, &wide.bands, sizeof base.bands), 0);
    PatchFilter filter{frame,
                       40 + frame % 20,
                       static_cast<int32_t>(random()),
                       static_cast<int32_t>(random()),
                       static_cast<int32_t>(random()),
                       static_cast<int32_t>(random()),
                       8 + frame};
    base.kernels->patch(base.bands, filter);
    wide.kernels->patch(wide.bands, filter);
    ASSERT_EQ(std::memcmp(&base.bands, &wide.bands, sizeof base.bands), 0);
    const int bands = frame % 2 != 0 ? 64 : 32;
    ASSERT_EQ(base.synthesise(bands, 4 + frame % 3), wide.synthesise(bands, 4 + frame % 3));
    ASSERT_EQ(std::memcmp(&base.synthesis, &wide.synthesis, sizeof base.synthesis), 0);
  }
}

}  // namespace
}  // namespace zdr::aacdec
