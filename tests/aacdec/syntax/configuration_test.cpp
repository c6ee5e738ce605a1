// Configurations: AudioSpecificConfig records, the headers of streams, and what a first frame adds.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "aacdec/zd_aac_dec.h"
#include "mediakit/aac/adts_file.h"
#include "mediakit/aac/block_writer.h"

namespace zdr::aacdec {
namespace {

using namespace test;

using Fields = std::vector<std::pair<uint64_t, int>>;
using Values = std::vector<int32_t>;  // the fields of Zd_AAC_Dec_Config in order

Bytes bytes_of(const Fields& fields) {
  BitWriter w;
  for (const auto& [value, width] : fields) w.put(value, width);
  return w.bytes();
}

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

Values values(const Zd_AAC_Dec_Config& c) {
  return {c.outputBytes, c.frameLength, c.sampleRate, c.channels,
          c.profile,     c.outputRate,  c.extension,  c.singleRate};
}

struct RecordCase {
  const char* name;
  Fields fields;
  Values expected;  // empty: rejected
};

// clang-format off
// audioObjectType, samplingFrequencyIndex, channelConfiguration, three bits of GASpecificConfig. 0x1200 are
// those of LC at 44100 Hz with a program_config_element, 0x1388 of LC at 22050 Hz in mono.
const RecordCase kRecords[] = {
    {"Lc", {{2, 5}, {4, 4}, {2, 4}, {0, 3}}, {4096, 1024, 44100, 2, 1, 44100, 0, 0}},
    {"Ltp", {{4, 5}, {11, 4}, {1, 4}, {0, 3}}, {2048, 1024, 8000, 1, 3, 8000, 0, 0}},
    {"Main", {{1, 5}, {4, 4}, {2, 4}, {0, 3}}, {}},
    {"Frames960", {{2, 5}, {4, 4}, {2, 4}, {4, 3}}, {}},
    {"Rate7350", {{2, 5}, {12, 4}, {2, 4}, {0, 3}}, {}},
    {"RateSpelledOut", {{2, 5}, {15, 4}, {44100, 24}, {2, 4}, {0, 3}},
     {4096, 1024, 44100, 2, 1, 44100, 0, 0}},
    {"RateOutsideTheTable", {{2, 5}, {15, 4}, {44000, 24}, {2, 4}, {0, 3}}, {}},
    {"CoreCoderDelay", {{2, 5}, {3, 4}, {1, 4}, {1, 2}, {0x3FFF, 14}, {0, 1}},
     {2048, 1024, 48000, 1, 1, 48000, 0, 0}},
    {"RequiredThatACoreCoderDelayMayBeMissing", {{2, 5}, {4, 4}, {2, 4}, {2, 3}},
     {4096, 1024, 44100, 2, 1, 44100, 0, 0}},
    {"ExtensionFlagOfLc", {{2, 5}, {4, 4}, {2, 4}, {1, 3}}, {}},
    {"SixChannelsAreReadButNotProbed", {{2, 5}, {3, 4}, {6, 4}, {0, 3}},
     {12288, 1024, 48000, 6, 1, 48000, 0, 0}},
    // program_config_element: tag, profile, rate; elements in front, at the sides, at the back, for low
    // frequencies, of associated data, coupling; three mixdowns; the elements; aligned, a comment. What follows
    // shows where it ended.
    {"ProgramOfEverything",
     {{0x1200, 16}, {0, 4}, {1, 2}, {7, 4}, {1, 4}, {0, 4}, {1, 4}, {0, 2}, {2, 3}, {0, 4}, {1, 1}, {9, 4},
      {1, 1}, {9, 4}, {1, 1}, {5, 3}, {0, 5}, {3, 5}, {15, 4}, {15, 4}, {0, 1}, {2, 8}, {0x4142, 16},
      {0x2B7, 11}, {5, 5}, {1, 1}, {1, 4}},
     {8192, 1024, 44100, 2, 1, 88200, 0, 0}},
    {"ProgramOfAPair",
     {{0x1200, 16}, {0, 6}, {7, 4}, {0, 4}, {1, 4}, {0, 4}, {0, 12}, {1, 1}, {0, 4}, {0, 1}, {0, 8}},
     {4096, 1024, 44100, 2, 1, 44100, 0, 0}},
    {"ProgramOfNothing", {{0x1200, 16}, {0, 6}, {4, 4}, {0, 38}}, {}},
    {"ProgramOfThreeChannels", {{0x1200, 16}, {0, 6}, {4, 4}, {2, 4}, {0, 20}, {1, 1}, {0, 39}}, {}},
    {"ProgramOfTwoBackElements", {{0x1200, 16}, {0, 6}, {4, 4}, {0, 8}, {2, 4}, {0, 44}}, {}},
    {"ProgramWithLowFrequencies", {{0x1200, 16}, {0, 6}, {4, 4}, {1, 4}, {0, 8}, {1, 2}, {0, 40}}, {}},
    {"ProgramWithCoupling", {{0x1200, 16}, {0, 6}, {4, 4}, {1, 4}, {0, 13}, {1, 4}, {0, 40}}, {}},
    {"Sbr", {{5, 5}, {6, 4}, {2, 4}, {3, 4}, {2, 5}, {0, 3}}, {8192, 1024, 24000, 2, 1, 48000, 5, 0}},
    {"SbrWithExtensionFlag", {{5, 5}, {6, 4}, {2, 4}, {3, 4}, {2, 5}, {1, 3}, {1, 1}},
     {8192, 1024, 24000, 2, 1, 48000, 5, 0}},
    {"SbrAtTheCoreRate", {{5, 5}, {4, 4}, {2, 4}, {4, 4}, {2, 5}, {0, 3}},
     {4096, 1024, 44100, 2, 1, 44100, 5, 1}},
    {"SbrAtAnOddRate", {{5, 5}, {6, 4}, {2, 4}, {4, 4}, {2, 5}, {0, 3}}, {}},
    {"SbrAtASpelledOutRate", {{5, 5}, {6, 4}, {2, 4}, {15, 4}, {48000, 24}, {2, 5}, {0, 3}},
     {8192, 1024, 24000, 2, 1, 48000, 5, 0}},
    {"SbrAtAReservedRate", {{5, 5}, {6, 4}, {2, 4}, {13, 4}, {2, 5}, {0, 3}}, {}},
    {"SbrOverLtp", {{5, 5}, {6, 4}, {2, 4}, {3, 4}, {4, 5}, {0, 3}}, {}},
    {"PsIsStereo", {{29, 5}, {7, 4}, {1, 4}, {4, 4}, {2, 5}, {0, 3}}, {8192, 1024, 22050, 2, 1, 44100, 6, 0}},
    {"RequiredThatCompatibleSbrSetsNoExtension", {{0x1388, 16}, {0x2B7, 11}, {5, 5}, {1, 1}, {4, 4}},
     {4096, 1024, 22050, 1, 1, 44100, 0, 0}},
    {"CompatibleSbrAbsent", {{0x1388, 16}, {0x2B7, 11}, {5, 5}, {0, 1}, {0, 7}},
     {2048, 1024, 22050, 1, 1, 22050, 0, 0}},
    {"CompatibleExtensionOfAnotherType", {{0x1388, 16}, {0x2B7, 11}, {6, 5}, {0, 8}}, {}},
    {"CompatibleSbrCutOff", {{0x1388, 16}, {0x2B7, 11}, {5, 5}}, {}},
    {"CompatibleSbrAtAReservedRate", {{0x1388, 16}, {0x2B7, 11}, {5, 5}, {1, 1}, {13, 4}}, {}},
    {"CompatibleSbrAtASpelledOutRate", {{0x1388, 16}, {0x2B7, 11}, {5, 5}, {1, 1}, {15, 4}, {44100, 24}},
     {4096, 1024, 22050, 1, 1, 44100, 0, 0}},
    {"CompatibleSbrRateCutOff", {{0x1388, 16}, {0x2B7, 11}, {5, 5}, {1, 1}, {15, 4}, {0, 16}}, {}},
    {"OtherBytesBehind", {{0x1388, 16}, {0x2B6, 11}, {5, 5}, {1, 8}}, {2048, 1024, 22050, 1, 1, 22050, 0, 0}},
    {"Nothing", {}, {}},
};
// clang-format on

class Records : public testing::TestWithParam<RecordCase> {};

TEST_P(Records, GiveTheirConfiguration) {
  Bytes data = bytes_of(GetParam().fields);
  data.reserve(1);  // an empty record is one without bytes, not a null one
  const Result result = get_config(data, 0);
  EXPECT_LE(result.length, static_cast<int32_t>(data.size()));
  const bool accepted = !GetParam().expected.empty();
  ASSERT_EQ(result.status, accepted ? ZD_AAC_DEC_OK : ZD_AAC_DEC_ERR_FAILED);
  if (accepted) {
    EXPECT_EQ(values(result.config), GetParam().expected);
  }
}

INSTANTIATE_TEST_SUITE_P(All, Records, testing::ValuesIn(kRecords),
                         [](const auto& parameter) { return parameter.param.name; });

std::string console_text;

TEST(Configuration, NamesAnObjectTypeThatItDoesNotKnow) {
  const std::string lines = "lObjectType = 1 =Failed at Zd_AAC_Dec_sParseRawConfigData\n";
  const Bytes main_profile = {0x0A, 0x10};
  console_text.clear();
  Zd_AAC_Dec_SetConsole([](const char* text) { console_text += text; });
  EXPECT_EQ(get_config({0x12, 0x10, 0x12, 0x34}, 0).length, 2);
  EXPECT_EQ(console_text, "");
  EXPECT_EQ(get_config(main_profile, 0).status, ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(console_text, lines);

  Zd_AAC_Dec_SetConsole(nullptr);
  testing::internal::CaptureStderr();
  get_config(main_profile, 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), lines);
  EXPECT_EQ(console_text, lines);
}

TEST(Configuration, LearnsOfSbrAndParametricStereoFromTheFirstFrame) {
  const Bytes v1 = sample("he-aac-v1-stereo.aac").frames[0].payload;
  const Bytes v2 = sample("he-aac-v2.aac").frames[0].payload;
  const Bytes lc = sample("aac-lc-44k-stereo.aac").frames[3].payload;
  const Bytes cut(lc.begin(), lc.end() - 1);
  struct Case {
    const char* name;
    Fields record;
    Bytes frame;
    Values expected;
  };
  const Case cases[] = {
      {"Sbr", {{0x1390, 16}}, v1, {8192, 1024, 22050, 2, 1, 44100, 5, 0}},
      {"ParametricStereo", {{0x1388, 16}}, v2, {8192, 1024, 22050, 2, 1, 44100, 6, 0}},
      {"MoreThanAnnounced", {{0x2B8A0800, 32}}, v2, {8192, 1024, 22050, 2, 1, 44100, 6, 0}},
      {"NotLookedAtWhenAllIsAnnounced", {{0xEB8A0800, 32}}, {0xFF}, {8192, 1024, 22050, 2, 1, 44100, 6, 0}},
      {"RequiredThatCompatibleSbrIsCountedTwice",
       {{0x1390, 16}, {0x2B7, 11}, {5, 5}, {1, 1}, {4, 4}},
       v1,
       {16384, 1024, 22050, 2, 1, 44100, 5, 0}},
      {"Plain", {{0x1210, 16}}, lc, {4096, 1024, 44100, 2, 1, 44100, 0, 0}},
      {"ParametricStereoOfTwoChannels", {{0x1390, 16}}, v2, {}},
      {"SixChannels", {{0x11B0, 16}}, lc, {}},
      {"Cut", {{0x1210, 16}}, cut, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Result result = get_config(bytes_of(c.record), 0, c.frame);
    EXPECT_EQ(result.status, c.expected.empty() ? ZD_AAC_DEC_ERR_FAILED : ZD_AAC_DEC_OK);
    if (!c.expected.empty()) {
      EXPECT_EQ(values(result.config), c.expected);
    }
  }
}

TEST(StreamHeader, OfAdtsGivesTheConfiguration) {
  const Bytes frame = sample("he-aac-v1-stereo.aac").frames[0].payload;
  struct Case {
    AdtsFields fields;
    int32_t status;
    int32_t length;
    int32_t channels;
  };
  const Case cases[] = {{{}, 0, 7, 2},
                        {{.protection_absent = 0}, 0, 9, 2},
                        {{.profile = 3}, 0, 7, 2},
                        {{.channels = 0}, 0, 7, 2},
                        {{.channels = 6}, -1, 7, 6},
                        {{.layer = 1}, -1, 7, 0},
                        {{.profile = 0}, -1, 7, 0},
                        {{.profile = 2}, -1, 7, 0},
                        {{.rate_index = 12}, -1, 7, 0}};
  for (const Case& c : cases) {
    const Bytes stream = adts_frame(c.fields, frame);
    Result result = get_config(stream, 1);
    EXPECT_EQ(result.status, c.status);
    EXPECT_EQ(result.length, c.length);
    EXPECT_EQ(result.config.channels, c.channels);
    if (c.status == 0) {
      EXPECT_EQ(result.config.outputBytes, 8192);
    }
    // Measuring takes what configuring takes, but for the channels, which are the caller's.
    if (c.channels == 6) continue;
    Zd_AAC_Dec_Config config{4096, 1024, 22050, 2, 1, 22050, 0, 0};
    auto length = static_cast<int32_t>(stream.size());
    EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(stream.data(), 2, &config, &length, 0), c.status);
  }
  // Alone it is enough, if it has the 8 bytes that are wanted; a frame of one byte behind it is none.
  const Result alone = get_config(adts_frame({.protection_absent = 0, .channels = 0}, {}), 1);
  EXPECT_EQ(alone.status, ZD_AAC_DEC_OK);
  EXPECT_EQ(alone.config.outputBytes, 2048);
  for (const Bytes& behind : {Bytes{}, Bytes{0}}) {
    EXPECT_EQ(get_config(adts_frame({}, behind), 1).status, ZD_AAC_DEC_ERR_FAILED);
  }
  // Of one that is cut no more is told than was given.
  Bytes cut = adts_frame({.protection_absent = 0}, {});
  cut.pop_back();
  EXPECT_EQ(get_config(cut, 1).length, 8);
}

struct AdifFields {
  bool copyright = false;
  bool variable_rate = false;
  uint64_t further_programs = 0;
  uint64_t rate_index = 7;
};

Bytes adif_stream(const AdifFields& f, const Bytes& frames) {
  BitWriter w;
  w.fields({{0x41444946, 32}, {f.copyright ? 1U : 0U, 1}});
  if (f.copyright) w.fields({{0x0123456789ABCDEF, 64}, {0x55, 8}});
  w.fields({{0, 2}, {f.variable_rate ? 1U : 0U, 1}, {48000, 23}, {f.further_programs, 4}});
  if (!f.variable_rate) w.put(0xFFFFF, 20);
  // A program of two single channels.
  w.fields({{0, 4}, {1, 2}, {f.rate_index, 4}, {2, 4}, {0, 20}, {0, 10}}).align().fields({{1, 8}, {0x41, 8}});
  for (const uint8_t byte : frames) w.put(byte, 8);
  return w.bytes();
}

TEST(StreamHeader, OfAdifGivesTheConfigurationAndTheLength) {
  const Bytes frame = sample("he-aac-v1-stereo.aac").frames[0].payload;
  const AdifFields accepted[] = {{}, {.copyright = true}, {.variable_rate = true}};
  for (const AdifFields& fields : accepted) {
    const Bytes stream = adif_stream(fields, frame);
    const Result result = get_config(stream, 1);
    EXPECT_EQ(result.status, ZD_AAC_DEC_OK);
    EXPECT_EQ(values(result.config), (Values{8192, 1024, 22050, 2, 1, 44100, 5, 0}));
    EXPECT_EQ(result.length, static_cast<int32_t>(stream.size() - frame.size()));
    Zd_AAC_Dec_Config config{4096, 1024, 22050, 2, 1, 22050, 0, 0};
    auto length = static_cast<int32_t>(stream.size());
    EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(stream.data(), ZD_AAC_DEC_STREAM_ADIF, &config, &length, 0), 0);
    EXPECT_EQ(length, static_cast<int32_t>(stream.size()));
  }
  const Bytes whole = adif_stream({}, {});
  const Bytes cut(whole.begin(), whole.end() - 2);
  for (const Bytes& refused :
       {adif_stream({.further_programs = 1}, frame), adif_stream({.rate_index = 12}, frame), cut,
        Bytes{'R', 'I', 'F', 'F', 0, 0, 0, 0, 0}}) {
    EXPECT_EQ(get_config(refused, 1).status, ZD_AAC_DEC_ERR_FAILED);
  }
}

TEST(Configuration, FailsWithANullArgument) {
  const uint8_t data[2] = {0x12, 0x10};
  int32_t length = 2;
  Zd_AAC_Dec_Config config{};
  for (const int32_t status : {Zd_AAC_Dec_GetConfig(nullptr, &length, &config, 0, nullptr, 0),
                               Zd_AAC_Dec_GetConfig(data, nullptr, &config, 0, nullptr, 0),
                               Zd_AAC_Dec_GetConfig(data, &length, nullptr, 0, nullptr, 0)}) {
    EXPECT_EQ(status, ZD_AAC_DEC_ERR_FAILED);
  }
  EXPECT_EQ(Zd_AAC_Dec_GetConfig(data, &length, &config, 0, nullptr, 5), ZD_AAC_DEC_OK);
}

}  // namespace
}  // namespace zdr::aacdec
