#include <gtest/gtest.h>

#include <cstdint>

#include "aacdec/sampling_rates.h"
#include "aacdec/zd_aac_dec.h"
#include "tests/aacdec/adts_file.h"
#include "tests/aacdec/test_decoder.h"

namespace zdr::aacdec {
namespace {

using namespace test;

Zd_AAC_Dec_Config core_config(const AdtsFile& file, int32_t channels) {
  const int32_t rate = kSamplingRates[file.sampling_index];
  return {channels * 2048, 1024, rate, channels, file.profile, rate, 0, 0};
}

int32_t measure(const Bytes& data, int32_t kind, Zd_AAC_Dec_Config config, int32_t& length) {
  length = static_cast<int32_t>(data.size());
  return Zd_AAC_Dec_GetFrameLength(data.data(), kind, &config, &length, 0);
}

bool is_supported(const AdtsFile& file) {
  return (file.profile == 1 || file.profile == 3) && file.channel_configuration <= 2;
}

// The bytes behind a frame are those of the next one, as in a file.
TEST(FrameLength, IsExactForEveryFrameOfEveryFile) {
  size_t measured = 0;
  for (const AdtsFile& file : all_adts_files()) {
    if (!is_supported(file)) continue;
    for (size_t i = 0; i < file.frames.size(); ++i) {
      const AdtsFrame& frame = file.frames[i];
      const Bytes following = i + 1 < file.frames.size() ? file.frames[i + 1].header : Bytes{};
      int32_t length = 0;
      ASSERT_EQ(measure(joined(frame.payload, following), 0, core_config(file, 0), length), 0)
          << file.name << ' ' << i;
      ASSERT_EQ(length, static_cast<int32_t>(frame.payload.size())) << file.name << ' ' << i;
      const Bytes whole = joined(joined(frame.header, frame.payload), following);
      ASSERT_EQ(measure(whole, 2, core_config(file, 0), length), 0) << file.name << ' ' << i;
      ASSERT_EQ(length, static_cast<int32_t>(frame.header.size() + frame.payload.size()))
          << file.name << ' ' << i;
      ++measured;
    }
  }
  EXPECT_GT(measured, 250U);
}

TEST(FrameLength, FailsForAFrameThatIsCutAnywhere) {
  for (const char* name :
       {"aac-lc-44k-stereo.aac", "aac-ltp-44k-stereo.aac", "he-aac-v1-stereo.aac", "he-aac-v2.aac"}) {
    const AdtsFile file = sample(name);
    for (size_t i = 0; i < file.frames.size(); i += 7) {
      Bytes cut = file.frames[i].payload;
      while (cut.size() > 1) {
        cut.pop_back();
        int32_t length = 0;
        ASSERT_EQ(measure(cut, 0, core_config(file, 0), length), -1) << name << ' ' << i << ' ' << cut.size();
        ASSERT_EQ(length, static_cast<int32_t>(cut.size()));
      }
    }
  }
}

// Frames joined without headers, as in an ADIF file behind its header.
TEST(FrameLength, WalksRawFramesFromFirstToLast) {
  for (const char* name : {"aac-lc-44k-stereo.aac", "aac-lc-8k-mono.aac", "he-aac-v2.aac"}) {
    const AdtsFile file = sample(name);
    Bytes stream;
    for (const AdtsFrame& frame : file.frames) stream = joined(stream, frame.payload);
    size_t frames = 0;
    while (!stream.empty()) {
      int32_t length = 0;
      ASSERT_EQ(measure(stream, 0, core_config(file, file.channel_configuration), length), 0)
          << name << frames;
      stream.erase(stream.begin(), stream.begin() + length);
      ++frames;
    }
    EXPECT_EQ(frames, file.frames.size());
  }
}

TEST(FrameLength, EntersWhatTheFrameShows) {
  const AdtsFile file = sample("he-aac-v1-mono.aac");
  const Bytes& frame = file.frames[0].payload;
  Zd_AAC_Dec_Config config = core_config(file, 0);
  config.outputBytes = 2048;
  auto length = static_cast<int32_t>(frame.size());
  ASSERT_EQ(Zd_AAC_Dec_GetFrameLength(frame.data(), 0, &config, &length, 0), 0);
  EXPECT_EQ(config.channels, 1);
  EXPECT_EQ(config.extension, ZD_AAC_DEC_EXTENSION_SBR);
  EXPECT_EQ(config.outputRate, 2 * config.sampleRate);
  EXPECT_EQ(config.outputBytes, 4096);
  // A second frame finds it known.
  ASSERT_EQ(Zd_AAC_Dec_GetFrameLength(frame.data(), 0, &config, &length, 0), 0);
  EXPECT_EQ(config.outputBytes, 4096);
  // Frames without SBR take the rate back, and nothing else.
  const AdtsFile plain = sample("aac-lc-8k-mono.aac");
  config.sampleRate = 8000;
  length = static_cast<int32_t>(plain.frames[0].payload.size());
  ASSERT_EQ(Zd_AAC_Dec_GetFrameLength(plain.frames[0].payload.data(), 0, &config, &length, 0), 0);
  EXPECT_EQ(config.outputRate, 8000);
  EXPECT_EQ(config.extension, ZD_AAC_DEC_EXTENSION_SBR);
}

TEST(FrameLength, RequiredThatParametricStereoDoublesTheChannelsAtEveryCall) {
  const AdtsFile file = sample("he-aac-v2.aac");
  const Bytes& frame = file.frames[0].payload;
  Zd_AAC_Dec_Config config = core_config(file, 1);
  auto length = static_cast<int32_t>(frame.size());
  ASSERT_EQ(Zd_AAC_Dec_GetFrameLength(frame.data(), 0, &config, &length, 0), 0);
  EXPECT_EQ(config.channels, 2);
  EXPECT_EQ(config.extension, ZD_AAC_DEC_EXTENSION_PS);
  EXPECT_EQ(config.outputBytes, 8192);
  EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(frame.data(), 0, &config, &length, 0), -1);
  EXPECT_EQ(config.channels, 4);
  EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(frame.data(), 0, &config, &length, 0), -1);
}

TEST(FrameLength, HandlesMissingDataAndArguments) {
  const AdtsFile file = sample("aac-lc-8k-mono.aac");
  const AdtsFrame& frame = file.frames[0];
  Zd_AAC_Dec_Config config = core_config(file, 1);
  int32_t length = 5;
  EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(nullptr, 0, &config, &length, 0), 0);
  EXPECT_EQ(length, 5);
  length = 0;
  EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(frame.payload.data(), 0, &config, &length, 0), 0);
  EXPECT_EQ(length, 0);
  length = 7;
  EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(frame.header.data(), 1, &config, &length, 0), -1);
  EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(frame.payload.data(), 0, nullptr, &length, 0), -1);
  EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(frame.payload.data(), 0, &config, nullptr, 0), -1);

  // The smallest frame: silence of a few bytes.
  const Bytes silence = {0x01, 0x40, 0x20, 0x07};
  for (const int32_t kind : {0, 1}) {
    int32_t bytes = 0;
    EXPECT_EQ(measure(silence, kind, config, bytes), kind == 0 ? 0 : -1);
  }
}

TEST(FrameLength, RejectsConfigurationsThatItCannotMeasure) {
  const AdtsFile file = sample("aac-lc-8k-mono.aac");
  const auto fails = [&file](void (*change)(Zd_AAC_Dec_Config&)) {
    Zd_AAC_Dec_Config config = core_config(file, 1);
    change(config);
    int32_t length = 0;
    return measure(file.frames[0].payload, 0, config, length) == -1;
  };
  EXPECT_FALSE(fails([](Zd_AAC_Dec_Config&) {}));
  EXPECT_TRUE(fails([](Zd_AAC_Dec_Config& c) { c.channels = 3; }));
  EXPECT_TRUE(fails([](Zd_AAC_Dec_Config& c) { c.channels = -1; }));
  EXPECT_TRUE(fails([](Zd_AAC_Dec_Config& c) { c.sampleRate = 7350; }));
  EXPECT_TRUE(fails([](Zd_AAC_Dec_Config& c) { c.frameLength = 960; }));
  EXPECT_TRUE(fails([](Zd_AAC_Dec_Config& c) { c.profile = 2; }));
}

}  // namespace
}  // namespace zdr::aacdec
