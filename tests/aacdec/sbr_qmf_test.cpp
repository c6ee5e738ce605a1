#include "aacdec/sbr_qmf.h"

#include <gtest/gtest.h>

#include <cmath>
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
  QmfSynthesisState synthesis{};
  QmfScratch scratch{};
  QmfMatrix bands{};

  explicit Bank(const SbrKernels& k) : kernels(&k) {}
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
      // line can hold is only cut somehow; the frame after it is left out, then all is well again. A single
      // band at the top comes out clipped, with the right sign.
      constexpr double kOneBand = 3e9;
      constexpr double kClick = 4e9;  // of all bands
      for (const double level : {100.0, 100.0, 1e5, 2e6, 1e7, 2e9, kOneBand, kClick, 1e5, 1e5}) {
        std::vector<Slot> slots(kQmfSlots);
        for (Slot& slot : slots) {
          if (level < kOneBand) slot = random_slot(random, level);
          if (level == kOneBand) slot[7] = {2147483647.0, -2147483647.0};
          if (level == kClick) slot.fill(0x1p27);
        }
        fill(bank.bands, slots);
        const std::vector<int16_t> pcm = bank.synthesise(band_count, kSampleScaleBits);
        for (size_t t = 0; t < kQmfSlots; ++t) {
          const std::vector<double> expected = model.slot(slots[t]);
          if (level == 2e9 || (before > 1e8 && t < 10)) continue;
          for (size_t i = 0; i < expected.size(); ++i) {
            if (level >= kOneBand && std::abs(expected[i]) < 0x1p24) continue;
            const double value = std::clamp(expected[i] / 64, -32768.0, 32767.0);
            ASSERT_NEAR(pcm[t * expected.size() + i], value, 0.51) << level << " " << t << " " << i;
          }
        }
        before = level;
      }
    }
  }
}

// Leftovers of another channel.
TEST(SbrRows, DoNotDependOnWhatStandsBehindThem) {
  for (const SbrKernels* kernels : all_kernels()) {
    uint32_t used[2];
    LaggedSums sums[2];
    uint64_t energy[2];
    for (const bool leftovers : {false, true}) {
      std::mt19937 random(11);
      Bank bank(*kernels);
      std::vector<Slot> slots(kQmfSlots);
      for (Slot& slot : slots) slot = random_slot(random, 1000);
      fill(bank.bands, slots);
      for (int s = kRowSlots; s < kRowStride; ++s) {
        bank.bands.re[3][s] = bank.bands.im[3][s] = leftovers ? 1 << 22 : 0;
      }
      kernels->correlate(bank.bands.re[3], bank.bands.im[3], kRowSlots - 2, sums[leftovers ? 1 : 0]);
      energy[leftovers ? 1 : 0] = kernels->measure_energy(bank.bands.re[3], bank.bands.im[3], kRowSlots - 3);
      used[leftovers ? 1 : 0] = kernels->patch(bank.bands, {3, 40, 1 << 28, 0, 0, 1 << 28, 20});
    }
    EXPECT_EQ(used[0], used[1]);
    EXPECT_EQ(energy[0], energy[1]);
    EXPECT_EQ(sums[0].energy, sums[1].energy);
    EXPECT_EQ(sums[0].re1, sums[1].re1);
    EXPECT_EQ(sums[0].im2, sums[1].im2);
  }
}

}  // namespace
}  // namespace zdr::aacdec
