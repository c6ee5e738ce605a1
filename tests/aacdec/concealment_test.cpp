// What is heard of lost and damaged blocks: the PCM of real ones against a model in double precision, which
// is told call by call what should sound.
#include "aacdec/concealment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "aacdec/fixed/fixed_point.h"
#include "aacdec/tables/spectral_codes.h"
#include "mediakit/aac/block_writer.h"
#include "tests/aacdec/core/reference_core.h"
#include "tests/aacdec/test_decoder.h"

namespace zdr::aacdec {
namespace {

using namespace test;

// A to C are pairs of long windows, C one that the store of good blocks cuts; S and T of eight short ones; D
// is A with dynamic range data that halve it; M has one channel; Q a value that no decoder takes.
struct Block {
  Bytes bytes;
  std::unique_ptr<Frame> frame;
  std::vector<Lines> spectra;
};

constexpr char kDamaged = 'd';  // the first half of A
constexpr char kLost = 'x';
constexpr char kConfigured = '!';

Bytes behind(BitWriter w, const Bytes& block) {
  for (const uint8_t byte : block) w.put(byte, 8);
  return w.bytes();
}

// Data stream elements that make a block longer than the store.
Bytes padded(const Bytes& block) {
  BitWriter w;
  for (int element = 0; element < 4; ++element) {
    w.fields({{kDse, 3}, {0, 4}, {0, 1}, {255, 8}, {200, 8}});
    for (int byte = 0; byte < 455; ++byte) w.put(0x5A, 8);
  }
  return behind(w, block);
}

// Control and reference level at which the gain is 2^((66 + 12) / 6 - 14).
Bytes halved(const Bytes& block) {
  BitWriter w;
  w.fields({{kFil, 3}, {3, 4}, {11, 4}, {0, 3}, {1, 1}, {48, 7}, {0, 1}, {0, 1}, {96, 7}});
  return behind(w, block);
}

Bytes single_channel() {
  BitWriter w;
  w.fields({{kSce, 3}, {0, 4}});
  put_band(w, 180, 1, 1).put(quad(1, -1, 0, 1));
  return end_block(w);
}

Bytes pair_with_8192() {
  BitWriter w;
  w.fields({{kCpe, 3}, {0, 4}, {0, 1}});
  for (int channel = 0; channel < 2; ++channel) {
    put_band(w, 180, 11, 1).put(kSpectralBook11[16 * 17]).fields({{0, 1}, {0x1FF, 9}, {0, 1}, {0, 13}});
    w.put(kSpectralBook11[0]);
  }
  return end_block(w);
}

// Lines of the frame that leads over from `a` to `b`.
Lines between(const Lines& a, bool a_is_short, const Lines& b, bool b_is_short) {
  Lines lines(kFrameLength);
  for (size_t i = 0; i < lines.size(); ++i) {
    lines[i] = 0.3321 * (a[i] + b[i]);
    if (a_is_short == b_is_short) continue;
    double mean = 0;
    for (size_t window = 0; window < 8; ++window) mean += (a_is_short ? a : b)[128 * window + i / 8] / 8;
    lines[i] = ((a_is_short ? b : a)[i] + mean) / std::sqrt(2.0);
  }
  return lines;
}

WindowSequence sequence_between(bool a_is_short, bool b_is_short) {
  if (a_is_short) return b_is_short ? WindowSequence::kEightShort : WindowSequence::kLongStop;
  return b_is_short ? WindowSequence::kLongStart : WindowSequence::kOnlyLong;
}

class Stream {
 public:
  Stream() {
    const AdtsFile file =
        sample("he-aac-v1-stereo.aac");  // its core; it has no noise, which is never the same
    const std::pair<char, size_t> real[] = {{'A', 12}, {'B', 20}, {'S', 4}, {'T', 9}};
    for (const auto& [name, number] : real) {
      blocks_[name].bytes = file.frames[number].payload;
    }
    const Bytes& a = blocks_['A'].bytes;
    blocks_['C'].bytes = padded(a);
    blocks_['D'].bytes = halved(a);
    blocks_['M'].bytes = single_channel();
    blocks_['Q'].bytes = pair_with_8192();
    for (auto& [name, block] : blocks_) {
      block.frame = parsed(block.bytes, file);
      block.spectra = ReferenceCore().reconstruct(*block.frame, {file.sampling_index, kProfileLc});
    }
    blocks_[kDamaged].bytes = Bytes(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(a.size() / 2));
    config_ = config_of(file);
    EXPECT_EQ(decoder_.configure(config_), ZD_AAC_DEC_OK);
  }

  // `sounds`: the blocks as "A"; "A/2" by which it is divided, "0A" without sound but with its windows; "A~B"
  // what leads from one to the other; "!A" when the call fails, but has made A sound; "-" without PCM.
  void expect(char call, std::string sounds) {
    if (call == kConfigured) {
      ASSERT_EQ(decoder_.configure(config_), ZD_AAC_DEC_OK);
      model_ = ReferenceCore();
      return;
    }
    const Bytes& bytes = blocks_[call].bytes;
    const Output output = call == kLost ? decoder_.lose() : decoder_.decode(bytes);
    const bool fails = sounds[0] == '!';
    ASSERT_EQ(output.status, fails ? ZD_AAC_DEC_ERR_FAILED : ZD_AAC_DEC_OK);
    const bool taken = fails || (call != kLost && call != kDamaged);
    EXPECT_EQ(output.consumed, taken ? static_cast<int32_t>(bytes.size()) : 0);
    if (sounds == "-") {
      EXPECT_TRUE(output.pcm.empty());
      return;
    }
    const std::vector<Lines> expected = play(fails ? sounds.substr(1) : sounds);
    if (!fails) compare(output.pcm, expected);
  }

 private:
  std::vector<Lines> play(const std::string& sounds) {
    const bool silent = sounds[0] == '0';
    const Block& block = blocks_[sounds[silent ? 1 : 0]];
    Frame frame = *block.frame;
    std::vector<Lines> spectra = block.spectra;
    if (const size_t at = sounds.find('~'); at != std::string::npos)
      bridge_to(blocks_[sounds[at + 1]], frame, spectra);
    const size_t at = sounds.find('/');
    const double divisor = at == std::string::npos ? 1 : sounds[at + 1] - '0';
    for (Lines& lines : spectra) {
      for (double& line : lines) line *= silent ? 0 : 1 / divisor;
    }
    return model_.synthesise(frame, spectra);
  }

  static void bridge_to(const Block& next, Frame& frame, std::vector<Lines>& spectra) {
    for (size_t c = 0; c < spectra.size(); ++c) {
      IcsInfo& ics = frame.channel[c].ics;
      const bool next_is_short = next.frame->channel[c].ics.is_short();
      spectra[c] = between(spectra[c], ics.is_short(), next.spectra[c], next_is_short);
      ics.window_sequence = sequence_between(ics.is_short(), next_is_short);
    }
  }

  static void compare(const Pcm& pcm, const std::vector<Lines>& expected) {
    ASSERT_EQ(pcm.size(), 2U * kFrameLength);
    for (size_t i = 0; i < pcm.size(); ++i) {
      const Lines& channel = expected[i % expected.size()];
      ASSERT_NEAR(pcm[i], std::clamp(channel[i / 2], -32767.0, 32767.0), 2) << "sample " << i;
    }
  }

  std::map<char, Block> blocks_;
  Zd_AAC_Dec_Config config_;
  TestDecoder decoder_;
  ReferenceCore model_;
};

struct GapCase {
  const char* name;
  const char* calls;
  const char* sounds;
};

// The depth of the fade: one deeper with every loss, one less with every block that arrives.
constexpr GapCase kGaps[] = {
    {"FadesByHalvesToSilence", "AAxxxxxx", "- A A A/2 A/4 0A 0A 0A"},
    {"EndsInARampToFullLevel", "AxxxxxABABB", "- A A/2 A/4 0A 0A 0A 0A B/4 A B"},
    {"OfFourIsAStepNearer", "AxxxxBABB", "- A A/2 A/4 0A A/4 B/4 A B"},
    {"OfThreeIsTwoStepsNearer", "AxxxBAB", "- A A/2 A/4 A/2 B A"},
    {"RequiredThatAShortOneIsBridgedBelowTheLevelOfItsEdges", "AxAxxA", "- A A~A A A/4 A~A"},
    {"IsBridgedFromOneBlockToTheOther", "AxBA", "- A A~B B"},
    {"OfTwoIsBridgedToo", "AxxBA", "- A A/2 A~B B"},
    {"FromLongToShortWindows", "AxSBA", "- A A~S S B"},
    {"FromShortToLongWindows", "ASxBA", "- A S S~B B"},
    {"FromShortToShortWindows", "ASxTB", "- A S S~T T"},
    {"RequiredThatEveryFurtherOneBeginsAStepDeeper", "AxBxxxx", "- A A~B B B/4 0B 0B"},
    {"RequiredThatDifferentChannelCountsAreFadedNotBridged", "AxMBxxMB", "- A A M B B/4 B/2 M"},
    {"CountsDamagedBlocks", "AxddBA", "- A A/2 A/4 A/2 B"},
    {"RequiredThatADamagedBlockIsSilentInTheNextCall", "AdBA", "- !A 0A B"},
    {"OfOneDamagedBlockAfterTheOther", "AddBA", "- !A !0A 0A B"},
    {"BehindADamagedBlockReturnsToTheGoodOne", "AdxxBA", "- !A 0A A/2 A~B B"},
    {"OfABlockWithAValueOutOfRange", "AQBA", "- !A 0Q B"},
    {"RequiredToBeSilentBehindABlockThatTheStoreCuts", "ACxxBA", "- A A 0A 0A B"},
    {"KeepsTheDynamicRangeOfItsBlock", "ADxxBA", "- A A/2 A/4 A~B/2 B"},
    {"RequiredThatTheFadeOutlivesANewConfiguration", "Axxxxx!ABA", "- A A/2 A/4 0A 0A ! - 0A B/4"},
};

class Gaps : public testing::TestWithParam<GapCase> {};

TEST_P(Gaps, SoundAsTold) {
  Stream stream;
  std::istringstream sounds(GetParam().sounds);
  for (const char* call = GetParam().calls; *call != 0; ++call) {
    SCOPED_TRACE(std::string("call ") + std::to_string(call - GetParam().calls + 1));
    std::string what;
    sounds >> what;
    stream.expect(*call, what);
    if (HasFatalFailure()) return;
  }
}

INSTANTIATE_TEST_SUITE_P(All, Gaps, testing::ValuesIn(kGaps),
                         [](const auto& parameter) { return parameter.param.name; });

TEST(Concealment, SaturatesWhereBothEdgesAreAtFullScale) {
  const auto held = std::make_unique<Frame>();
  const auto next = std::make_unique<Frame>();
  held->channel_count = next->channel_count = 2;
  next->channel[1].ics.window_sequence = WindowSequence::kEightShort;
  for (auto& lines : held->spectrum) std::fill(std::begin(lines), std::end(lines), kInt32Max);
  for (auto& lines : next->spectrum) std::fill(std::begin(lines), std::end(lines), kInt32Max);
  bridge(*held, *next);
  EXPECT_NEAR(held->spectrum[0][100], 0.3321 * kInt32Max, 1e5);
  EXPECT_NEAR(held->spectrum[1][100], kInt32Max / std::sqrt(2.0), 1e5);
}

}  // namespace
}  // namespace zdr::aacdec
