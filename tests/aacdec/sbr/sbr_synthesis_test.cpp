// Compares SBR and parametric stereo, from random payloads to PCM, with the double-precision reference.
#include "aacdec/sbr/sbr_synthesis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfenv>
#include <cmath>
#include <cstring>
#include <iterator>
#include <memory>
#include <type_traits>

#include "aacdec/fixed/cpu.h"
#include "aacdec/fixed/fixed_point.h"
#include "aacdec/fixed/magnitude.h"
#include "aacdec/sbr/sbr_hf_generation.h"
#include "aacdec/sbr/sbr_kernels.h"
#include "aacdec/tables/qmf_prototype.h"
#include "mediakit/aac/sbr_stream.h"
#include "tests/aacdec/sbr/sbr_reference.h"

namespace zdr::test {
namespace {

using namespace aacdec;

using Pcm = std::vector<int16_t>;

template <class T>
bool same_bits(const T& a, const T& b) {
  static_assert(std::has_unique_object_representations_v<T>);
  return std::memcmp(&a, &b, sizeof a) == 0;
}

struct Decoder {
  std::unique_ptr<SbrSynthesis> sbr = std::make_unique<SbrSynthesis>();
  std::unique_ptr<PsSynthesis> ps = std::make_unique<PsSynthesis>();
  SbrOutput output;

  explicit Decoder(const SbrSettings& settings) {
    sbr->configure(settings);
    ps->configure();
  }
  // Decodes to an output of two channels.
  Pcm decode(const SbrFrame& frame, const std::vector<Pcm>& cores, bool stereo, int fade_level = 0) {
    Pcm pcm(4096);
    for (size_t c = 0; c < cores.size(); ++c) std::copy(cores[c].begin(), cores[c].end(), sbr->core_pcm[c]);
    output = sbr->process_frame(frame, static_cast<int>(cores.size()), fade_level,
                                stereo ? ps.get() : nullptr, pcm.data(), 2);
    return pcm;
  }
  // The samples before synthesis, and what they depend on, are finer than those of the PCM.
  bool has_same_bands(const Decoder& other) const {
    const PsSynthesisState& a = ps->state;
    const PsSynthesisState& b = other.ps->state;
    return same_bits(sbr->bands, other.sbr->bands) && same_bits(sbr->bank, other.sbr->bank) &&
           same_bits(sbr->levels, other.sbr->levels) && same_bits(a.right, b.right) &&
           same_bits(a.hybrid, b.hybrid) && same_bits(a.decorrelated, b.decorrelated) &&
           same_bits(a.energy, b.energy);
  }
};

// Decodes one stream with every instruction set and with the reference.
class Comparison {
 public:
  Comparison(const SbrSettings& settings, bool stereo)
      : reference_(static_cast<size_t>(settings.rate_multiplier),
                   kCuts[settings.resampling_class] * static_cast<size_t>(settings.rate_multiplier) / 2),
        stereo_(stereo),
        samples_(1024 * settings.rate_multiplier) {
    for (size_t i = 0; i < vector_levels().size(); ++i) decoders_.emplace_back(settings);
  }

  // Returns the largest difference in the frame.
  double decode(const SbrFrame& frame, const std::vector<Pcm>& cores, int fade_level) {
    const Pcm pcm = decode_at(VectorLevel::kBase, frame, cores, fade_level);
    for (const VectorLevel level : vector_levels()) {
      if (level == VectorLevel::kBase) continue;
      EXPECT_EQ(decode_at(level, frame, cores, fade_level), pcm);
      EXPECT_TRUE(decoder(level).has_same_bands(decoder(VectorLevel::kBase)));
    }
    std::vector<SbrReference::Signal> signals;
    for (const Pcm& core : cores) signals.emplace_back(core.begin(), core.end());
    const auto expected = reference_.process(frame, signals, stereo_, kFades[fade_level]);
    // Nothing accumulates in the bands past the last one.
    const MagnitudeRow& present = decoder(VectorLevel::kBase).sbr->levels.present;
    EXPECT_LT(std::ranges::max(present.exponent), 250);
    const SbrOutput& output = decoder(VectorLevel::kBase).output;
    EXPECT_EQ(output.samples, samples_);
    EXPECT_EQ(output.channel_count, expected.size());
    double worst = 0;
    for (size_t c = 0; c < expected.size(); ++c) {
      for (size_t i = 0; i < expected[c].size(); ++i) {
        const double target = std::clamp(expected[c][i], -32768.0, 32767.0);
        worst = std::max(worst, std::abs(pcm[2 * i + c] - target));
        energy += target * target;
      }
    }
    return worst;
  }
  double energy = 0;

 private:
  static constexpr size_t kCuts[9] = {64, 32, 16, 46, 23, 11, 42, 21, 10};
  static constexpr double kFades[6] = {1, 1, 0.5, 0.25, 0, 0};

  Decoder& decoder(VectorLevel level) { return decoders_[static_cast<size_t>(level)]; }
  Pcm decode_at(VectorLevel level, const SbrFrame& frame, const std::vector<Pcm>& cores, int fade_level) {
    limit_vector_level(level);
    return decoder(level).decode(frame, cores, stereo_, fade_level);
  }

  std::vector<Decoder> decoders_;
  SbrReference reference_;
  bool stereo_;
  int samples_;
};

struct Kind {
  const char* name;
  uint32_t streams;
  int frames;
  // Both repeated over the frames. Elements: s single channel, p pair, c coupled pair, n single channel
  // without SBR data. Fades: the fade level.
  const char* elements;
  const char* fades = "0";
  bool ps = false;
  bool header_changes = false;  // also, the first frames have no header
  int multiplier = 2;           // 0: both, by stream
  bool resampled = false;
  bool loud = false;  // square waves of full scale, the largest values of a band
};

constexpr Kind kKinds[] = {{"SingleChannels", 52, 8, "s"},
                           {"Pairs", 20, 8, "p"},
                           {"CoupledPairs", 20, 8, "c"},
                           {"ParametricStereo", 26, 12, "s", "0", true, false, 0},
                           {"HeaderChangesAndMissingData", 20, 16, "sssssn", "0", false, true},
                           {"HeaderChangesAndMissingDataInStereo", 20, 16, "sssssn", "0", true, true},
                           {"Fades", 13, 12, "s", "000012345543", true},
                           {"SinglesAndPairsInTurn", 13, 15, "ssspcnnn"},
                           {"ParametricStereoAndPairsInTurn", 13, 15, "ssspcsnn", "0", true},
                           {"OutputsForTheResampler", 18, 6, "s", "0", false, false, 0, true},
                           {"OutputsForTheResamplerInStereo", 18, 6, "s", "0", true, false, 0, true},
                           {"FullScale", 12, 6, "s", "0", false, false, 2, false, true},
                           {"FullScaleInStereo", 12, 6, "s", "0", true, false, 2, false, true}};

// Rounding to 16 bits accounts for half a step. Without a limiter, a gain may amplify a signal near silence
// (1/64 of a step) together with its rounding error.
double tolerance(const SbrHeader& header, const Kind& kind) {
  return header.limiter_gains == 3 ? 2 : kind.loud ? 0.6 : 0.52;
}

// Returns a stream of its own for each number. If the resampler follows, its bands extend past all cuts.
SbrStream random_stream(uint32_t number, int32_t core_rate_hz, const Kind& kind) {
  constexpr int kPastEveryCut = 50;
  for (uint32_t seed = number;; seed += 1000) {
    SbrStream stream(seed, core_rate_hz, kind.ps);
    SbrBandTables bands;
    build_sbr_bands(stream.header(), 2 * core_rate_hz, bands);
    if (!kind.resampled || bands.kx + bands.m >= kPastEveryCut) return stream;
  }
}

void expect_reference(const Kind& kind, uint32_t number) {
  constexpr int32_t kRates[] = {22050, 7350,  8000,  11025, 12000, 16000, 24000,
                                32000, 44100, 48000, 64000, 88200, 96000};
  SbrStream stream = random_stream(number, kRates[number % std::size(kRates)], kind);
  CoreSignal core[2] = {CoreSignal(number), CoreSignal(number + 100)};
  const int multiplier = kind.multiplier != 0 ? kind.multiplier : 1 + static_cast<int>(number % 2);
  Comparison comparison({multiplier, kind.resampled ? static_cast<int>(number / 2 % 9) : 0}, kind.ps);
  if (!kind.header_changes) comparison.decode({}, {core[0].frame()}, 0);
  double tolerance_before = 0;
  for (int f = 0; f < kind.frames; ++f) {
    const auto at = static_cast<size_t>(f);
    const char element = kind.elements[at % std::strlen(kind.elements)];
    const bool pair = element == 'p' || element == 'c';
    if (kind.header_changes && f % 4 == 3) stream.change_header();
    SbrFrame frame = stream.next(pair ? element : 's');
    if (element == 'n') frame = {};
    if (kind.header_changes && f < 2) frame.channel[0].status = SbrStatus::kNoHeader;
    std::vector<Pcm> cores{core[0].frame()};
    if (pair) cores.push_back(core[1].frame());
    for (size_t i = 0; kind.loud && i < 1024; ++i) {
      cores[0][i] = static_cast<int16_t>(i / (size_t{2} << number % 6) % 2 * 65535 - 32768);
    }
    const int fade = kind.fades[at % std::strlen(kind.fades)] - '0';
    const double worst = comparison.decode(frame, cores, fade);
    const double tolerance_now = tolerance(stream.header(), kind);
    EXPECT_LT(worst, std::max(tolerance_before, tolerance_now)) << "frame " << f;
    tolerance_before = tolerance_now;
  }
  EXPECT_GT(comparison.energy, 1e9);
}

class SbrStreams : public testing::TestWithParam<Kind> {};

// Includes streams that announce 34 bands or the other mixing procedure, and frames without SBR data.
TEST_P(SbrStreams, KeptAllMatchTheReference) {
  for (uint32_t number = 0; number < GetParam().streams; ++number) {
    SCOPED_TRACE(number);
    expect_reference(GetParam(), number);
  }
}

INSTANTIATE_TEST_SUITE_P(All, SbrStreams, testing::ValuesIn(kKinds),
                         [](const auto& kind) { return kind.param.name; });

// Two single channel elements may have different headers. The tables of the first may then be shorter than
// the merged range, and decoding must not read past them.
TEST(SbrSynthesis, KeptMonoMixHasTheSinusoidsOfBothAndTheLargerBandRange) {
  struct Case {
    uint8_t kx[2], m[2];
    bool has_second;
    int merged_kx, merged_m;
  };
  for (const Case& c : {Case{{20, 24}, {22, 10}, true, 24, 22}, Case{{24, 20}, {10, 22}, true, 24, 22},
                        Case{{31, 20}, {10, 40}, true, 31, 33}, Case{{20, 24}, {22, 30}, false, 20, 22}}) {
    SbrFrame frame = SbrStream(1, 22050, false).next('p');
    for (size_t i = 0; i < 2; ++i) {
      SbrChannelFrame& channel = frame.channel[i];
      channel.bands.kx = c.kx[i];
      channel.bands.m = c.m[i];
      std::ranges::fill(channel.add_harmonic, uint8_t{0});
      channel.add_harmonic[1 + 2 * i] = 1;
    }
    if (!c.has_second) frame.channel[1].status = SbrStatus::kNoHeader;
    merge_sbr_for_mono(frame);
    const SbrChannelFrame& merged = frame.channel[0];
    EXPECT_EQ(merged.bands.kx, c.merged_kx);
    EXPECT_EQ(merged.bands.m, c.merged_m);
    const uint8_t sinusoids[4] = {0, 1, 0, c.has_second};
    EXPECT_TRUE(std::equal(sinusoids, sinusoids + 4, merged.add_harmonic));
    Decoder decoder({2, 0});
    for (int f = 0; f < 3; ++f) decoder.decode(frame, {Pcm(1024, 9000)}, false);
  }
}

// A row without whitening is the one that the filter computes with taps of 0, at every size of the samples.
TEST(SbrSynthesis, CopiesRowsWithoutWhiteningAsTheFilterDoes) {
  SbrChannelFrame frame;
  frame.bands.kx = kCoreBands;
  frame.bands.m = frame.bands.patch_width[0] = 29;
  frame.bands.patch_count = frame.grid.envelope_count = 1;
  frame.grid.border[1] = kQmfSlots / 2;
  const auto bands = std::make_unique<QmfMatrix>();
  uint32_t random = 1;
  for (int row = 0; row < frame.bands.m; ++row) {
    for (int32_t* line : {bands->re[row], bands->im[row]}) {
      std::generate_n(line, kRowSlots, [&] {
        random = random * 1664525 + 1013904223;
        return row == 0 ? 0 : static_cast<int32_t>(random) >> (31 - row);
      });
    }
  }
  const auto state = std::make_unique<SbrChannelState>();
  RowScale scales[kQmfBands];
  generate_high_bands(frame, *state, *bands, scales);
  for (int row = 0; row < frame.bands.m; ++row) {
    const int target = kCoreBands + row;
    const QmfMatrix copied = *bands;
    const PatchFilter filter{
        row, target, 0, 0, 0, 0, scales[target].exponent + 28 + kSampleScaleBits, kQmfSlots + kLeadSlots};
    sbr_kernels().patch(*bands, filter);
    for (int s = kLeadSlots; s < filter.end; ++s) {
      ASSERT_EQ(copied.re[target][s], bands->re[target][s]) << row;
      ASSERT_EQ(copied.im[target][s], bands->im[target][s]) << row;
    }
  }
}

// Gives the first samples of a frame without bands sums that are close to half a step.
void aim_at_half_steps(QmfSynthesisState& state) {
  auto& rows = state.history;
  for (int n = 0; n < kQmfBands; ++n) {
    const auto tap = [n](int j) { return int64_t{kQmfPrototype.q31[kQmfBands * j + n]}; };
    int64_t sum = 0;
    for (int j = 1; j < 9; ++j) sum += rows[n + j % 2 * kQmfBands][10 - j] * tap(j);
    int32_t& last = rows[kQmfBands + n][1];
    const int64_t target = (sum >> 43) * (int64_t{1} << 43) + (int64_t{1} << 42) - (int64_t{1} << 31);
    last = static_cast<int32_t>((target - sum) / tap(9) + n % 2);
  }
}

// Rounding to nearest, most samples are estimated; in the other modes, all are summed exactly.
TEST(SbrSynthesis, WindowsAlikeInEveryRoundingMode) {
  constexpr int kModes[] = {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO};
  uint32_t random = 1;
  const auto bands = std::make_unique<QmfMatrix>();
  const auto scratch = std::make_unique<QmfScratch>();
  // From silence, with many sums close to half a step, to saturation. The last rounds have large values in
  // the history only, in all rows or in the upper half.
  for (int round = 0; round < 140; ++round) {
    const bool aimed = round >= 120;
    const auto sample = [&] {
      random = random * 1664525 + 1013904223;
      const int shift = aimed ? 4 : round % 30 + 1 + static_cast<int>(random / 512 % 8);
      return static_cast<int32_t>(random) >> std::min(shift, 31);
    };
    QmfSynthesisState history;
    for (auto& row : bands->re) std::ranges::generate(row, sample);
    for (auto& row : bands->im) std::ranges::generate(row, sample);
    for (auto& row : history.history) std::ranges::generate(row, sample);
    if (aimed) {
      std::memset(static_cast<void*>(bands.get()), 0, sizeof *bands);
      for (int n = 0; round % 2 != 0 && n < kQmfBands; ++n) {
        for (int32_t& v : history.history[n]) v >>= 12;
      }
      aim_at_half_steps(history);
    }
    const int band_count = round / 30 % 2 == 0 ? kQmfBands : kCoreBands;
    Pcm expected;
    for (const VectorLevel level : vector_levels()) {
      limit_vector_level(level);
      for (const int mode : kModes) {
        QmfSynthesisState state = history;
        Pcm pcm(static_cast<size_t>(kQmfSlots * band_count));
        std::fesetround(mode);
        sbr_kernels().synthesise(*bands, band_count, band_count, kSampleScaleBits - round / 60 % 2, state,
                                 *scratch, nullptr, pcm.data());
        std::fesetround(FE_TONEAREST);
        if (expected.empty()) expected = pcm;
        ASSERT_EQ(pcm, expected) << "round " << round << ", mode " << mode;
      }
    }
  }
}

// value 2^exponent as mantissa / 2^shift, 0 if that is too small.
struct MixFactor {
  int64_t mantissa = 0;
  int shift = 1;

  MixFactor(Magnitude value, int exponent) : shift(std::max(-1 - value.exponent - exponent, 1)) {
    if (shift <= 62 && !value.is_zero()) mantissa = value.mantissa / 2;
  }
  bool is_small(int bits) const { return mantissa == 0 || bits + 31 - shift <= kPartBits; }
  int64_t rounded(int32_t v) const {
    return mantissa == 0 ? 0 : (v * mantissa + (int64_t{1} << (shift - 1))) >> shift;
  }
  // Rounded to 2^32 first, where the shift is larger.
  int64_t rounded_twice(int32_t v) const {
    if (mantissa == 0 || shift <= 32) return rounded(v);
    return (((v * mantissa + (int64_t{1} << 31)) >> 32) + (int64_t{1} << (shift - 32) >> 1)) >> (shift - 32);
  }
};

// mix_rows, sample by sample.
void expect_rows_mixed(const SbrKernels& kernels, const SbrLevels& levels, const QmfMatrix& bands, int count,
                       std::pair<int, int> slots, int index) {
  constexpr int kFirstRow = kQmfBands - kMaxSbrBands;
  QmfMatrix mixed = bands;
  const uint64_t rest = kernels.mix_rows(mixed, kFirstRow, levels, count, slots.first, slots.second, index);
  for (int i = 0; i < count; ++i) {
    const MixFactor gain(levels.gain[i], levels.exponent[i]);
    const MixFactor noise(levels.noise[i], kSampleScaleBits - 31);
    const bool is_mixed =
        levels.sine.is_zero(i) && noise.mantissa != 0 && noise.is_small(31) && gain.is_small(levels.bits[i]);
    ASSERT_EQ(rest >> i & 1, is_mixed ? 0 : 1) << "band " << i;
    for (int s = 0; s < kRowSlots; ++s) {
      int32_t re = bands.re[kFirstRow + i][s];
      int32_t im = bands.im[kFirstRow + i][s];
      if (is_mixed && s >= slots.first && s < slots.second) {
        const auto& value =
            kSbrNoiseQ31[(index + i + (s - slots.first) * levels.noise_table.step) % kSbrNoiseLength];
        re = static_cast<int32_t>(gain.rounded_twice(re) + noise.rounded(value[0]));
        im = static_cast<int32_t>(gain.rounded_twice(im) + noise.rounded(value[1]));
      }
      ASSERT_EQ(mixed.re[kFirstRow + i][s], re) << "band " << i << ", slot " << s;
      ASSERT_EQ(mixed.im[kFirstRow + i][s], im) << "band " << i << ", slot " << s;
    }
  }
}

// The kernels that compute levels, against single numbers.
TEST(SbrSynthesis, ComputesLevelsLikeSingleNumbersInEveryRoundingMode) {
  constexpr int kModes[] = {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO};
  constexpr MagnitudeRow SbrLevels::*kRows[] = {
      &SbrLevels::target, &SbrLevels::present,    &SbrLevels::gain,        &SbrLevels::noise,
      &SbrLevels::sine,   &SbrLevels::noise_part, &SbrLevels::signal_part, &SbrLevels::factor};
  uint32_t random = 1;
  const auto number = [&](bool nonzero) -> Magnitude {
    random = random * 1664525 + 1013904223;
    const uint32_t kEdges[8] = {0, 0, 1U << 31, (1U << 31) + 1, ~0U, ~1U, ~0U << 8, random | 1U << 31};
    const uint32_t mantissa = kEdges[random >> 29];
    return {nonzero ? mantissa | 1U << 31 : mantissa, static_cast<int>(random >> 9) % 80 - 71};
  };
  const auto bands = std::make_unique<QmfMatrix>();
  const auto sample = [&] { return static_cast<int32_t>(number(false).mantissa << random % 2) >> 3; };
  for (auto& row : bands->re) std::ranges::generate(row, sample);
  for (auto& row : bands->im) std::ranges::generate(row, sample);
  for (int round = 0; round < 900 && !HasFatalFailure(); ++round) {
    limit_vector_level(vector_levels()[static_cast<size_t>(round) % vector_levels().size()]);
    const SbrKernels& kernels = sbr_kernels();
    const int count = round / 3 % 2 == 0 ? kQmfBands : 13;
    SbrLevels in{};
    in.sine_count = round / 6 % 2;
    for (int i = 0; i < kQmfBands; ++i) {
      for (const auto row : kRows) (in.*row).set(i, number(false));
      in.factor.set(i, number(i == 0 || !in.gain.is_zero(i)));
    }
    SbrLevels out = in;
    const auto expect = [&](auto compute_band) {
      SbrLevels expected = in;
      for (int i = 0; i < count; ++i) compute_band(expected, i);
      for (const auto row : kRows) {
        for (int i = 0; i < kQmfBands; i = i + 1 == count ? whole_blocks(count) : i + 1) {
          const auto [a, b] = std::pair{(out.*row)[i], (expected.*row)[i]};
          ASSERT_TRUE(a.mantissa == b.mantissa && (a.is_zero() || a.exponent == b.exponent))
              << "round " << round << ", band " << i << ": " << a.mantissa << ", not " << b.mantissa;
        }
      }
      out = in;
    };
    std::fesetround(kModes[round / 12 % 4]);
    kernels.divide_levels(out.present, count, in.factor[0]);
    expect([&](SbrLevels& v, int i) { v.present.set(i, v.present[i] / in.factor[0]); });
    kernels.divide_q28(in.gain, in.factor, count, reinterpret_cast<int32_t*>(out.sine.mantissa));
    expect([](SbrLevels& v, int i) {
      const auto [mantissa, exponent] = scaled(v.gain[i] / v.factor[i], 28);
      const int right = std::clamp(-exponent, 0, 34);
      const uint64_t rounded = ((uint64_t{mantissa} << 1 >> right) + 1) / 2;
      v.sine.mantissa[i] = static_cast<uint32_t>(std::min<uint64_t>(rounded, kInt32Max));
    });
    kernels.weigh_levels(out, count);
    expect([](SbrLevels& v, int i) {
      v.noise.set(i, v.target[i] * v.noise_part[i]);
      v.gain.set(i, v.target[i] * v.signal_part[i] / (magnitude_of(1) + v.present[i]));
    });
    kernels.limit_levels(out, count);
    expect([](SbrLevels& v, int i) {
      if (v.factor[i] < v.gain[i]) v.noise.set(i, v.noise[i] * v.factor[i] / v.gain[i]);
      v.gain.set(i, smaller(v.gain[i], v.factor[i]));
      v.present.set(i, v.present[i] * v.gain[i]);
    });
    kernels.finish_levels(out, count);
    expect([](SbrLevels& v, int i) {
      v.gain.set(i, square_root(v.gain[i] * v.factor[i]));
      v.noise.set(i, square_root(v.noise[i] * v.factor[i]));
      if (v.sine_count > 0) v.sine.set(i, square_root(v.sine[i] * v.factor[i]));
    });
    std::fesetround(FE_TONEAREST);
    uint64_t sums[kQmfBands + 1] = {};
    const int first = round % 10;
    const int end = first + round % 30;
    kernels.measure_rows(*bands, kQmfBands - count, count, first, end, sums);
    for (int i = 0; i < count * kRowSlots; ++i) {
      const int slot = i % kRowSlots;
      if (slot < first || slot >= end) continue;
      const int64_t re = bands->re[kQmfBands - count + i / kRowSlots][slot];
      const int64_t im = bands->im[kQmfBands - count + i / kRowSlots][slot];
      sums[i / kRowSlots] -= static_cast<uint64_t>(re * re + im * im);
    }
    ASSERT_EQ(std::ranges::count(sums, 0U), std::size(sums)) << "round " << round;
    for (int i = 0; i < kQmfBands; ++i) {
      in.exponent[i] = (round + 5 * i) % 30 - 15;
      in.bits[i] = 29 + i % 3;
    }
    in.noise_table.arrange(1 + round % kQmfBands);
    expect_rows_mixed(kernels, in, *bands, std::min(count, kMaxSbrBands), {first, end}, round);
  }
}

}  // namespace
}  // namespace zdr::test
