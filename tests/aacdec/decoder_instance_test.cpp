// The decoder instance: creation, configuration, statuses, byte counts, memory.
#include "aacdec/decoder_instance.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "mediakit/aac/block_writer.h"
#include "tests/aacdec/test_decoder.h"
#include "tests/support/failing_allocator.h"

namespace zdr::test {
namespace {

using namespace aacdec;

TEST(DecoderInstance, IsCalledOnlyThroughItsTable) {
  TestDecoder decoder(lc_config(44100, 2));
  void* slots[6];
  std::memcpy(slots, decoder.instance(), sizeof slots);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(slots[i] != nullptr, i == 0 || i == 3 || i == 4) << i;

  decoder.instance()->operations.decode = [](Zd_AAC_Dec_Instance&, const uint8_t*, int32_t& input_bytes,
                                             int16_t*, int32_t& pcm_bytes) -> int32_t {
    input_bytes = 17;
    return pcm_bytes = 0;
  };
  decoder.instance()->operations.configure = [](Zd_AAC_Dec_Instance&, Zd_AAC_Dec_Settings& settings) {
    settings.output_rate_hz = 4711;
    return settings.single_rate = 0;
  };
  EXPECT_EQ(decoder.decode({0}).consumed, 17);
  EXPECT_EQ(decoder.configure(lc_config(48000, 1)), ZD_AAC_DEC_OK);
  EXPECT_EQ(values(decoder.config()), (ConfigValues{4096, 1024, 48000, 1, 1, 4711, 0, 0}));
}

TEST(DecoderInstance, RefusesNullArgumentsAndUnknownModes) {
  Zd_AAC_Dec_Config config = lc_config(44100, 2);
  auto* none = reinterpret_cast<Zd_AAC_Dec_Instance*>(&config);
  for (const int32_t status : {Zd_AAC_Dec_Create(nullptr, 0), Zd_AAC_Dec_Open(nullptr),
                               Zd_AAC_Dec_Create(&none, 3), Zd_AAC_Dec_Create(&none, -1)}) {
    EXPECT_EQ(status, ZD_AAC_DEC_ERR_NO_INSTANCE);
  }
  EXPECT_EQ(none, nullptr);
  const TestDecoder decoder(config);
  Zd_AAC_Dec_Instance* const instance = decoder.instance();
  const uint8_t input[4] = {};
  int16_t pcm[2048];
  int32_t size = 4;
  int32_t zero = 0;
  int32_t least = -0x7FFFFFFF - 1;
  int32_t out = 4096;
  for (const int32_t status :
       {Zd_AAC_Dec_Close(nullptr), Zd_AAC_Dec_SetConfig(nullptr, &config),
        Zd_AAC_Dec_SetConfig(instance, nullptr), Zd_AAC_Dec_Decode(nullptr, input, &size, pcm, &out),
        Zd_AAC_Dec_Decode(instance, input, nullptr, pcm, &out),
        Zd_AAC_Dec_Decode(instance, input, &size, nullptr, &out),
        Zd_AAC_Dec_Decode(instance, input, &size, pcm, nullptr),
        Zd_AAC_Dec_Decode(instance, input, &zero, pcm, &out),
        Zd_AAC_Dec_Decode(instance, input, &least, pcm, &out),
        Zd_AAC_Dec_GetConfig(nullptr, &size, &config, 0, nullptr, 0),
        Zd_AAC_Dec_GetConfig(input, nullptr, &config, 0, nullptr, 0),
        Zd_AAC_Dec_GetConfig(input, &size, nullptr, 0, nullptr, 0)}) {
    EXPECT_EQ(status, ZD_AAC_DEC_ERR_FAILED);
  }
}

TEST(DecoderInstance, DecodesOnlyWhenConfiguredAndConcealsOnlyAfterAFrame) {
  const AdtsFile file = sample("aac-lc-44k-stereo.aac");
  TestDecoder decoder(ZD_AAC_DEC_MODE_PS);
  EXPECT_EQ(decoder.decode(file.frames[0].payload, 4096).status, ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(decoder.lose(4096).status, ZD_AAC_DEC_ERR_FAILED);
  ASSERT_EQ(decoder.configure(config_of(file)), ZD_AAC_DEC_OK);
  EXPECT_EQ(decoder.lose().status, ZD_AAC_DEC_ERR_FAILED);
  // A failed first block does not count as a frame.
  EXPECT_EQ(decoder.decode({0xE0, 0}).status, ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(decoder.lose().status, ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(decoder.decode(file.frames[0].payload).status, ZD_AAC_DEC_OK);
  // Invalid configurations leave the current one.
  using Config = Zd_AAC_Dec_Config;
  const std::pair<int32_t Config::*, int32_t> changes[] = {
      {&Config::channels, 0},      {&Config::channels, 3},      {&Config::sampleRate, 44000},
      {&Config::sampleRate, 7350}, {&Config::frameLength, 960}, {&Config::profile, 2},
      {&Config::extension, 29},    {&Config::extension, -1}};
  for (const auto& [field, value] : changes) {
    Config config = config_of(file);
    config.*field = value;
    EXPECT_EQ(decoder.configure(config), ZD_AAC_DEC_ERR_FAILED);
  }
  EXPECT_EQ(decoder.lose().pcm.size(), 2048U);
}

// Returns a block of one band with dynamic range data, and with a reference level unless that is negative.
Bytes block_at_level(int reference_level) {
  BitWriter range{{11, 4}, {0, 3}};
  range.put(reference_level < 0 ? 0 : 1, 1);
  if (reference_level >= 0) range.put(static_cast<uint64_t>(2 * reference_level), 8);
  return block_of(BitWriter{{0, 7}} + channel_of_one_band(180, 1) + kNoTools + quad(1, -1, 0, 1) +
                  fill_element(range.put(127, 8)));
}

// A damaged block sets neither the level nor the tag of a channel.
TEST(DecoderInstance, KeptReferenceLevelOutlivesAConfigurationButNotADamagedBlock) {
  const Zd_AAC_Dec_Config config = lc_config(44100, 1);
  const auto pcm_at_level = [](TestDecoder& decoder, int level) {
    return decode_all(decoder, std::vector<Bytes>(2, block_at_level(level)));
  };
  struct Step {
    int level;
    bool damaged;
    int level_after;
  };
  TestDecoder decoder(config);
  for (const Step& step : {Step{60, true, 0}, {40, false, 40}, {60, true, 40}, {0, false, 0}}) {
    const Bytes block = truncated(block_at_level(step.level), step.damaged ? 1 : 0);
    EXPECT_EQ(decoder.decode(block).status, step.damaged ? ZD_AAC_DEC_ERR_FAILED : ZD_AAC_DEC_OK);
    ASSERT_EQ(decoder.configure(config), ZD_AAC_DEC_OK);
    TestDecoder expected(config);
    EXPECT_EQ(pcm_at_level(decoder, -1), pcm_at_level(expected, step.level_after)) << step.level;
    ASSERT_EQ(decoder.configure(config), ZD_AAC_DEC_OK);
  }
  EXPECT_EQ(decoder.decode(truncated(block_of(silent_sce(5) + silent_sce(6)))).status, ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(decoder.decode(block_of(silent_sce(3))).status, ZD_AAC_DEC_OK);
}

// Also checks that configuring restarts a stream bit for bit, and that a call without room changes nothing.
TEST(DecoderInstance, KeptEachFrameIsOutputOneCallLater) {
  for (const char* name : {"aac-lc-44k-stereo.aac", "aac-lc-8k-mono.aac", "aac-ltp-44k-stereo.aac"}) {
    const AdtsFile file = sample(name);
    const std::vector<Bytes> blocks = payloads(file);
    TestDecoder decoder(config_of(file));
    const Pcm expected = decode_all(decoder, blocks);
    ASSERT_EQ(decoder.configure(config_of(file)), ZD_AAC_DEC_OK);
    const int32_t frame_bytes = decoder.config().outputBytes;
    Pcm pcm;
    for (size_t i = 0; i <= blocks.size(); ++i) {
      for (const int32_t capacity : {frame_bytes - 1, 0, -1}) {
        const Output output =
            i < blocks.size() ? decoder.decode(blocks[i], capacity) : decoder.lose(capacity);
        EXPECT_EQ(output.status, capacity < 0 ? ZD_AAC_DEC_OK : ZD_AAC_DEC_ERR_OUTPUT_TOO_SMALL);
        pcm.insert(pcm.end(), output.pcm.begin(), output.pcm.end());
      }
      EXPECT_EQ(pcm.size(), i * static_cast<size_t>(frame_bytes) / 2);
    }
    EXPECT_EQ(pcm, expected);
  }
}

TEST(Memory, InstanceIsOneBlockAndDecodingAllocatesNothing) {
  const AdtsFile file = sample("he-aac-v2.aac");
  Zd_AAC_Dec_Config config = {8192, 1024, 22050, 2, 1, 44100, ZD_AAC_DEC_EXTENSION_PS, 0};
  std::vector<int16_t> pcm(8192);
  for (const int32_t mode : {ZD_AAC_DEC_MODE_CORE, ZD_AAC_DEC_MODE_SBR, ZD_AAC_DEC_MODE_PS}) {
    const FailingAllocator counting(0);
    Zd_AAC_Dec_Instance* instance = nullptr;
    ASSERT_EQ(Zd_AAC_Dec_Create(&instance, mode), ZD_AAC_DEC_OK);
    EXPECT_EQ(counting.largest(), instance_bytes(mode));
    Zd_AAC_Dec_SetConfig(instance, &config);
    for (const AdtsFrame& frame : file.frames) {
      for (const uint8_t* const input : {frame.payload.data(), static_cast<const uint8_t*>(nullptr)}) {
        auto consumed = static_cast<int32_t>(frame.payload.size());
        auto written = static_cast<int32_t>(2 * pcm.size());
        EXPECT_EQ(Zd_AAC_Dec_Decode(instance, input, &consumed, pcm.data(), &written), ZD_AAC_DEC_OK);
      }
    }
    Zd_AAC_Dec_Close(instance);
    EXPECT_EQ(counting.count(), 1U);
  }
}

}  // namespace
}  // namespace zdr::test
