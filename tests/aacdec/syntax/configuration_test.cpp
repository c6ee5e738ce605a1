// Configurations from AudioSpecificConfig records, stream headers and first frames.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "mediakit/aac/block_writer.h"
#include "mediakit/aac/stream_builder.h"
#include "tests/aacdec/test_decoder.h"

namespace zdr::test {
namespace {

struct Result {
  int32_t status = 0;
  int32_t length = 0;
  Zd_AAC_Dec_Config config{};
};

Result get_config(const Bytes& data, int32_t header_mode, const Bytes& first_frame = {}) {
  Result result;
  result.length = static_cast<int32_t>(data.size());
  result.status = Zd_AAC_Dec_GetConfig(data.data(), &result.length, &result.config, header_mode,
                                       first_frame.data(), static_cast<int32_t>(first_frame.size()));
  return result;
}

ConfigValues lc(int32_t rate_hz, int32_t channels) {
  return values(lc_config(rate_hz, channels));
}

ConfigValues sbr(int32_t rate_hz, int32_t channels, int32_t extension = ZD_AAC_DEC_EXTENSION_SBR) {
  return {channels * 4096, 1024, rate_hz, channels, 1, 2 * rate_hz, extension, 0};
}

struct RecordCase {
  const char* name;
  BitWriter record;
  ConfigValues expected;  // empty: rejected
  Bytes first_frame = {};
};

void check(std::initializer_list<RecordCase> cases) {
  for (const RecordCase& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes data = c.record.bytes();
    data.reserve(1);  // an empty record has no bytes, but is not null
    const Result result = get_config(data, 0, c.first_frame);
    EXPECT_LE(result.length, static_cast<int32_t>(data.size()));
    EXPECT_EQ(result.status, c.expected.empty() ? ZD_AAC_DEC_ERR_FAILED : ZD_AAC_DEC_OK);
    EXPECT_TRUE(c.expected.empty() || values(result.config) == c.expected);
  }
}

// AudioSpecificConfig records: audioObjectType, samplingFrequencyIndex, channelConfiguration, three bits of
// GASpecificConfig.
TEST(Configuration, IsReadFromARecord) {
  check({
      {"LC", {{2, 5}, {4, 4}, {2, 4}, {0, 3}}, lc(44100, 2)},
      {"LTP", {{4, 5}, {11, 4}, {1, 4}, {0, 3}}, {2048, 1024, 8000, 1, 3, 8000, 0, 0}},
      {"main profile", {{1, 5}, {4, 4}, {2, 4}, {0, 3}}, {}},
      {"frames of 960", {{2, 5}, {4, 4}, {2, 4}, {4, 3}}, {}},
      {"7350 Hz", {{2, 5}, {12, 4}, {2, 4}, {0, 3}}, {}},
      {"explicit rate", {{2, 5}, {15, 4}, {44100, 24}, {2, 4}, {0, 3}}, lc(44100, 2)},
      {"rate outside of the table", {{2, 5}, {15, 4}, {44000, 24}, {2, 4}, {0, 3}}, {}},
      {"core coder delay", {{2, 5}, {3, 4}, {1, 4}, {1, 2}, {0x3FFF, 14}, {0, 1}}, lc(48000, 1)},
      {"extension flag of LC", {{2, 5}, {4, 4}, {2, 4}, {1, 3}}, {}},
      {"six channels", {{2, 5}, {3, 4}, {6, 4}, {0, 3}}, lc(48000, 6)},
      {"nothing", {}, {}},
  });
}

// LC at 44100 Hz with a program_config_element: tag, profile, rate; the numbers of front, side, back, LFE,
// associated data and coupling elements; three mixdowns; the elements; after alignment, a comment. The SBR
// data after the first one show where it ended.
TEST(Configuration, IsReadFromAProgram) {
  const BitWriter program{{0x1200, 16}};
  check({
      {"every field",
       program + BitWriter{{0, 4}, {1, 2}, {7, 4}, {1, 4}, {0, 4}, {1, 4}, {0, 2}, {2, 3}, {0, 4}} +
           BitWriter{{1, 1}, {9, 4}, {1, 1}, {9, 4}, {1, 1}, {5, 3}, {0, 5}, {3, 5}, {15, 4}, {15, 4}} +
           BitWriter{{0, 1}, {2, 8}, {0x4142, 16}, {0x2B7, 11}, {5, 5}, {1, 1}, {1, 4}},
       sbr(44100, 2, 0)},
      {"a pair", program + BitWriter{{0, 6}, {7, 4}, {0, 4}, {1, 4}, {0, 16}, {1, 1}, {0, 13}}, lc(44100, 2)},
      {"no elements", program + BitWriter{{0, 6}, {4, 4}, {0, 38}}, {}},
      {"three channels", program + BitWriter{{0, 6}, {4, 4}, {2, 4}, {0, 20}, {1, 1}, {0, 39}}, {}},
      {"two back elements", program + BitWriter{{0, 6}, {4, 4}, {0, 8}, {2, 4}, {0, 44}}, {}},
      {"an LFE element", program + BitWriter{{0, 6}, {4, 4}, {1, 4}, {0, 8}, {1, 2}, {0, 40}}, {}},
      {"coupling", program + BitWriter{{0, 6}, {4, 4}, {1, 4}, {0, 13}, {1, 4}, {0, 40}}, {}},
  });
}

TEST(Configuration, MaySignalSbr) {
  const BitWriter he{{5, 5}, {6, 4}, {2, 4}};             // SBR over a core of 24000 Hz
  const BitWriter mono{{0x1388, 16}};                     // LC at 22050 Hz
  const BitWriter after = mono + BitWriter{{0x2B7, 11}};  // compatible signalling
  check({
      {"doubled rate", he + BitWriter{{3, 4}, {2, 5}, {0, 3}}, sbr(24000, 2)},
      {"extension flag", he + BitWriter{{3, 4}, {2, 5}, {1, 3}, {1, 1}}, sbr(24000, 2)},
      {"core rate", he + BitWriter{{6, 4}, {2, 5}, {0, 3}}, {4096, 1024, 24000, 2, 1, 24000, 5, 1}},
      {"another rate", he + BitWriter{{4, 4}, {2, 5}, {0, 3}}, {}},
      {"explicit rate", he + BitWriter{{15, 4}, {48000, 24}, {2, 5}, {0, 3}}, sbr(24000, 2)},
      {"reserved rate", he + BitWriter{{13, 4}, {2, 5}, {0, 3}}, {}},
      {"over LTP", he + BitWriter{{3, 4}, {4, 5}, {0, 3}}, {}},
      {"parametric stereo is stereo", {{29, 5}, {7, 4}, {1, 4}, {4, 4}, {2, 5}, {0, 3}}, sbr(22050, 2, 6)},
      {"absent", after + BitWriter{{5, 5}, {0, 8}}, lc(22050, 1)},
      {"extension of another type", after + BitWriter{{6, 5}, {0, 8}}, {}},
      {"truncated", after + BitWriter{{5, 5}}, {}},
      {"reserved rate after the core", after + BitWriter{{5, 5}, {1, 1}, {13, 4}}, {}},
      {"explicit rate after the core", after + BitWriter{{5, 5}, {1, 1}, {15, 4}, {44100, 24}},
       sbr(22050, 1, 0)},
      {"truncated rate", after + BitWriter{{5, 5}, {1, 1}, {15, 4}, {0, 16}}, {}},
      {"other bytes after the core", mono + BitWriter{{0x2B6, 11}, {5, 5}, {1, 8}}, lc(22050, 1)},
  });
}

// The first frame may add SBR and parametric stereo to what the record announces.
TEST(Configuration, IsReadFromARecordAndTheFirstFrame) {
  const Bytes v1 = sample("he-aac-v1-stereo.aac").frames[0].payload;
  const Bytes v2 = sample("he-aac-v2.aac").frames[0].payload;
  const Bytes lc_block = sample("aac-lc-44k-stereo.aac").frames[3].payload;
  check({
      {"SBR", {{0x1390, 16}}, sbr(22050, 2), v1},
      {"parametric stereo", {{0x1388, 16}}, sbr(22050, 2, 6), v2},
      {"more than announced", {{0x2B8A0800, 32}}, sbr(22050, 2, 6), v2},
      {"not read when all is announced", {{0xEB8A0800, 32}}, sbr(22050, 2, 6), {0xFF}},
      {"plain", {{0x1210, 16}}, lc(44100, 2), lc_block},
      {"parametric stereo of two channels", {{0x1390, 16}}, {}, v2},
      {"six channels", {{0x11B0, 16}}, {}, lc_block},
      {"truncated", {{0x1210, 16}}, {}, truncated(lc_block)},
  });
}

TEST(Configuration, KeptCompatibleSbrSetsNoExtensionAndCountsTwiceAndADelayMayBeMissing) {
  const BitWriter compatible_sbr{{0x2B7, 11}, {5, 5}, {1, 1}, {4, 4}};
  check({
      {"no extension", BitWriter{{0x1388, 16}} + compatible_sbr, sbr(22050, 1, 0)},
      {"counted twice",
       BitWriter{{0x1390, 16}} + compatible_sbr,
       {16384, 1024, 22050, 2, 1, 44100, 5, 0},
       sample("he-aac-v1-stereo.aac").frames[0].payload},
      {"missing core coder delay", {{2, 5}, {4, 4}, {2, 4}, {2, 3}}, lc(44100, 2)},
  });
}

std::string console_text;

TEST(Configuration, ReportsAnUnknownObjectType) {
  const std::string lines = "lObjectType = 1 =Failed at Zd_AAC_Dec_sParseRawConfigData\n";
  const Bytes main_profile = {0x0A, 0x10};
  console_text.clear();
  Zd_AAC_Dec_SetConsole([](const char* text) { console_text += text; });
  EXPECT_EQ(get_config({0x12, 0x10, 0x12, 0x34}, 0).length, 2);
  EXPECT_EQ(get_config(main_profile, 0).status, ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(console_text, lines);

  Zd_AAC_Dec_SetConsole(nullptr);
  testing::internal::CaptureStderr();
  get_config(main_profile, 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), lines);
}

TEST(StreamHeader, KeptAdtsCheckWordIsSkipped) {
  const Bytes frame = sample("he-aac-v1-stereo.aac").frames[0].payload;
  const auto adts = [&](const AdtsFields& fields) { return adts_frame(fields, frame); };
  const auto adif = [&](const AdifFields& fields) { return concat({adif_header(fields), frame}); };
  // The length of the header, or -1 if it is refused, and the profile.
  const std::tuple<Bytes, int32_t, int32_t> cases[] = {
      {adts({}), 7, 1},
      {adts({.protection_absent = 0}), 9, 1},
      {adts({.profile = 3}), 7, 3},
      {adts({.channels = 0}), 7, 1},
      {adts({.layer = 1}), -1, 0},
      {adts({.profile = 0}), -1, 0},
      {adts({.profile = 2}), -1, 0},
      {adts({.rate_index = 12}), -1, 0},
      {adif({.sampling_index = 7}), 17, 1},
      {adif({.copyright = true, .sampling_index = 7}), 26, 1},
      {adif({.variable_rate = true, .sampling_index = 7}), 14, 1},
      {adif({.sampling_index = 7, .further_programs = 1}), -1, 0},
  };
  for (const auto& [stream, length, profile] : cases) {
    SCOPED_TRACE(length);
    const Result result = get_config(stream, 1);
    EXPECT_EQ(result.status, length < 0 ? ZD_AAC_DEC_ERR_FAILED : ZD_AAC_DEC_OK);
    EXPECT_EQ(measure(stream, ZD_AAC_DEC_STREAM_ADIF, lc_config(22050, 2)),
              length < 0 ? -1 : static_cast<int32_t>(stream.size()));
    if (length < 0) continue;
    EXPECT_EQ(result.length, length);
    EXPECT_EQ(values(result.config), (ConfigValues{8192, 1024, 22050, 2, profile, 44100, 5, 0}));
  }
  EXPECT_EQ(get_config(adif({.sampling_index = 12}), 1).status, ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(get_config({'R', 'I', 'F', 'F', 0, 0, 0, 0, 0}, 1).status, ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(get_config(truncated(adif_header({.sampling_index = 7}), 2), 1).status, ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(get_config(adts_frame({.channels = 6}, frame), 1).status, ZD_AAC_DEC_ERR_FAILED);
  // A header of at least 8 bytes is enough; a single byte after it is not a frame.
  const Result alone = get_config(adts_frame({.protection_absent = 0, .channels = 0}, {}), 1);
  EXPECT_EQ(alone.status, ZD_AAC_DEC_OK);
  EXPECT_EQ(alone.config.outputBytes, 2048);
  for (const Bytes& block : {Bytes{}, Bytes{0}}) {
    EXPECT_EQ(get_config(adts_frame({}, block), 1).status, ZD_AAC_DEC_ERR_FAILED);
  }
  // The reported length of a truncated header does not exceed that of the data.
  EXPECT_EQ(get_config(truncated(adts_frame({.protection_absent = 0}, {})), 1).length, 8);
}

}  // namespace
}  // namespace zdr::test
