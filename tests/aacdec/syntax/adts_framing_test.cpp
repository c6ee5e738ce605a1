// Where the decoder finds the blocks of a stream with ADTS headers.
#include <gtest/gtest.h>

#include "mediakit/aac/block_writer.h"
#include "tests/aacdec/test_decoder.h"

namespace zdr::test {
namespace {

constexpr size_t kFrameSamples = 2048;

// Returns a block as an ADTS frame at 44100 Hz, unless the fields name another rate.
Bytes framed(const Bytes& block, AdtsFields fields = {}) {
  if (fields.rate_index == AdtsFields{}.rate_index) fields.rate_index = 4;
  return adts_frame(fields, block);
}

class AdtsFraming : public testing::Test {
 protected:
  std::vector<Bytes> all_framed(const AdtsFields& fields = {}) const {
    std::vector<Bytes> all;
    for (const Bytes& block : blocks_) all.push_back(framed(block, fields));
    return all;
  }
  static int32_t status(TestDecoder& decoder, const Bytes& data) { return decoder.decode(data).status; }
  // The PCM of `count` frames from frame `first` on.
  Pcm expected(size_t first, size_t count) const {
    const auto begin = expected_.begin() + static_cast<std::ptrdiff_t>(first * kFrameSamples);
    return {begin, begin + static_cast<std::ptrdiff_t>(count * kFrameSamples)};
  }

  const Zd_AAC_Dec_Config config_ = lc_config(44100, 2);
  const std::vector<Bytes> blocks_ = payloads(sample("aac-lc-44k-stereo.aac"));
  const std::vector<Bytes> units_ = all_framed();
  TestDecoder decoder_{config_};
  const Pcm expected_ = [this] {
    TestDecoder decoder(config_);
    return decode_all(decoder, blocks_);
  }();
  const Bytes damaged_ = {0xE0, 0, 0};
};

TEST_F(AdtsFraming, YieldsTheSamePcmAsTheBlocksAlone) {
  std::vector<Bytes> all = all_framed({.protection_absent = 0, .channels = 0});
  // Bytes after damage are skipped up to the next syncword, and consumed.
  all[5] = concat({{0x12, 0xFE, 0xF0, 0x0F}, all[5]});
  EXPECT_EQ(decode_all(decoder_, all), expected_);
  EXPECT_EQ(decoder_.decode(all[5]).consumed, static_cast<int32_t>(all[5].size()));
  EXPECT_EQ(status(decoder_, {1, 2, 3, 4, 5, 6, 7, 8, 0xFF}), ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(status(decoder_, all[7]), ZD_AAC_DEC_OK);
}

TEST_F(AdtsFraming, KeptSearchEndsAtTheFirstSyncword) {
  const AdtsFields all_refused[] = {{.layer = 1},       {.profile = 0},    {.profile = 2},
                                    {.channels = 3},    {.channels = 7},   {.rate_index = 3},
                                    {.rate_index = 13}, {.rate_index = 15}};
  decoder_.decode(units_[0]);
  for (const AdtsFields& refused : all_refused) {
    EXPECT_EQ(status(decoder_, concat({framed(blocks_[1], refused), units_[1]})), ZD_AAC_DEC_ERR_FAILED);
  }
  // Refused headers leave the state unchanged.
  EXPECT_EQ(decoder_.decode(units_[1]).pcm, expected(0, 1));
}

// Also a stream with long term prediction that is configured as LC, or begins with a frame of LC.
TEST_F(AdtsFraming, KeptHeadersOverrideTheConfiguration) {
  TestDecoder slow(lc_config(8000, 2));
  EXPECT_EQ(decode_all(slow, units_), expected_);
  const AdtsFile ltp = sample("aac-ltp-44k-stereo.aac");
  const Bytes silence = block_of(silent_cpe());
  for (const bool begins_with_lc : {false, true}) {
    TestDecoder decoder(config_);
    TestDecoder configured(config_of(ltp));
    if (begins_with_lc) {
      EXPECT_EQ(status(decoder, framed(silence)), ZD_AAC_DEC_OK);
      configured.decode(silence);
    }
    EXPECT_EQ(decode_all(decoder, units(ltp)), decode_all(configured, payloads(ltp)));
    // Back in LC, the prediction of a long window is damage.
    EXPECT_EQ(status(decoder, framed(silence)), ZD_AAC_DEC_OK);
    EXPECT_EQ(status(decoder, framed(payloads(ltp)[0])), ZD_AAC_DEC_ERR_FAILED);
  }
}

TEST_F(AdtsFraming, Kept7350HertzUsesTheTablesOf8000) {
  const Zd_AAC_Dec_Config config = lc_config(8000, 1);
  const std::vector<Bytes> blocks = payloads(sample("aac-lc-8k-mono.aac"));
  std::vector<Bytes> frames;
  for (const Bytes& block : blocks) frames.push_back(framed(block, {.rate_index = 12, .channels = 1}));
  TestDecoder decoder(config);
  TestDecoder plain(config);
  EXPECT_EQ(decode_all(decoder, frames), decode_all(plain, blocks));
  // The rate must not change.
  EXPECT_EQ(status(decoder, framed(blocks[0], {.rate_index = 11, .channels = 1})), ZD_AAC_DEC_ERR_FAILED);
  // A program must name the rate of its header. Index 13 is not a rate, even in a first header.
  for (uint64_t rate = 11; rate <= 13; ++rate) {
    for (uint64_t named = 11; named <= 13; ++named) {
      TestDecoder fresh(config);
      const Bytes block = block_of(program(named) + silent_sce());
      EXPECT_EQ(status(fresh, framed(block, {.rate_index = rate, .channels = 1})) == ZD_AAC_DEC_OK,
                rate == named && rate != 13);
    }
  }
}

TEST_F(AdtsFraming, KeptHeadersAreRequiredOnceOneWasSeen) {
  decoder_.decode(units_[0]);
  ASSERT_EQ(decoder_.configure(config_), ZD_AAC_DEC_OK);
  EXPECT_EQ(status(decoder_, blocks_[0]), ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(status(decoder_, units_[0]), ZD_AAC_DEC_OK);
  // A stream that has started without headers must not have one later.
  TestDecoder raw(config_);
  raw.decode(blocks_[0]);
  EXPECT_EQ(status(raw, units_[1]), ZD_AAC_DEC_ERR_FAILED);
}

// A failed block counts as one of its ADTS frame; a call without room, or a lost block, does not.
TEST_F(AdtsFraming, CountsABlockWhenItIsParsed) {
  TestDecoder cramped(config_);
  for (int call = 0; call < 3; ++call) {
    EXPECT_EQ(cramped.decode(units_[0], 4095).status, ZD_AAC_DEC_ERR_OUTPUT_TOO_SMALL);
  }
  EXPECT_EQ(status(cramped, units_[0]), ZD_AAC_DEC_OK);
  EXPECT_EQ(status(cramped, framed(damaged_, {.further_blocks = 1})), ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(status(cramped, blocks_[1]), ZD_AAC_DEC_OK);
  EXPECT_EQ(status(cramped, framed(blocks_[2], {.further_blocks = 1})), ZD_AAC_DEC_OK);
  cramped.lose();
  EXPECT_EQ(status(cramped, blocks_[3]), ZD_AAC_DEC_OK);
  EXPECT_EQ(status(cramped, units_[4]), ZD_AAC_DEC_OK);
}

// The next call continues the search.
TEST_F(AdtsFraming, KeptOnlyTheHeaderOfADamagedFrameInAGapIsConsumed) {
  for (size_t i = 0; i < 3; ++i) decoder_.decode(units_[i]);
  decoder_.lose();
  const Output output = decoder_.decode(framed(damaged_));
  EXPECT_EQ(output.status, ZD_AAC_DEC_OK);
  EXPECT_EQ(output.consumed, 7);
  EXPECT_EQ(output.pcm.size(), kFrameSamples);
  EXPECT_EQ(status(decoder_, concat({damaged_, units_[3]})), ZD_AAC_DEC_OK);
}

// The held frame is still output. In a gap, where damaged blocks count as lost, a truncated header is a
// failure too.
TEST_F(AdtsFraming, KeptATruncatedHeaderFails) {
  for (std::ptrdiff_t size = 1; size < 7; ++size) {
    TestDecoder decoder(config_);
    for (size_t i = 0; i < 3; ++i) decoder.decode(units_[i]);
    const Bytes header(units_[3].begin(), units_[3].begin() + size);
    EXPECT_EQ(status(decoder, header), ZD_AAC_DEC_ERR_FAILED);
    EXPECT_EQ(decoder.lose().pcm, expected(2, 1));
    EXPECT_EQ(status(decoder, header), ZD_AAC_DEC_ERR_FAILED);
  }
}

}  // namespace
}  // namespace zdr::test
