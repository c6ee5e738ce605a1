// Frame lengths, and what measuring writes into the configuration.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "aacdec/zd_aac_dec.h"
#include "tests/aacdec/test_decoder.h"

namespace zdr::test {
namespace {

using namespace aacdec;

// Returns the length, or -1 after a failure, which must not write the length.
int32_t measure(const Bytes& data, int32_t kind, Zd_AAC_Dec_Config config) {
  const auto available = static_cast<int32_t>(data.size());
  int32_t length = available;
  if (Zd_AAC_Dec_GetFrameLength(data.data(), kind, &config, &length, 0) == ZD_AAC_DEC_OK) return length;
  EXPECT_EQ(length, available);
  return -1;
}

// The bytes after a frame are those of the next one, as in a file.
TEST(FrameLength, IsExactForEveryFrameOfEveryFile) {
  size_t measured = 0;
  for (const AdtsFile& file : all_adts_files()) {
    if ((file.profile != 1 && file.profile != 3) || file.channel_configuration > 2) continue;
    Zd_AAC_Dec_Config config = config_of(file);
    config.channels = 0;
    for (size_t i = 0; i < file.frames.size(); ++i) {
      SCOPED_TRACE(file.name + " " + std::to_string(i));
      const AdtsFrame& frame = file.frames[i];
      const Bytes following = i + 1 < file.frames.size() ? file.frames[i + 1].header : Bytes{};
      const auto block_bytes = static_cast<int32_t>(frame.payload.size());
      const auto header_bytes = static_cast<int32_t>(frame.header.size());
      // Only the kind of stream decides whether a header may come first.
      const Bytes block = joined(frame.payload, following);
      ASSERT_EQ(measure(block, ZD_AAC_DEC_STREAM_RAW, config), block_bytes);
      ASSERT_EQ(measure(block, ZD_AAC_DEC_STREAM_ADIF, config), block.size() < 8 ? -1 : block_bytes);
      const Bytes whole = joined(frame.header, block);
      ASSERT_EQ(measure(whole, ZD_AAC_DEC_STREAM_ADTS, config), header_bytes + block_bytes);
      ++measured;
      for (size_t cut = 1; i % 7 == 0 && cut < frame.payload.size(); ++cut) {
        ASSERT_EQ(measure(truncated(frame.payload, cut), ZD_AAC_DEC_STREAM_RAW, config), -1) << cut;
      }
    }
  }
  EXPECT_GT(measured, 250U);
}

TEST(FrameLength, KeptParametricStereoDoublesTheChannelsAtEveryCall) {
  Zd_AAC_Dec_Config config{};
  const auto measure_into = [&config](const AdtsFile& file) {
    const Bytes& block = file.frames[0].payload;
    auto length = static_cast<int32_t>(block.size());
    return Zd_AAC_Dec_GetFrameLength(block.data(), 0, &config, &length, 0);
  };
  // For the second frame SBR is already known.
  config = lc_config(12000, 1);
  for (int call = 0; call < 2; ++call) {
    ASSERT_EQ(measure_into(sample("he-aac-v1-mono.aac")), 0);
    EXPECT_EQ(config.channels, 1);
    EXPECT_EQ(config.extension, ZD_AAC_DEC_EXTENSION_SBR);
    EXPECT_EQ(config.outputRate, 24000);
    EXPECT_EQ(config.outputBytes, 4096);
  }
  // Frames without SBR reset only the rate.
  config.sampleRate = 8000;
  ASSERT_EQ(measure_into(sample("aac-lc-8k-mono.aac")), 0);
  EXPECT_EQ(config.outputRate, 8000);
  EXPECT_EQ(config.extension, ZD_AAC_DEC_EXTENSION_SBR);
  config = lc_config(22050, 1);
  ASSERT_EQ(measure_into(sample("he-aac-v2.aac")), 0);
  EXPECT_EQ(config.channels, 2);
  EXPECT_EQ(config.extension, ZD_AAC_DEC_EXTENSION_PS);
  EXPECT_EQ(config.outputBytes, 8192);
  EXPECT_EQ(measure_into(sample("he-aac-v2.aac")), -1);
  EXPECT_EQ(config.channels, 4);
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
  const Zd_AAC_Dec_Config config = lc_config(8000, 1);
  EXPECT_EQ(measure(sample("aac-lc-8k-mono.aac").frames[0].header, ZD_AAC_DEC_STREAM_ADIF, config), -1);
  // The smallest frame: silence of a few bytes.
  const Bytes silence = {0x01, 0x40, 0x20, 0x07};
  EXPECT_EQ(measure(silence, ZD_AAC_DEC_STREAM_RAW, config), 4);
  using Config = Zd_AAC_Dec_Config;
  const std::pair<int32_t Config::*, int32_t> changes[] = {{&Config::channels, 3},
                                                           {&Config::channels, -1},
                                                           {&Config::sampleRate, 7350},
                                                           {&Config::frameLength, 960},
                                                           {&Config::profile, 2}};
  for (const auto& [field, value] : changes) {
    Config changed = config;
    changed.*field = value;
    EXPECT_EQ(measure(silence, ZD_AAC_DEC_STREAM_RAW, changed), -1);
  }
}

}  // namespace
}  // namespace zdr::test
