// Lost and damaged blocks: what replaces a frame, and when, by a list of what each call must sound like.
#include "aacdec/concealment.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "aacdec/core/core_synthesis.h"
#include "aacdec/fixed/fixed_point.h"
#include "mediakit/aac/block_writer.h"
#include "tests/aacdec/test_decoder.h"

namespace zdr::test {
namespace {

using namespace aacdec;

// Held and next frame, long or short, at two levels.
TEST(Concealment, KeptBridgesEqualFrames3Point55dBBelowTheirLevel) {
  const auto held = std::make_unique<Frame>();
  const auto next = std::make_unique<Frame>();
  held->channel_count = 1;
  for (const int32_t level : {10'000'000, kInt32Max}) {
    for (const auto& [held_is_short, next_is_short, sequence] :
         {std::tuple(false, false, WindowSequence::kOnlyLong),
          std::tuple(true, false, WindowSequence::kLongStop),
          std::tuple(false, true, WindowSequence::kLongStart),
          std::tuple(true, true, WindowSequence::kEightShort)}) {
      const auto fill = [level](Frame& frame, bool is_short) {
        frame.channel[0].ics.window_sequence =
            is_short ? WindowSequence::kEightShort : WindowSequence::kOnlyLong;
        for (int i = 0; i < kFrameLength; ++i) frame.spectrum[0][i] = level - 1000 * i;
      };
      fill(*held, held_is_short);
      fill(*next, next_is_short);
      bridge(*held, *next);
      EXPECT_EQ(held->channel[0].ics.window_sequence, sequence);
      for (int i = 0; i < kFrameLength; ++i) {
        const double line = level - 1000.0 * i;
        const double mean = level - 1000.0 * (i / 8 + 448);  // of the eight windows
        const bool is_same_kind = held_is_short == next_is_short;
        const double sum = std::min<double>(line + (is_same_kind ? line : mean), kInt32Max);
        ASSERT_NEAR(held->spectrum[0][i], sum * (is_same_kind ? 0.3321 : std::sqrt(0.5)), 3e-5 * level) << i;
      }
    }
  }
}

// A to C are pairs of long windows, C one that the store of good blocks truncates; S and T of eight short
// ones; M has one channel.
struct Block {
  Bytes bytes;
  std::unique_ptr<Frame> frame;  // with its spectra
};

constexpr char kDamaged = 'd';  // the first half of A
constexpr char kLost = 'x';
constexpr char kConfigured = '!';

class GapStream {
 public:
  GapStream() {
    // The core of a file without noise, which would never be the same twice.
    const AdtsFile file = sample("he-aac-v1-stereo.aac");
    const std::pair<char, size_t> real[] = {{'A', 12}, {'B', 20}, {'S', 4}, {'T', 9}};
    for (const auto& [name, number] : real) blocks_[name].bytes = file.frames[number].payload;
    BitWriter padding;
    for (int element = 0; element < 4; ++element) padding.append(data_element(455, 0x5A));
    blocks_['C'].bytes = padding.append(blocks_['A'].bytes).bytes();
    blocks_['M'].bytes = block_of(BitWriter{{kSce, 3}, {0, 4}} + channel_of_one_band(180, 1, 1) + kNoTools +
                                  quad(1, -1, 0, 1));
    for (auto& [name, block] : blocks_) {
      block.frame = parsed(block.bytes, file);
      EXPECT_TRUE(reconstruct_spectra(*block.frame, {file.sampling_index, kProfileLc}, *state_));
    }
    blocks_[kDamaged].bytes = truncated(blocks_['A'].bytes, blocks_['A'].bytes.size() / 2);
    config_ = config_of(file);
    expect(kConfigured, "-");
  }

  // `sounds`: the blocks as "A"; "A/2" by which it is divided; "0A" without sound but with its windows; "A~B"
  // for what leads from one to the other; "!A" when the call fails, but has made A sound; "-" without PCM.
  void expect(char call, std::string sounds) {
    if (call == kConfigured) {
      ASSERT_EQ(decoder_.configure(config_), ZD_AAC_DEC_OK);
      state_->reset();
      return;
    }
    const Bytes& bytes = blocks_[call].bytes;
    const Output output = call == kLost ? decoder_.lose() : decoder_.decode(bytes);
    const bool fails = sounds[0] == '!';
    ASSERT_EQ(output.status, fails ? ZD_AAC_DEC_ERR_FAILED : ZD_AAC_DEC_OK);
    const bool is_consumed = fails || (call != kLost && call != kDamaged);
    EXPECT_EQ(output.consumed, is_consumed ? static_cast<int32_t>(bytes.size()) : 0);
    const Pcm expected = sounds == "-" ? Pcm() : play(fails ? sounds.substr(1) : sounds);
    EXPECT_TRUE(fails || output.pcm == expected);
  }

 private:
  Pcm play(const std::string& sounds) {
    const bool is_silent = sounds[0] == '0';
    const auto frame = std::make_unique<Frame>(*blocks_[sounds[is_silent ? 1 : 0]].frame);
    if (is_silent) silence(*frame);
    if (sounds.size() > 1 && sounds[1] == '~') bridge(*frame, *blocks_[sounds[2]].frame);
    if (sounds.size() > 1 && sounds[1] == '/') fade(*frame, sounds[2] == '2' ? 2 : 3);
    Pcm pcm(2 * kFrameLength);
    const int channels = synthesise_core(*frame, *state_, kProfileLc, 2, pcm.data());
    for (size_t i = 0; channels == 1 && i < pcm.size(); i += 2) pcm[i + 1] = pcm[i];
    return pcm;
  }

  std::map<char, Block> blocks_;
  Zd_AAC_Dec_Config config_{};
  TestDecoder decoder_;
  std::unique_ptr<CoreState> state_ = std::make_unique<CoreState>();
};

struct GapCase {
  const char* name;
  const char* calls;
  const char* sounds;
};

void check(const GapCase& c) {
  GapStream stream;
  std::istringstream sounds(c.sounds);
  for (const char* call = c.calls; *call != 0; ++call) {
    SCOPED_TRACE(testing::Message() << c.name << ", call " << call - c.calls + 1);
    std::string expected;
    sounds >> expected;
    stream.expect(*call, expected);
    if (testing::Test::HasFatalFailure()) return;
  }
}

// The fade is one step deeper with every loss, one less with every block that arrives.
TEST(Gaps, AreBridgedOrFaded) {
  constexpr GapCase kCases[] = {
      {"fades by halves to silence", "AAxxxxxx", "- A A A/2 A/4 0A 0A 0A"},
      {"ends in a ramp to full level", "AxxxxxABABB", "- A A/2 A/4 0A 0A 0A 0A B/4 A B"},
      {"of four starts a step higher", "AxxxxBABB", "- A A/2 A/4 0A A/4 B/4 A B"},
      {"of three starts two steps higher", "AxxxBAB", "- A A/2 A/4 A/2 B A"},
      {"between equal blocks", "AxAxxA", "- A A~A A A/4 A~A"},
      {"between two blocks", "AxBA", "- A A~B B"},
      {"of two is bridged too", "AxxBA", "- A A/2 A~B B"},
      {"from long to short windows", "AxSBA", "- A A~S S B"},
      {"from short to long windows", "ASxBA", "- A S S~B B"},
      {"from short to short windows", "ASxTB", "- A S S~T T"},
      {"counts damaged blocks", "AxddBA", "- A A/2 A/4 A/2 B"},
      {"one damaged block after the other", "AddBA", "- !A !0A 0A B"},
      {"after a damaged block returns to the good one", "AdxxBA", "- !A 0A A/2 A~B B"},
  };
  for (const GapCase& c : kCases) check(c);
}

TEST(Gaps, KeptDepthsAndSilences) {
  constexpr GapCase kCases[] = {
      {"every further gap begins a step deeper", "AxBxxxx", "- A A~B B B/4 0B 0B"},
      {"different channel counts are faded, not bridged", "AxMBxxMB", "- A A M B B/4 B/2 M"},
      {"a damaged block is silent in the next call", "AdBA", "- !A 0A B"},
      {"silent after a block that the store truncates", "ACxxBA", "- A A 0A 0A B"},
      {"the fade outlives a new configuration", "Axxxxx!ABA", "- A A/2 A/4 0A 0A ! - 0A B/4"},
  };
  for (const GapCase& c : kCases) check(c);
}

}  // namespace
}  // namespace zdr::test
