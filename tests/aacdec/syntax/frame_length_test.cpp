// Frame lengths, and what measuring writes into the configuration.
#include <gtest/gtest.h>

#include <optional>
#include <utility>

#include "tests/aacdec/test_decoder.h"

namespace zdr::test {
namespace {

// The bytes after a frame are those of the next one, as in a file.
TEST(FrameLength, IsExactForEveryFrameOfEveryFile) {
  size_t measured = 0;
  for (const AdtsFile& file : all_adts_files()) {
    if ((file.profile != 1 && file.profile != 3) || file.channel_configuration > 2) continue;
    Zd_AAC_Dec_Config config = config_of(file);
    config.channels = 0;
    for (size_t i = 0; i < file.frames.size(); ++i) {
      SCOPED_TRACE(testing::Message() << file.name << ' ' << i);
      const auto& [header, payload] = file.frames[i];
      const Bytes block = concat({payload, i + 1 < file.frames.size() ? file.frames[i + 1].header : Bytes{}});
      const auto bytes = static_cast<int32_t>(payload.size());
      // Only the kind of stream decides whether a header may come first.
      ASSERT_EQ(measure(block, ZD_AAC_DEC_STREAM_RAW, config), bytes);
      ASSERT_EQ(measure(block, ZD_AAC_DEC_STREAM_ADIF, config), block.size() < 8 ? -1 : bytes);
      const Bytes whole = concat({header, block});
      ASSERT_EQ(measure(whole, ZD_AAC_DEC_STREAM_ADTS, config), static_cast<int32_t>(header.size()) + bytes);
      ++measured;
    }
  }
  EXPECT_GT(measured, 250U);
}

TEST(FrameLength, FailsForEveryTruncationOfEveryFrame) {
  for (const AdtsFile& file : adts_samples()) {
    for (const AdtsFrame& frame : file.frames) {
      for (size_t cut = 1; cut < frame.payload.size(); ++cut) {
        ASSERT_EQ(measure(truncated(frame.payload, cut), ZD_AAC_DEC_STREAM_RAW, config_of(file)), -1) << cut;
      }
    }
  }
}

TEST(FrameLength, KeptParametricStereoDoublesTheChannelsAtEveryCall) {
  struct Call {
    const char* file;
    std::optional<Zd_AAC_Dec_Config> before;  // none: the result of the previous call
    ConfigValues after;
    int32_t status = ZD_AAC_DEC_OK;
  };
  const Zd_AAC_Dec_Config with_sbr = {4096, 1024, 8000, 1, 1, 24000, ZD_AAC_DEC_EXTENSION_SBR, 0};
  const Call calls[] = {
      {"he-aac-v1-mono.aac", lc_config(12000, 1), {4096, 1024, 12000, 1, 1, 24000, 5, 0}},
      // SBR is already known.
      {"he-aac-v1-mono.aac", {}, {4096, 1024, 12000, 1, 1, 24000, 5, 0}},
      // Frames without SBR reset only the rate.
      {"aac-lc-8k-mono.aac", with_sbr, {4096, 1024, 8000, 1, 1, 8000, 5, 0}},
      {"he-aac-v2.aac", lc_config(22050, 1), {8192, 1024, 22050, 2, 1, 44100, 6, 0}},
      {"he-aac-v2.aac", {}, {32768, 1024, 22050, 4, 1, 44100, 6, 0}, ZD_AAC_DEC_ERR_FAILED},
  };
  Zd_AAC_Dec_Config config{};
  for (const auto& [file, before, after, status] : calls) {
    if (before) config = *before;
    const Bytes block = sample(file).frames[0].payload;
    auto length = static_cast<int32_t>(block.size());
    EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(block.data(), 0, &config, &length, 0), status);
    EXPECT_EQ(values(config), after);
  }
}

TEST(FrameLength, KeptEmptyInputSucceeds) {
  const AdtsFile file = sample("aac-lc-8k-mono.aac");
  Zd_AAC_Dec_Config config = config_of(file);
  const uint8_t* const block = file.frames[0].payload.data();
  int32_t length = 0;
  EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(block, 0, &config, &length, 0), 0);
  EXPECT_EQ(length, 0);
  length = 5;
  EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(nullptr, 0, &config, &length, 0), 0);
  EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(block, 0, nullptr, &length, 0), -1);
  EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(block, 0, &config, nullptr, 0), -1);
  EXPECT_EQ(length, 5);
}

TEST(FrameLength, FailsForOtherConfigurations) {
  using Config = Zd_AAC_Dec_Config;
  const Config config = lc_config(8000, 1);
  const Bytes header = sample("aac-lc-8k-mono.aac").frames[0].header;
  EXPECT_EQ(measure(header, ZD_AAC_DEC_STREAM_ADIF, config), -1);
  // The smallest frame: silence of a few bytes.
  const Bytes silence = {0x01, 0x40, 0x20, 0x07};
  EXPECT_EQ(measure(silence, ZD_AAC_DEC_STREAM_RAW, config), 4);
  for (const auto& [field, value] : {std::pair(&Config::channels, 3), std::pair(&Config::channels, -1),
                                     std::pair(&Config::sampleRate, 7350),
                                     std::pair(&Config::frameLength, 960), std::pair(&Config::profile, 2)}) {
    Config changed = config;
    changed.*field = value;
    EXPECT_EQ(measure(silence, ZD_AAC_DEC_STREAM_RAW, changed), -1);
  }
}

}  // namespace
}  // namespace zdr::test
