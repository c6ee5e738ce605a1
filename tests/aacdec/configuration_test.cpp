#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "aacdec/zd_aac_dec.h"
#include "tests/aacdec/adts_file.h"
#include "tests/aacdec/adts_writer.h"
#include "tests/aacdec/block_writer.h"

namespace zdr::aacdec {
namespace {

using namespace test;

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

std::vector<int32_t> values(const Zd_AAC_Dec_Config& c) {
  return {c.outputBytes, c.frameLength, c.sampleRate, c.channels,
          c.profile,     c.outputRate,  c.extension,  c.singleRate};
}

struct RecordCase {
  const char* name;
  void (*build)(BitWriter&);
  std::vector<int32_t> expected;  // empty: rejected
};

// audioObjectType, samplingFrequencyIndex, channelConfiguration.
BitWriter& put_record(BitWriter& w, uint64_t type, uint64_t rate_index, uint64_t channels) {
  return w.fields({{type, 5}, {rate_index, 4}, {channels, 4}});
}

// A program with `front` single elements, without anything else.
BitWriter& put_program(BitWriter& w, uint64_t rate_index, uint64_t front) {
  w.fields({{0, 4}, {1, 2}, {rate_index, 4}, {front, 4}, {0, 4}, {0, 4}, {0, 2}, {0, 3}, {0, 4}, {0, 3}});
  for (uint64_t i = 0; i < front; ++i) w.put(0, 5);
  return w.align().fields({{2, 8}, {0x4142, 16}});
}

const RecordCase kRecords[] = {
    {"Lc", [](BitWriter& w) { put_record(w, 2, 4, 2).put(0, 3); }, {4096, 1024, 44100, 2, 1, 44100, 0, 0}},
    {"Ltp", [](BitWriter& w) { put_record(w, 4, 11, 1).put(0, 3); }, {2048, 1024, 8000, 1, 3, 8000, 0, 0}},
    {"Main", [](BitWriter& w) { put_record(w, 1, 4, 2).put(0, 3); }, {}},
    {"EscapedObjectType", [](BitWriter& w) { put_record(w, 31, 4, 2).put(0, 9); }, {}},
    {"Frames960", [](BitWriter& w) { put_record(w, 2, 4, 2).put(4, 3); }, {}},
    {"Rate7350", [](BitWriter& w) { put_record(w, 2, 12, 2).put(0, 3); }, {}},
    {"RateSpelledOut",
     [](BitWriter& w) {
       w.fields({{2, 5}, {15, 4}, {44100, 24}, {2, 4}, {0, 3}});
     },
     {4096, 1024, 44100, 2, 1, 44100, 0, 0}},
    {"RateOutsideTheTable",
     [](BitWriter& w) {
       w.fields({{2, 5}, {15, 4}, {44000, 24}, {2, 4}, {0, 3}});
     },
     {}},
    {"CoreCoderDelay",
     [](BitWriter& w) {
       put_record(w, 2, 3, 1).fields({{0, 1}, {1, 1}, {0x3FFF, 14}, {0, 1}});
     },
     {2048, 1024, 48000, 1, 1, 48000, 0, 0}},
    {"RequiredThatACoreCoderDelayMayBeMissing",
     [](BitWriter& w) { put_record(w, 2, 4, 2).put(2, 3); },
     {4096, 1024, 44100, 2, 1, 44100, 0, 0}},
    {"ExtensionFlagOfLc", [](BitWriter& w) { put_record(w, 2, 4, 2).put(1, 3); }, {}},
    {"SixChannelsAreReadButNotProbed",
     [](BitWriter& w) { put_record(w, 2, 3, 6).put(0, 3); },
     {12288, 1024, 48000, 6, 1, 48000, 0, 0}},
    {"ProgramOfStereo",
     [](BitWriter& w) { put_program(put_record(w, 2, 4, 0).put(0, 3), 7, 2); },
     {4096, 1024, 44100, 2, 1, 44100, 0, 0}},
    {"ProgramOfNothing", [](BitWriter& w) { put_program(put_record(w, 2, 4, 0).put(0, 3), 4, 0); }, {}},
    {"Sbr",
     [](BitWriter& w) {
       put_record(w, 5, 6, 2).fields({{3, 4}, {2, 5}, {0, 3}});
     },
     {8192, 1024, 24000, 2, 1, 48000, 5, 0}},
    {"SbrWithExtensionFlag",
     [](BitWriter& w) {
       put_record(w, 5, 6, 2).fields({{3, 4}, {2, 5}, {1, 3}, {1, 1}});
     },
     {8192, 1024, 24000, 2, 1, 48000, 5, 0}},
    {"SbrAtTheCoreRate",
     [](BitWriter& w) {
       put_record(w, 5, 4, 2).fields({{4, 4}, {2, 5}, {0, 3}});
     },
     {4096, 1024, 44100, 2, 1, 44100, 5, 1}},
    {"SbrAtAnOddRate",
     [](BitWriter& w) {
       put_record(w, 5, 6, 2).fields({{4, 4}, {2, 5}, {0, 3}});
     },
     {}},
    {"SbrAtASpelledOutRate",
     [](BitWriter& w) {
       put_record(w, 5, 6, 2).fields({{15, 4}, {48000, 24}, {2, 5}, {0, 3}});
     },
     {8192, 1024, 24000, 2, 1, 48000, 5, 0}},
    {"SbrOverLtp",
     [](BitWriter& w) {
       put_record(w, 5, 6, 2).fields({{3, 4}, {4, 5}, {0, 3}});
     },
     {}},
    {"PsIsStereo",
     [](BitWriter& w) {
       put_record(w, 29, 7, 1).fields({{4, 4}, {2, 5}, {0, 3}});
     },
     {8192, 1024, 22050, 2, 1, 44100, 6, 0}},
    {"RequiredThatCompatibleSbrSetsNoExtension",
     [](BitWriter& w) {
       put_record(w, 2, 7, 1).fields({{0, 3}, {0x2B7, 11}, {5, 5}, {1, 1}, {4, 4}});
     },
     {4096, 1024, 22050, 1, 1, 44100, 0, 0}},
    {"CompatibleSbrAbsent",
     [](BitWriter& w) {
       put_record(w, 2, 7, 1).fields({{0, 3}, {0x2B7, 11}, {5, 5}, {0, 1}, {0, 7}});
     },
     {2048, 1024, 22050, 1, 1, 22050, 0, 0}},
    {"CompatibleExtensionOfAnotherType",
     [](BitWriter& w) {
       put_record(w, 2, 7, 1).fields({{0, 3}, {0x2B7, 11}, {6, 5}, {0, 8}});
     },
     {}},
    {"CompatibleSbrCutOff",
     [](BitWriter& w) {
       put_record(w, 2, 7, 1).fields({{0, 3}, {0x2B7, 11}, {5, 5}});
     },
     {}},
    {"CompatibleSbrRateCutOff",
     [](BitWriter& w) {
       put_record(w, 2, 7, 1).fields({{0, 3}, {0x2B7, 11}, {5, 5}, {1, 1}, {15, 4}, {0, 16}});
     },
     {}},
    {"OtherBytesBehind",
     [](BitWriter& w) {
       put_record(w, 2, 7, 1).fields({{0, 3}, {0x2B6, 11}, {5, 5}, {1, 8}});
     },
     {2048, 1024, 22050, 1, 1, 22050, 0, 0}},
    {"Nothing", [](BitWriter&) {}, {}},
};

class Records : public testing::TestWithParam<RecordCase> {};

TEST_P(Records, GiveTheirConfiguration) {
  BitWriter writer;
  GetParam().build(writer);
  Bytes data = writer.bytes();
  const auto length = static_cast<int32_t>(data.size());
  data.reserve(1);  // an empty record is one without bytes, not a null one
  const Result result = get_config(data, 0);
  if (GetParam().expected.empty()) {
    EXPECT_EQ(result.status, ZD_AAC_DEC_ERR_FAILED);
    return;
  }
  EXPECT_EQ(result.status, ZD_AAC_DEC_OK);
  EXPECT_EQ(values(result.config), GetParam().expected);
  EXPECT_LE(result.length, length);
}

INSTANTIATE_TEST_SUITE_P(All, Records, testing::ValuesIn(kRecords),
                         [](const auto& parameter) { return parameter.param.name; });

TEST(Configuration, CountsTheBytesOfTheRecordAlone) {
  BitWriter writer;
  put_record(writer, 2, 7, 1).fields({{0, 3}, {0xABCDEF, 24}});
  EXPECT_EQ(get_config(writer.bytes(), 0).length, 2);
}

std::string console_text;

TEST(Configuration, NamesAnObjectTypeThatItDoesNotKnow) {
  const std::string lines = "lObjectType = 1 =Failed at Zd_AAC_Dec_sParseRawConfigData\n";
  const Bytes main_profile = {0x0A, 0x10};
  console_text.clear();
  Zd_AAC_Dec_SetConsole([](const char* text) { console_text += text; });
  EXPECT_EQ(get_config({0x12, 0x10}, 0).status, ZD_AAC_DEC_OK);
  EXPECT_EQ(console_text, "");
  EXPECT_EQ(get_config(main_profile, 0).status, ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(console_text, lines);

  Zd_AAC_Dec_SetConsole(nullptr);
  testing::internal::CaptureStderr();
  get_config(main_profile, 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), lines);
  EXPECT_EQ(console_text, lines);
}

// What the first frame adds to a record.
TEST(Configuration, LearnsOfSbrAndParametricStereoFromTheFirstFrame) {
  const Bytes stereo_22k = {0x13, 0x90};
  const Bytes mono_22k = {0x13, 0x88};
  const Bytes v1 = sample("he-aac-v1-stereo.aac").frames[0].payload;
  const Bytes v2 = sample("he-aac-v2.aac").frames[0].payload;
  const auto probed = [](const Bytes& record, const Bytes& frame) {
    const Result result = get_config(record, 0, frame);
    EXPECT_EQ(result.status, ZD_AAC_DEC_OK);
    return values(result.config);
  };
  using Values = std::vector<int32_t>;
  EXPECT_EQ(probed(stereo_22k, v1), (Values{8192, 1024, 22050, 2, 1, 44100, 5, 0}));
  EXPECT_EQ(probed(mono_22k, v2), (Values{8192, 1024, 22050, 2, 1, 44100, 6, 0}));
  // Announced as SBR, found to be more.
  BitWriter sbr;
  put_record(sbr, 5, 7, 1).fields({{4, 4}, {2, 5}, {0, 3}});
  EXPECT_EQ(probed(sbr.bytes(), v2), (Values{8192, 1024, 22050, 2, 1, 44100, 6, 0}));
  // A frame is not looked at when parametric stereo is announced.
  BitWriter ps;
  put_record(ps, 29, 7, 1).fields({{4, 4}, {2, 5}, {0, 3}});
  EXPECT_EQ(probed(ps.bytes(), {0xFF}), (Values{8192, 1024, 22050, 2, 1, 44100, 6, 0}));
  // A stereo core cannot have it.
  EXPECT_EQ(get_config(stereo_22k, 0, v2).status, ZD_AAC_DEC_ERR_FAILED);
}

TEST(Configuration, RequiredThatCompatibleSbrIsCountedTwiceWithAFirstFrame) {
  BitWriter writer;
  put_record(writer, 2, 7, 2).fields({{0, 3}, {0x2B7, 11}, {5, 5}, {1, 1}, {4, 4}});
  const Bytes frame = sample("he-aac-v1-stereo.aac").frames[0].payload;
  const Result result = get_config(writer.bytes(), 0, frame);
  EXPECT_EQ(result.status, ZD_AAC_DEC_OK);
  EXPECT_EQ(values(result.config), (std::vector<int32_t>{16384, 1024, 22050, 2, 1, 44100, 5, 0}));
}

TEST(Configuration, FailsWithAFirstFrameThatIsCutOrHasTooManyChannels) {
  Bytes frame = sample("aac-lc-44k-stereo.aac").frames[3].payload;
  EXPECT_EQ(get_config({0x12, 0x10}, 0, frame).status, ZD_AAC_DEC_OK);
  EXPECT_EQ(get_config({0x11, 0xB0}, 0, frame).status, ZD_AAC_DEC_ERR_FAILED);
  frame.pop_back();
  EXPECT_EQ(get_config({0x12, 0x10}, 0, frame).status, ZD_AAC_DEC_ERR_FAILED);
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
      EXPECT_EQ(result.config.extension, ZD_AAC_DEC_EXTENSION_SBR);
      EXPECT_EQ(result.config.outputBytes, 8192);
    }
    // Measuring takes what configuring takes, but for the channels, which are the caller's.
    if (c.channels != 6) {
      Zd_AAC_Dec_Config config{4096, 1024, 22050, 2, 1, 22050, 0, 0};
      auto length = static_cast<int32_t>(stream.size());
      EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(stream.data(), 2, &config, &length, 0), c.status);
    }
  }
}

TEST(StreamHeader, AloneIsEnough) {
  const Bytes header = adts_frame({.channels = 0}, {});
  Bytes eight = header;
  eight.push_back(0);
  EXPECT_EQ(get_config(header, 1).status, ZD_AAC_DEC_ERR_FAILED);  // fewer than 8 bytes
  EXPECT_EQ(get_config(eight, 1).status, ZD_AAC_DEC_ERR_FAILED);   // a frame of one byte
  const Result checked = get_config(adts_frame({.protection_absent = 0, .channels = 0}, {}), 1);
  EXPECT_EQ(checked.status, ZD_AAC_DEC_OK);
  EXPECT_EQ(checked.config.channels, 0);
  EXPECT_EQ(checked.config.outputBytes, 2048);
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
  put_program(w, f.rate_index, 2);
  for (const uint8_t byte : frames) w.put(byte, 8);
  return w.bytes();
}

TEST(StreamHeader, OfAdifGivesTheConfiguration) {
  const Bytes frame = sample("he-aac-v1-stereo.aac").frames[0].payload;
  const AdifFields accepted[] = {{}, {.copyright = true}, {.variable_rate = true}};
  for (const AdifFields& fields : accepted) {
    const Result result = get_config(adif_stream(fields, frame), 1);
    EXPECT_EQ(result.status, ZD_AAC_DEC_OK);
    EXPECT_EQ(values(result.config), (std::vector<int32_t>{8192, 1024, 22050, 2, 1, 44100, 5, 0}));
    EXPECT_EQ(result.length, static_cast<int32_t>(adif_stream(fields, {}).size()));
  }
  const AdifFields rejected[] = {{.further_programs = 1}, {.rate_index = 12}};
  for (const AdifFields& fields : rejected) {
    EXPECT_EQ(get_config(adif_stream(fields, frame), 1).status, ZD_AAC_DEC_ERR_FAILED);
  }
  Bytes cut = adif_stream({}, {});
  cut.erase(cut.end() - 2, cut.end());
  EXPECT_EQ(get_config(cut, 1).status, ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(get_config({'R', 'I', 'F', 'F', 0, 0, 0, 0, 0}, 1).status, ZD_AAC_DEC_ERR_FAILED);
}

TEST(Configuration, FailsWithANullArgument) {
  const uint8_t data[2] = {0x12, 0x10};
  int32_t length = 2;
  Zd_AAC_Dec_Config config{};
  EXPECT_EQ(Zd_AAC_Dec_GetConfig(nullptr, &length, &config, 0, nullptr, 0), ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(Zd_AAC_Dec_GetConfig(data, nullptr, &config, 0, nullptr, 0), ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(Zd_AAC_Dec_GetConfig(data, &length, nullptr, 0, nullptr, 0), ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(Zd_AAC_Dec_GetConfig(data, &length, &config, 0, nullptr, 5), ZD_AAC_DEC_OK);
}

}  // namespace
}  // namespace zdr::aacdec
