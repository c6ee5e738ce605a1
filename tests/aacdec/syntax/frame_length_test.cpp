// Measuring frames, and what it enters into the configuration.
#include <gtest/gtest.h>

#include <cstdint>

#include "aacdec/syntax/sampling_rates.h"
#include "aacdec/zd_aac_dec.h"
#include "mediakit/aac/adts_file.h"
#include "tests/aacdec/test_decoder.h"

namespace zdr::aacdec {
namespace {

using namespace test;

Zd_AAC_Dec_Config core_config(const AdtsFile& file, int32_t channels) {
  const int32_t rate = kSamplingRates[file.sampling_index];
  return {channels * 2048, 1024, rate, channels, file.profile, rate, 0, 0};
}

// The length, -1 after a failure, which must leave it alone.
int32_t measure(const Bytes& data, int32_t kind, Zd_AAC_Dec_Config config) {
  const auto available = static_cast<int32_t>(data.size());
  int32_t length = available;
  if (Zd_AAC_Dec_GetFrameLength(data.data(), kind, &config, &length, 0) == ZD_AAC_DEC_OK) return length;
  EXPECT_EQ(length, available);
  return -1;
}

// The bytes behind a frame are those of the next one, as in a file.
TEST(FrameLength, IsExactForEveryFrameOfEveryFileAndNoneOfACutOne) {
  size_t measured = 0;
  for (const AdtsFile& file : all_adts_files()) {
    if ((file.profile != 1 && file.profile != 3) || file.channel_configuration > 2) continue;
    const Zd_AAC_Dec_Config config = core_config(file, 0);
    for (size_t i = 0; i < file.frames.size(); ++i) {
      SCOPED_TRACE(file.name + " " + std::to_string(i));
      const AdtsFrame& frame = file.frames[i];
      const Bytes following = i + 1 < file.frames.size() ? file.frames[i + 1].header : Bytes{};
      const auto block_bytes = static_cast<int32_t>(frame.payload.size());
      const auto header_bytes = static_cast<int32_t>(frame.header.size());
      // A header is looked for where the kind says so, and not missed where there is none.
      const Bytes block = joined(frame.payload, following);
      ASSERT_EQ(measure(block, ZD_AAC_DEC_STREAM_RAW, config), block_bytes);
      ASSERT_EQ(measure(block, ZD_AAC_DEC_STREAM_ADIF, config), block.size() < 8 ? -1 : block_bytes);
      const Bytes whole = joined(frame.header, block);
      ASSERT_EQ(measure(whole, ZD_AAC_DEC_STREAM_ADTS, config), header_bytes + block_bytes);
      ++measured;
      Bytes cut = frame.payload;
      while (i % 7 == 0 && cut.size() > 1) {
        cut.pop_back();
        ASSERT_EQ(measure(cut, ZD_AAC_DEC_STREAM_RAW, config), -1) << cut.size();
      }
    }
  }
  EXPECT_GT(measured, 250U);
}

TEST(FrameLength, EntersWhatTheFrameShows) {
  const AdtsFile file = sample("he-aac-v1-mono.aac");
  Zd_AAC_Dec_Config config = core_config(file, 0);
  config.outputBytes = 2048;
  const auto measure_into = [&config](const AdtsFile& of) {
    auto length = static_cast<int32_t>(of.frames[0].payload.size());
    return Zd_AAC_Dec_GetFrameLength(of.frames[0].payload.data(), 0, &config, &length, 0);
  };
  // A second frame finds it known.
  for (int call = 0; call < 2; ++call) {
    ASSERT_EQ(measure_into(file), 0);
    EXPECT_EQ(config.channels, 1);
    EXPECT_EQ(config.extension, ZD_AAC_DEC_EXTENSION_SBR);
    EXPECT_EQ(config.outputRate, 2 * config.sampleRate);
    EXPECT_EQ(config.outputBytes, 4096);
  }
  // Frames without SBR take the rate back, and nothing else.
  config.sampleRate = 8000;
  ASSERT_EQ(measure_into(sample("aac-lc-8k-mono.aac")), 0);
  EXPECT_EQ(config.outputRate, 8000);
  EXPECT_EQ(config.extension, ZD_AAC_DEC_EXTENSION_SBR);
  // Required: parametric stereo doubles the channels at every call.
  const AdtsFile stereo = sample("he-aac-v2.aac");
  config = core_config(stereo, 1);
  ASSERT_EQ(measure_into(stereo), 0);
  EXPECT_EQ(config.channels, 2);
  EXPECT_EQ(config.extension, ZD_AAC_DEC_EXTENSION_PS);
  EXPECT_EQ(config.outputBytes, 8192);
  EXPECT_EQ(measure_into(stereo), -1);
  EXPECT_EQ(config.channels, 4);
}

TEST(FrameLength, HandlesMissingDataAndArgumentsAndWhatCannotBeMeasured) {
  const AdtsFile file = sample("aac-lc-8k-mono.aac");
  Zd_AAC_Dec_Config config = core_config(file, 1);
  const uint8_t* const block = file.frames[0].payload.data();
  int32_t length = 0;
  EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(block, 0, &config, &length, 0), 0);
  EXPECT_EQ(length, 0);
  length = 5;
  EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(nullptr, 0, &config, &length, 0), 0);
  EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(block, 0, nullptr, &length, 0), -1);
  EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(block, 0, &config, nullptr, 0), -1);
  EXPECT_EQ(length, 5);
  EXPECT_EQ(measure(file.frames[0].header, ZD_AAC_DEC_STREAM_ADIF, config), -1);

  // The smallest frame: silence of a few bytes.
  const Bytes silence = {0x01, 0x40, 0x20, 0x07};
  EXPECT_EQ(measure(silence, ZD_AAC_DEC_STREAM_RAW, config), 4);
  using Change = void (*)(Zd_AAC_Dec_Config&);
  const Change changes[] = {
      [](Zd_AAC_Dec_Config& c) { c.channels = 3; }, [](Zd_AAC_Dec_Config& c) { c.channels = -1; },
      [](Zd_AAC_Dec_Config& c) { c.sampleRate = 7350; }, [](Zd_AAC_Dec_Config& c) { c.frameLength = 960; },
      [](Zd_AAC_Dec_Config& c) { c.profile = 2; }};
  for (const Change change : changes) {
    Zd_AAC_Dec_Config changed = config;
    change(changed);
    EXPECT_EQ(measure(silence, 0, changed), -1);
  }
}

}  // namespace
}  // namespace zdr::aacdec
