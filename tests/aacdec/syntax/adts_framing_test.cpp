// Where the decoder finds the blocks of a stream with ADTS headers.
#include <gtest/gtest.h>

#include "mediakit/aac/block_writer.h"
#include "tests/aacdec/test_decoder.h"

namespace zdr::test {
namespace {

class AdtsFraming : public testing::Test {
 protected:
  // Returns a block as an ADTS frame with the given header fields, at the rate of the file.
  static Bytes unit(const Bytes& block, AdtsFields fields = {}) {
    if (fields.rate_index == AdtsFields{}.rate_index) fields.rate_index = 4;
    return adts_frame(fields, block);
  }
  std::vector<Bytes> units(const AdtsFields& fields = {}) const {
    std::vector<Bytes> all;
    for (const Bytes& block : blocks_) all.push_back(unit(block, fields));
    return all;
  }
  static int32_t status(TestDecoder& decoder, const Bytes& data) { return decoder.decode(data).status; }

  const Zd_AAC_Dec_Config config_ = lc_config(44100, 2);
  const std::vector<Bytes> blocks_ = payloads(sample("aac-lc-44k-stereo.aac"));
  const std::vector<Bytes> units_ = units();
  TestDecoder decoder_{config_};
  const Pcm expected_ = [this] {
    TestDecoder decoder(config_);
    return decode_all(decoder, blocks_);
  }();
  const Bytes damaged_ = {0xE0, 0, 0};
};

TEST_F(AdtsFraming, YieldsTheSamePcmAsTheBlocksAlone) {
  for (const AdtsFields& fields :
       {AdtsFields{}, {.protection_absent = 0}, {.channels = 0}, {.channels = 1}}) {
    TestDecoder decoder(config_);
    std::vector<Bytes> all = units(fields);
    all[5] = joined({0x12, 0xFE, 0xF0, 0x0F}, all[5]);
    EXPECT_EQ(decode_all(decoder, all), expected_);
    // Bytes after damage are skipped up to the next syncword, and consumed.
    EXPECT_EQ(decoder.decode(joined({0x12, 0x34}, all[6])).consumed, static_cast<int32_t>(all[6].size()) + 2);
    EXPECT_EQ(status(decoder, {1, 2, 3, 4, 5, 6, 7, 8, 0xFF}), ZD_AAC_DEC_ERR_FAILED);
    EXPECT_EQ(status(decoder, all[7]), ZD_AAC_DEC_OK);
  }
}

TEST_F(AdtsFraming, ReadsTheBlocksOfAFrameOneByOne) {
  Pcm pcm;
  for (size_t i = 0; i + 3 <= blocks_.size(); i += 3) {
    Bytes rest = unit(joined(joined(blocks_[i], blocks_[i + 1]), blocks_[i + 2]), {.further_blocks = 2});
    for (int block = 0; block < 3; ++block) {
      const Output output = decoder_.decode(rest);
      ASSERT_EQ(output.status, ZD_AAC_DEC_OK);
      rest.erase(rest.begin(), rest.begin() + output.consumed);
      pcm.insert(pcm.end(), output.pcm.begin(), output.pcm.end());
    }
    EXPECT_TRUE(rest.empty());
  }
  EXPECT_EQ(pcm, Pcm(expected_.begin(), expected_.begin() + static_cast<std::ptrdiff_t>(pcm.size())));
}

TEST_F(AdtsFraming, KeptSearchEndsAtTheFirstSyncword) {
  const AdtsFields refused[] = {{.layer = 1},    {.profile = 0},    {.profile = 2},     {.channels = 3},
                                {.channels = 7}, {.rate_index = 3}, {.rate_index = 13}, {.rate_index = 15}};
  decoder_.decode(units_[0]);
  for (const AdtsFields& fields : refused) {
    const Bytes frame = unit(blocks_[1], fields);
    EXPECT_EQ(status(decoder_, frame), ZD_AAC_DEC_ERR_FAILED);
    EXPECT_EQ(status(decoder_, joined(frame, units_[1])), ZD_AAC_DEC_ERR_FAILED);
  }
  // Refused headers leave the state unchanged.
  EXPECT_EQ(decoder_.decode(units_[1]).pcm, Pcm(expected_.begin(), expected_.begin() + 2048));
}

TEST_F(AdtsFraming, KeptFirstHeaderOverridesTheConfiguration) {
  TestDecoder slow(lc_config(8000, 2));
  EXPECT_EQ(decode_all(slow, units_), expected_);
  // A stream with long term prediction that is configured as LC.
  const AdtsFile ltp = sample("aac-ltp-44k-stereo.aac");
  std::vector<Bytes> frames;
  for (const AdtsFrame& frame : ltp.frames) frames.push_back(joined(frame.header, frame.payload));
  TestDecoder configured(config_of(ltp));
  EXPECT_EQ(decode_all(decoder_, frames), decode_all(configured, payloads(ltp)));
}

TEST_F(AdtsFraming, Kept7350HertzUsesTheTablesOf8000) {
  const Zd_AAC_Dec_Config config = lc_config(8000, 1);
  const std::vector<Bytes> blocks = payloads(sample("aac-lc-8k-mono.aac"));
  std::vector<Bytes> frames;
  for (const Bytes& block : blocks) frames.push_back(unit(block, {.rate_index = 12, .channels = 1}));
  TestDecoder decoder(config);
  TestDecoder plain(config);
  EXPECT_EQ(decode_all(decoder, frames), decode_all(plain, blocks));
  // The rate must not change.
  EXPECT_EQ(status(decoder, unit(blocks[0], {.rate_index = 11, .channels = 1})), ZD_AAC_DEC_ERR_FAILED);
  // A program must name the rate of its header. Index 13 is not a rate, even in a first header.
  for (uint64_t rate = 11; rate <= 13; ++rate) {
    for (uint64_t named = 11; named <= 13; ++named) {
      TestDecoder fresh(config);
      const Bytes frame = unit(block_of(program(named) + silent_sce()), {.rate_index = rate, .channels = 1});
      EXPECT_EQ(status(fresh, frame) == ZD_AAC_DEC_OK, rate == named && rate != 13) << rate << ' ' << named;
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
  decoder_.decode(units_[0]);
  EXPECT_EQ(status(decoder_, unit(damaged_, {.further_blocks = 1})), ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(status(decoder_, blocks_[1]), ZD_AAC_DEC_OK);
  EXPECT_EQ(status(decoder_, units_[2]), ZD_AAC_DEC_OK);
  decoder_.decode(unit(blocks_[3], {.further_blocks = 1}));
  decoder_.lose();
  EXPECT_EQ(status(decoder_, blocks_[4]), ZD_AAC_DEC_OK);
  EXPECT_EQ(status(decoder_, units_[5]), ZD_AAC_DEC_OK);

  TestDecoder cramped(config_);
  for (int call = 0; call < 3; ++call) {
    EXPECT_EQ(cramped.decode(units_[0], 4095).status, ZD_AAC_DEC_ERR_OUTPUT_TOO_SMALL);
  }
  EXPECT_EQ(decode_all(cramped, units_), expected_);
}

// The next call continues the search.
TEST_F(AdtsFraming, KeptOnlyTheHeaderOfADamagedFrameInAGapIsConsumed) {
  for (size_t i = 0; i < 3; ++i) decoder_.decode(units_[i]);
  decoder_.lose();
  const Output output = decoder_.decode(unit(damaged_));
  EXPECT_EQ(output.status, ZD_AAC_DEC_OK);
  EXPECT_EQ(output.consumed, 7);
  EXPECT_EQ(output.pcm.size(), 2048U);
  EXPECT_EQ(status(decoder_, joined(damaged_, units_[3])), ZD_AAC_DEC_OK);
}

// The held frame is still output. In a gap, where damaged blocks count as lost, a truncated header is a
// failure too.
TEST_F(AdtsFraming, KeptATruncatedHeaderFails) {
  for (size_t size = 1; size < 7; ++size) {
    TestDecoder decoder(config_);
    for (size_t i = 0; i < 3; ++i) decoder.decode(units_[i]);
    const Bytes header = truncated(units_[3], units_[3].size() - size);
    EXPECT_EQ(status(decoder, header), ZD_AAC_DEC_ERR_FAILED);
    EXPECT_EQ(decoder.lose().pcm, Pcm(expected_.begin() + 2 * 2048, expected_.begin() + 3 * 2048));
    EXPECT_EQ(status(decoder, header), ZD_AAC_DEC_ERR_FAILED);
  }
}

}  // namespace
}  // namespace zdr::test
