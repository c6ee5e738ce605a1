// What is heard of lost and damaged frames, measured on the PCM.
//
// The measure: when one block is decoded again and again, each frame of PCM is the tail of the block before
// plus the head of the block itself. A faded block has both scaled by its factor, so every frame of a gap is
// known from the two.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "tests/aacdec/block_writer.h"
#include "tests/aacdec/test_decoder.h"

namespace zdr::aacdec {
namespace {

using namespace test;

// Products are cut, and the output rounded.
constexpr double kTolerance = 2.0;

class LostFrames : public testing::Test {
 protected:
  LostFrames() {
    const Bytes silence = silent_block_like(*parsed(block_, file_));
    TestDecoder decoder(config_of(file_));
    decoder.decode(silence);
    decoder.decode(block_);
    head_ = decoder.decode(block_).pcm;
    whole_ = decoder.decode(block_).pcm;
    EXPECT_GT(*std::max_element(whole_.begin(), whole_.end()), 1000);
  }

  // A decoder in the middle of a steady stream.
  TestDecoder& running() {
    decoder_ = std::make_unique<TestDecoder>(config_of(file_));
    for (int i = 0; i < 4; ++i) decoder_->decode(block_);
    return *decoder_;
  }

  // The frame of PCM that the tail of a block at `tail_factor` and the head of one at `head_factor` make.
  void expect_frame(const Output& output, double tail_factor, double head_factor) {
    ASSERT_EQ(output.status, ZD_AAC_DEC_OK);
    ASSERT_EQ(output.pcm.size(), whole_.size());
    for (size_t i = 0; i < whole_.size(); ++i) {
      const double expected = tail_factor * (whole_[i] - head_[i]) + head_factor * head_[i];
      ASSERT_NEAR(output.pcm[i], expected, kTolerance) << "sample " << i;
    }
  }

  // 'x': a unit is lost, '.': it arrives. One factor a call, that of the block which that call makes sound.
  void expect_factors(TestDecoder& decoder, const char* calls, const std::vector<double>& factors) {
    double before = 1;
    for (size_t i = 0; i < factors.size(); ++i) {
      SCOPED_TRACE("call " + std::to_string(i + 1));
      const Output output = calls[i] == 'x' ? decoder.lose() : decoder.decode(block_);
      EXPECT_EQ(output.consumed, calls[i] == 'x' ? 0 : static_cast<int32_t>(block_.size()));
      expect_frame(output, before, factors[i]);
      before = factors[i];
    }
  }

  const AdtsFile file_ = sample("aac-lc-44k-stereo.aac");
  const Bytes block_ = steady_block(file_);
  Pcm head_;
  Pcm whole_;
  std::unique_ptr<TestDecoder> decoder_;
};

TEST_F(LostFrames, FadeByHalvesToSilence) {
  expect_factors(running(), "xxxxxx", {1, 0.5, 0.25, 0, 0, 0});
}

TEST_F(LostFrames, AreFollowedByARampThatEndsAtFullLevel) {
  expect_factors(running(), "xxxxx......", {1, 0.5, 0.25, 0, 0, 0, 0, 0.25, 1, 1, 1});
  // Four lost ones are one step nearer, three two.
  expect_factors(running(), "xxxx.....", {1, 0.5, 0.25, 0, 0.25, 0.25, 1, 1});
  expect_factors(running(), "xxx....", {1, 0.5, 0.25, 0.5, 1, 1});
}

// Twice 0.3321: the mean of a steady noise, not of a steady tone.
TEST_F(LostFrames, OfAShortGapAreBridgedAtThreeAndAHalfDecibelsLess) {
  expect_factors(running(), "x...", {1, 0.6642, 1, 1});
  expect_factors(running(), "xx...", {1, 0.5, 0.6642, 1, 1});
}

TEST_F(LostFrames, RequiredThatEveryFurtherBurstBeginsAStepDeeper) {
  TestDecoder& decoder = running();
  expect_factors(decoder, "x....", {1, 0.6642, 1, 1, 1});
  expect_factors(decoder, "xxx", {1, 0.25, 0});
}

// Only SBR resets the fade, and only when it is switched on.
TEST_F(LostFrames, RequiredThatTheFadeOutlivesANewConfiguration) {
  TestDecoder& decoder = running();
  for (int i = 0; i < 5; ++i) decoder.lose();
  EXPECT_EQ(decoder.configure(config_of(file_)), ZD_AAC_DEC_OK);
  EXPECT_TRUE(decoder.decode(block_).pcm.empty());
  expect_frame(decoder.decode(block_), 0, 0);
  EXPECT_EQ(decoder.lose().status, ZD_AAC_DEC_OK);
}

TEST_F(LostFrames, CountDamagedOnesInTheMiddleOfAGap) {
  const Bytes damaged = {0xE0, 0, 0};
  TestDecoder& decoder = running();
  expect_frame(decoder.lose(), 1, 1);
  const Output second = decoder.decode(damaged);
  expect_frame(second, 1, 0.5);
  EXPECT_EQ(second.consumed, 0);
  expect_frame(decoder.decode(damaged), 0.5, 0.25);
  expect_frame(decoder.decode(block_), 0.25, 0.5);
}

// What remains of a damaged block is silence; the good one before it sounded in the call that failed.
TEST_F(LostFrames, RequiredThatADamagedBlockIsSynthesisedByTheNextCall) {
  const Bytes cut(block_.begin(), block_.begin() + static_cast<std::ptrdiff_t>(block_.size() / 2));
  TestDecoder& decoder = running();
  EXPECT_EQ(decoder.decode(cut).status, ZD_AAC_DEC_ERR_FAILED);
  expect_frame(decoder.decode(block_), 1, 0);
  expect_frame(decoder.decode(block_), 0, 1);

  // A loss right behind it: the remains again, then the last good block.
  EXPECT_EQ(decoder.decode(cut).status, ZD_AAC_DEC_ERR_FAILED);
  expect_frame(decoder.lose(), 1, 0);
  expect_frame(decoder.lose(), 0, 0.5);
}

// Data stream elements make a block longer than the store, which cuts it: it cannot be parsed a second time.
TEST_F(LostFrames, AreSilentBehindABlockThatTheStoreCuts) {
  BitWriter w;
  for (int element = 0; element < 4; ++element) {
    w.fields({{kDse, 3}, {0, 4}, {0, 1}, {255, 8}, {200, 8}});
    for (int byte = 0; byte < 455; ++byte) w.put(0x5A, 8);
  }
  for (const uint8_t byte : block_) w.put(byte, 8);
  TestDecoder& decoder = running();
  const Output output = decoder.decode(w.bytes());
  EXPECT_EQ(output.consumed, static_cast<int32_t>(w.bytes().size()));
  expect_frame(decoder.lose(), 1, 1);
  expect_frame(decoder.lose(), 1, 0);
  expect_frame(decoder.decode(block_), 0, 0);
  expect_frame(decoder.decode(block_), 0, 1);
}

}  // namespace
}  // namespace zdr::aacdec
