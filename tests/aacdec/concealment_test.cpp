// Lost and damaged blocks: checks call by call which frame, faded or mixed frame, or silence is output.
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

// Bridges held and next frames of long and short windows, at two levels.
TEST(Concealment, KeptBridgesEqualFrames3Point55dBBelowTheirLevel) {
  constexpr auto kLong = WindowSequence::kOnlyLong;
  constexpr auto kShort = WindowSequence::kEightShort;
  for (const int32_t level : {10'000'000, kInt32Max}) {
    for (const auto& [held_windows, next_windows, bridging] :
         {std::tuple(kLong, kLong, kLong), std::tuple(kShort, kLong, WindowSequence::kLongStop),
          std::tuple(kLong, kShort, WindowSequence::kLongStart), std::tuple(kShort, kShort, kShort)}) {
      const auto held = std::make_unique<Frame>();
      held->channel_count = 1;
      for (int i = 0; i < kFrameLength; ++i) held->spectrum[0][i] = level - 1000 * i;
      const auto next = std::make_unique<Frame>(*held);
      held->channel[0].ics.window_sequence = held_windows;
      next->channel[0].ics.window_sequence = next_windows;
      bridge(*held, *next);
      EXPECT_EQ(held->channel[0].ics.window_sequence, bridging);
      for (int i = 0; i < kFrameLength; ++i) {
        const double line = level - 1000.0 * i;
        const double mean = level - 1000.0 * (i / 8 + 448);  // of the eight windows
        const bool is_same_kind = held_windows == next_windows;
        const double sum = std::min<double>(line + (is_same_kind ? line : mean), kInt32Max);
        ASSERT_NEAR(held->spectrum[0][i], sum * (is_same_kind ? 0.3321 : std::sqrt(0.5)), 3e-5 * level) << i;
      }
    }
  }
}

// A, B, C and E are stereo blocks with long windows. E and C have the contents of A in 1536 bytes, the most
// that are stored whole, and in 1537. S and T have eight short windows; M has one channel.
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
    // The core of a file without noise substitution, whose output would differ each time.
    const AdtsFile file = sample("he-aac-v1-stereo.aac");
    const std::pair<char, size_t> real[] = {{'A', 12}, {'B', 20}, {'S', 4}, {'T', 9}};
    for (const auto& [name, number] : real) blocks_[name].bytes = file.frames[number].payload;
    blocks_['E'].bytes = padded(blocks_['A'].bytes, 1536);
    blocks_['C'].bytes = padded(blocks_['A'].bytes, 1537);
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

  // `outputs` is the expected PCM: "A" for that block; "A/2" for A divided by two; "0A" for silence with the
  // windows of A; "A~B" for the bridge from A to B; "!A" if the call fails after synthesising A; "-" for no
  // PCM.
  void expect(char call, std::string outputs) {
    if (call == kConfigured) {
      ASSERT_EQ(decoder_.configure(config_), ZD_AAC_DEC_OK);
      state_->reset();
      return;
    }
    const Bytes& bytes = blocks_[call].bytes;
    const Output output = call == kLost ? decoder_.lose() : decoder_.decode(bytes);
    const bool fails = outputs[0] == '!';
    ASSERT_EQ(output.status, fails ? ZD_AAC_DEC_ERR_FAILED : ZD_AAC_DEC_OK);
    const bool is_consumed = fails || (call != kLost && call != kDamaged);
    EXPECT_EQ(output.consumed, is_consumed ? static_cast<int32_t>(bytes.size()) : 0);
    const Pcm expected = outputs == "-" ? Pcm() : play(fails ? outputs.substr(1) : outputs);
    EXPECT_EQ(fails ? output.left_by_failure : output.pcm, expected);
  }

 private:
  // Returns the block after data elements that make it `size` bytes long.
  static Bytes padded(const Bytes& block, size_t size) {
    BitWriter w;
    for (size_t left = size - block.size(), elements = 4; elements > 0; --elements) {
      const size_t count = left / elements - 3;
      w.fields({{kDse, 3}, {0, 5}, {255, 8}, {count - 255, 8}}).append(Bytes(count, 0x5A));
      left -= 3 + count;
    }
    return w.append(block).bytes();
  }

  Pcm play(const std::string& outputs) {
    const bool is_silent = outputs[0] == '0';
    const auto frame = std::make_unique<Frame>(*blocks_[outputs[is_silent ? 1 : 0]].frame);
    if (is_silent) silence(*frame);
    if (outputs.size() > 1 && outputs[1] == '~') bridge(*frame, *blocks_[outputs[2]].frame);
    if (outputs.size() > 1 && outputs[1] == '/') fade(*frame, outputs[2] == '2' ? 2 : 3);
    Pcm pcm(2 * kFrameLength);
    const int channels = synthesise_core(*frame, *state_, kProfileLc, 2, {pcm.data(), 1, 2});
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
  const char* outputs;
};

void check(std::initializer_list<GapCase> cases) {
  for (const GapCase& c : cases) {
    GapStream stream;
    std::istringstream outputs(c.outputs);
    for (const char* call = c.calls; *call != 0; ++call) {
      SCOPED_TRACE(testing::Message() << c.name << ", call " << call - c.calls + 1);
      std::string expected;
      outputs >> expected;
      stream.expect(*call, expected);
    }
  }
}

// The fade level rises by one with every loss and falls by one with every block that arrives.
TEST(Gaps, AreBridgedOrFaded) {
  check({
      {"fades by halves to silence", "AAxxxxxx", "- A A A/2 A/4 0A 0A 0A"},
      {"recovers step by step to full level", "AxxxxxABABB", "- A A/2 A/4 0A 0A 0A 0A B/4 A B"},
      {"of four starts a step higher", "AxxxxBABB", "- A A/2 A/4 0A A/4 B/4 A B"},
      {"of three starts two steps higher", "AxxxBAB", "- A A/2 A/4 A/2 B A"},
      {"between equal blocks", "AxAxxA", "- A A~A A A/4 A~A"},
      {"between two blocks", "AxBA", "- A A~B B"},
      {"of two is bridged too", "AxxBA", "- A A/2 A~B B"},
      {"from long to short windows", "AxSBA", "- A A~S S B"},
      {"from short to long windows", "ASxBA", "- A S S~B B"},
      {"from short to short windows", "ASxTB", "- A S S~T T"},
      {"damaged blocks count as lost", "AxddBA", "- A A/2 A/4 A/2 B"},
      {"consecutive damaged blocks", "AddBA", "- !A !0A 0A B"},
      {"after a damaged block returns to the good one", "AdxxBA", "- !A 0A A/2 A~B B"},
  });
}

TEST(Gaps, KeptFurtherGapsFadeDeeperAndDamagedBlocksAreSilent) {
  check({
      {"every further gap starts a step deeper", "AxBxxxx", "- A A~B B B/4 0B 0B"},
      {"different channel counts are faded, not bridged", "AxMBxxMB", "- A A M B B/4 B/2 M"},
      {"a damaged block is silent in the next call", "AdBA", "- !A 0A B"},
      {"of 1536 bytes, a block is stored whole", "AExxBA", "- A E E/2 E~B B"},
      {"silent after a block that the store truncates", "ACxxBA", "- A A 0A 0A B"},
      {"the fade outlives a new configuration", "Axxxxx!ABA", "- A A/2 A/4 0A 0A ! - 0A B/4"},
  });
}

}  // namespace
}  // namespace zdr::test
