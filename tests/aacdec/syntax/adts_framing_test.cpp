// Where the decoder finds the blocks of a stream with ADTS headers.
#include <gtest/gtest.h>

#include "mediakit/aac/block_writer.h"
#include "tests/aacdec/test_decoder.h"

namespace zdr::aacdec {
namespace {

using namespace test;

class AdtsFramingTest : public testing::Test {
 protected:
  Pcm expected() const {
    TestDecoder decoder(config_of(file_));
    return decode_all(decoder, payloads(file_));
  }
  Bytes unit(size_t number, AdtsFields fields) const {
    fields.rate_index = static_cast<uint64_t>(file_.sampling_index);
    return adts_frame(fields, file_.frames[number].payload);
  }
  // The frames of the file with the headers that `fields` describes.
  std::vector<Bytes> units(const AdtsFields& fields) const {
    std::vector<Bytes> all;
    for (size_t i = 0; i < file_.frames.size(); ++i) all.push_back(unit(i, fields));
    return all;
  }

  const AdtsFile file_ = sample("aac-lc-44k-stereo.aac");
};

TEST_F(AdtsFramingTest, GivesTheSamePcmAsTheBlocksAlone) {
  const AdtsFields kinds[] = {{}, {.protection_absent = 0}, {.channels = 0}, {.channels = 1}};
  for (const AdtsFields& fields : kinds) {
    TestDecoder decoder(config_of(file_));
    std::vector<Bytes> all = units(fields);
    all[5] = joined({0x12, 0xFE, 0xF0, 0x0F}, all[5]);
    EXPECT_EQ(decode_all(decoder, all), expected());
    // Bytes behind damage are passed over up to the next syncword, and counted as consumed.
    const Output found = decoder.decode(joined({0x12, 0x34}, all[6]));
    EXPECT_EQ(found.consumed, static_cast<int32_t>(all[6].size()) + 2);
    EXPECT_EQ(decoder.decode({1, 2, 3, 4, 5, 6, 7, 8, 0xFF}).status, ZD_AAC_DEC_ERR_FAILED);
    EXPECT_EQ(decoder.decode(all[7]).status, ZD_AAC_DEC_OK);
  }
}

TEST_F(AdtsFramingTest, TakesTheBlocksOfAFrameOneByOne) {
  TestDecoder decoder(config_of(file_));
  const Pcm whole = expected();
  Pcm pcm;
  for (size_t i = 0; i + 3 <= file_.frames.size(); i += 3) {
    Bytes rest;
    for (size_t block = i; block < i + 3; ++block) rest = joined(rest, file_.frames[block].payload);
    rest = adts_frame({.rate_index = 4, .further_blocks = 2}, rest);
    for (int block = 0; block < 3; ++block) {
      const Output output = decoder.decode(rest);
      ASSERT_EQ(output.status, ZD_AAC_DEC_OK);
      rest.erase(rest.begin(), rest.begin() + output.consumed);
      pcm.insert(pcm.end(), output.pcm.begin(), output.pcm.end());
    }
    EXPECT_TRUE(rest.empty());
  }
  EXPECT_EQ(pcm, Pcm(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(pcm.size())));
}

TEST_F(AdtsFramingTest, RefusesHeadersOfOtherStreams) {
  const AdtsFields refused[] = {{.layer = 1},    {.profile = 0},    {.profile = 2},     {.channels = 3},
                                {.channels = 7}, {.rate_index = 3}, {.rate_index = 13}, {.rate_index = 15}};
  TestDecoder decoder(config_of(file_));
  decoder.decode(unit(0, {}));
  const Pcm second = expected();
  for (const AdtsFields& fields : refused) {
    AdtsFields changed = fields;
    if (fields.rate_index == AdtsFields{}.rate_index) changed.rate_index = 4;
    const Bytes frame = adts_frame(changed, file_.frames[1].payload);
    EXPECT_EQ(decoder.decode(frame).status, ZD_AAC_DEC_ERR_FAILED);
    // The search ends at a header that cannot be used, whatever follows.
    EXPECT_EQ(decoder.decode(joined(frame, unit(1, {}))).status, ZD_AAC_DEC_ERR_FAILED);
  }
  // Nothing of all that is remembered.
  const Output output = decoder.decode(unit(1, {}));
  ASSERT_EQ(output.status, ZD_AAC_DEC_OK);
  EXPECT_EQ(output.pcm, Pcm(second.begin(), second.begin() + 2048));
}

TEST_F(AdtsFramingTest, OfTheFirstFrameOverrulesTheConfiguration) {
  Zd_AAC_Dec_Config config = lc_config(8000, 2);
  TestDecoder decoder(config);
  EXPECT_EQ(decode_all(decoder, units({})), expected());

  // Long term prediction in a stream announced as LC.
  const AdtsFile ltp = sample("aac-ltp-44k-stereo.aac");
  std::vector<Bytes> frames;
  for (const AdtsFrame& frame : ltp.frames) frames.push_back(joined(frame.header, frame.payload));
  TestDecoder surprised(lc_config(44100, 2));
  TestDecoder told(config_of(ltp));
  EXPECT_EQ(decode_all(surprised, frames), decode_all(told, payloads(ltp)));
}

// 7350 Hz has no tables of its own.
TEST_F(AdtsFramingTest, Of7350HertzTakesTheTablesOf8000) {
  const AdtsFile slow = sample("aac-lc-8k-mono.aac");
  std::vector<Bytes> frames;
  for (const AdtsFrame& frame : slow.frames) {
    frames.push_back(adts_frame({.rate_index = 12, .channels = 1}, frame.payload));
  }
  TestDecoder decoder(lc_config(8000, 1));
  TestDecoder plain(lc_config(8000, 1));
  EXPECT_EQ(decode_all(decoder, frames), decode_all(plain, payloads(slow)));
  EXPECT_EQ(decoder.decode(adts_frame({.rate_index = 11, .channels = 1}, slow.frames[0].payload)).status,
            ZD_AAC_DEC_ERR_FAILED);
  // Behind it there is none, for a first header either.
  TestDecoder fresh(lc_config(8000, 1));
  const Bytes reserved = adts_frame({.rate_index = 13, .channels = 1}, slow.frames[0].payload);
  EXPECT_EQ(fresh.decode(reserved).status, ZD_AAC_DEC_ERR_FAILED);
}

TEST_F(AdtsFramingTest, RequiredToBeExpectedForEverOnceSeen) {
  TestDecoder decoder(config_of(file_));
  decoder.decode(unit(0, {}));
  ASSERT_EQ(decoder.configure(config_of(file_)), ZD_AAC_DEC_OK);
  EXPECT_EQ(decoder.decode(file_.frames[0].payload).status, ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(decoder.decode(unit(0, {})).status, ZD_AAC_DEC_OK);
  // And not once a stream has begun without.
  TestDecoder raw(config_of(file_));
  raw.decode(file_.frames[0].payload);
  EXPECT_EQ(raw.decode(unit(1, {})).status, ZD_AAC_DEC_ERR_FAILED);
}

// A block that fails has been taken from its frame all the same; one that finds no room has not.
TEST_F(AdtsFramingTest, CountsABlockWhenItIsTriedButNotForWantOfRoom) {
  TestDecoder decoder(config_of(file_));
  const Bytes damaged = {0xE0, 0, 0};
  const Bytes frame = adts_frame({.rate_index = 4, .further_blocks = 1}, damaged);
  decoder.decode(unit(0, {}));
  EXPECT_EQ(decoder.decode(frame).status, ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(decoder.decode(file_.frames[1].payload).status, ZD_AAC_DEC_OK);
  EXPECT_EQ(decoder.decode(unit(2, {})).status, ZD_AAC_DEC_OK);
  // A lost call takes none.
  decoder.decode(adts_frame({.rate_index = 4, .further_blocks = 1}, file_.frames[3].payload));
  decoder.lose();
  EXPECT_EQ(decoder.decode(file_.frames[4].payload).status, ZD_AAC_DEC_OK);
  EXPECT_EQ(decoder.decode(unit(5, {})).status, ZD_AAC_DEC_OK);

  TestDecoder cramped(config_of(file_));
  std::vector<Bytes> all = units({});
  for (int call = 0; call < 3; ++call) {
    EXPECT_EQ(cramped.decode(all[0], 4095).status, ZD_AAC_DEC_ERR_OUTPUT_TOO_SMALL);
  }
  EXPECT_EQ(decode_all(cramped, all), expected());
}

// While frames are concealed only the header of a damaged one is consumed, so that the next call searches on.
TEST_F(AdtsFramingTest, ConsumesTheHeaderAloneOfADamagedFrameInAGap) {
  TestDecoder decoder(config_of(file_));
  for (size_t i = 0; i < 3; ++i) decoder.decode(unit(i, {}));
  decoder.lose();
  const Bytes frame = adts_frame({.rate_index = 4}, {0xE0, 0, 0});
  const Output output = decoder.decode(frame);
  EXPECT_EQ(output.status, ZD_AAC_DEC_OK);
  EXPECT_EQ(output.consumed, 7);
  EXPECT_EQ(output.pcm.size(), 2048U);
  EXPECT_EQ(decoder.decode(joined({0xE0, 0, 0}, unit(3, {}))).status, ZD_AAC_DEC_OK);
}

// A stream cut inside a header: nothing is consumed that wasn't given, and the held frame is still there.
TEST_F(AdtsFramingTest, RefusesAHeaderThatIsCut) {
  const Bytes whole = unit(3, {});
  const Pcm all = expected();
  for (std::ptrdiff_t size = 1; size < 7; ++size) {
    TestDecoder decoder(config_of(file_));
    for (size_t i = 0; i < 3; ++i) decoder.decode(unit(i, {}));
    const Bytes cut(whole.begin(), whole.begin() + size);
    EXPECT_EQ(decoder.decode(cut).status, ZD_AAC_DEC_ERR_FAILED);
    EXPECT_EQ(decoder.lose().pcm, Pcm(all.begin() + 2 * 2048, all.begin() + 3 * 2048));
    // In a gap, where damaged blocks count as lost, it is a failure too.
    EXPECT_EQ(decoder.decode(cut).status, ZD_AAC_DEC_ERR_FAILED);
  }
}

}  // namespace
}  // namespace zdr::aacdec
