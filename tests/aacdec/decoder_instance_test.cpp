// The decoder instance: creation, configuration, statuses, byte counts, memory.
#include "aacdec/decoder_instance.h"

#include <gtest/gtest.h>

#include <cstring>
#include <utility>

#include "tests/aacdec/test_decoder.h"
#include "tests/support/failing_allocator.h"

namespace zdr::test {
namespace {

using namespace aacdec;

TEST(DecoderInstance, IsCalledOnlyThroughItsTable) {
  TestDecoder decoder(lc_config(44100, 2));
  void* slots[6];
  std::memcpy(slots, decoder.instance(), sizeof slots);
  const bool expected[6] = {true, false, false, true, true, false};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(slots[i] != nullptr, expected[i]) << i;

  Zd_AAC_Dec_Operations& operations = decoder.instance()->operations;
  operations.decode = [](Zd_AAC_Dec_Instance&, const uint8_t*, int32_t& input_bytes, int16_t*,
                         int32_t& pcm_bytes) -> int32_t {
    input_bytes = 17;
    pcm_bytes = 0;
    return ZD_AAC_DEC_OK;
  };
  operations.configure = [](Zd_AAC_Dec_Instance&, Zd_AAC_Dec_Settings& settings) -> int32_t {
    const Zd_AAC_Dec_Settings given{1024, 48000, 1, 1, 0, 48000, 0, 1};
    EXPECT_EQ(std::memcmp(&settings, &given, sizeof given), 0);
    settings.output_rate_hz = 4711;
    settings.single_rate = 0;
    return ZD_AAC_DEC_OK;
  };
  EXPECT_EQ(decoder.decode({0}).consumed, 17);
  Zd_AAC_Dec_Config config = lc_config(48000, 1);
  config.singleRate = 77;
  EXPECT_EQ(decoder.configure(config), ZD_AAC_DEC_OK);
  EXPECT_EQ(decoder.config().outputRate, 4711);
  EXPECT_EQ(decoder.config().outputBytes, 4096);
}

TEST(DecoderInstance, RefusesNullArgumentsAndUnknownModes) {
  Zd_AAC_Dec_Instance* instance = nullptr;
  for (const int32_t status : {Zd_AAC_Dec_Create(nullptr, 0), Zd_AAC_Dec_Open(nullptr),
                               Zd_AAC_Dec_Create(&instance, 3), Zd_AAC_Dec_Create(&instance, -1)}) {
    EXPECT_EQ(status, ZD_AAC_DEC_ERR_NO_INSTANCE);
  }
  EXPECT_EQ(instance, nullptr);
  const TestDecoder decoder(lc_config(44100, 2));
  instance = decoder.instance();
  Zd_AAC_Dec_Config config = lc_config(44100, 2);
  const uint8_t input[4] = {};
  int16_t pcm[2048];
  int32_t size = 4;
  int32_t out = 4096;
  for (const int32_t status :
       {Zd_AAC_Dec_Close(nullptr), Zd_AAC_Dec_SetConfig(nullptr, &config),
        Zd_AAC_Dec_SetConfig(instance, nullptr), Zd_AAC_Dec_Decode(nullptr, input, &size, pcm, &out),
        Zd_AAC_Dec_Decode(instance, input, nullptr, pcm, &out),
        Zd_AAC_Dec_Decode(instance, input, &size, nullptr, &out),
        Zd_AAC_Dec_Decode(instance, input, &size, pcm, nullptr)}) {
    EXPECT_EQ(status, ZD_AAC_DEC_ERR_FAILED);
  }
  for (int32_t refused : {0, -1, -0x7FFFFFFF - 1}) {
    EXPECT_EQ(Zd_AAC_Dec_Decode(instance, input, &refused, pcm, &out), ZD_AAC_DEC_ERR_FAILED);
  }
}

TEST(DecoderInstance, InvalidConfigurationsLeaveTheCurrentOne) {
  using Config = Zd_AAC_Dec_Config;
  const std::pair<int32_t Config::*, int32_t> changes[] = {
      {&Config::channels, 0},      {&Config::channels, 3},      {&Config::sampleRate, 44000},
      {&Config::sampleRate, 7350}, {&Config::frameLength, 960}, {&Config::profile, 2},
      {&Config::extension, 29},    {&Config::extension, -1}};
  const AdtsFile file = sample("aac-lc-44k-stereo.aac");
  TestDecoder decoder(config_of(file), ZD_AAC_DEC_MODE_PS);
  decoder.decode(file.frames[0].payload);
  for (const auto& [field, value] : changes) {
    Config config = config_of(file);
    config.*field = value;
    EXPECT_EQ(decoder.configure(config), ZD_AAC_DEC_ERR_FAILED);
  }
  EXPECT_EQ(decoder.decode(file.frames[1].payload).pcm.size(), 2048U);
}

TEST(DecoderInstance, DecodesOnlyWhenConfiguredAndConcealsOnlyAfterAFrame) {
  const AdtsFile file = sample("aac-lc-44k-stereo.aac");
  TestDecoder decoder;
  EXPECT_EQ(decoder.decode(file.frames[0].payload, 4096).status, ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(decoder.lose(4096).status, ZD_AAC_DEC_ERR_FAILED);
  ASSERT_EQ(decoder.configure(config_of(file)), ZD_AAC_DEC_OK);
  EXPECT_EQ(decoder.lose().status, ZD_AAC_DEC_ERR_FAILED);
  // A failed first block does not count as a frame.
  EXPECT_EQ(decoder.decode({0xE0, 0}).status, ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(decoder.lose().status, ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(decoder.decode(file.frames[0].payload).status, ZD_AAC_DEC_OK);
  EXPECT_EQ(decoder.lose().status, ZD_AAC_DEC_OK);
}

// Also checks that configuring restarts a stream bit for bit, and that a call without room changes nothing.
TEST(DecoderInstance, KeptEachFrameIsOutputOneCallLater) {
  for (const char* name : {"aac-lc-44k-stereo.aac", "aac-lc-8k-mono.aac", "aac-ltp-44k-stereo.aac"}) {
    const AdtsFile file = sample(name);
    TestDecoder whole(config_of(file));
    TestDecoder cramped(config_of(file));
    const int32_t frame_bytes = whole.config().outputBytes;
    for (int stream = 0; stream < 2; ++stream) {
      for (size_t i = 0; i < file.frames.size(); ++i) {
        const Bytes& unit = file.frames[i].payload;
        for (const int32_t room : {frame_bytes - 1, 0}) {
          EXPECT_EQ(cramped.decode(unit, room).status, ZD_AAC_DEC_ERR_OUTPUT_TOO_SMALL);
        }
        const Output output = cramped.decode(unit);
        EXPECT_EQ(output.consumed, static_cast<int32_t>(unit.size()));
        EXPECT_EQ(output.pcm.size(), i == 0 ? 0U : static_cast<size_t>(frame_bytes) / 2);
        EXPECT_EQ(output.pcm, whole.decode(unit).pcm);
      }
      EXPECT_EQ(cramped.lose(frame_bytes - 1).status, ZD_AAC_DEC_ERR_OUTPUT_TOO_SMALL);
      EXPECT_EQ(cramped.lose().pcm, whole.lose().pcm);
      ASSERT_EQ(cramped.configure(config_of(file)), ZD_AAC_DEC_OK);
      whole = TestDecoder(config_of(file));
    }
  }
}

TEST(Memory, InstanceIsOneBlockAndDecodingAllocatesNothing) {
  const AdtsFile file = sample("he-aac-v2.aac");
  Zd_AAC_Dec_Config config = config_of(file);
  config.channels = 2;
  config.extension = ZD_AAC_DEC_EXTENSION_PS;
  config.outputRate = 2 * config.sampleRate;
  std::vector<int16_t> pcm(8192);
  for (const int32_t mode : {ZD_AAC_DEC_MODE_CORE, ZD_AAC_DEC_MODE_SBR, ZD_AAC_DEC_MODE_PS}) {
    const FailingAllocator counting(0);
    Zd_AAC_Dec_Instance* instance = nullptr;
    ASSERT_EQ(Zd_AAC_Dec_Create(&instance, mode), ZD_AAC_DEC_OK);
    EXPECT_EQ(counting.largest(), instance_bytes(mode));
    Zd_AAC_Dec_SetConfig(instance, &config);
    for (size_t i = 0; i < file.frames.size(); ++i) {
      const Bytes& unit = file.frames[i].payload;
      auto consumed = static_cast<int32_t>(unit.size());
      auto written = static_cast<int32_t>(2 * pcm.size());
      const uint8_t* const input = i % 8 == 7 ? nullptr : unit.data();
      EXPECT_EQ(Zd_AAC_Dec_Decode(instance, input, &consumed, pcm.data(), &written), ZD_AAC_DEC_OK);
    }
    Zd_AAC_Dec_Close(instance);
    EXPECT_EQ(counting.count(), 1U);
  }
}

// Each of these calls allocates at most once.
TEST(Memory, FailedAllocationsAreReported) {
  const Bytes block = sample("aac-lc-8k-mono.aac").frames[0].payload;
  const Bytes record = {0x15, 0x88};
  Zd_AAC_Dec_Config config = lc_config(8000, 1);
  auto length = static_cast<int32_t>(block.size());
  auto record_bytes = static_cast<int32_t>(record.size());
  auto* instance = reinterpret_cast<Zd_AAC_Dec_Instance*>(&config);
  const auto failing = [](auto call) {
    const FailingAllocator allocator(1);
    return call();
  };
  EXPECT_EQ(failing([&] { return Zd_AAC_Dec_Open(&instance); }), ZD_AAC_DEC_ERR_NO_INSTANCE);
  EXPECT_EQ(instance, nullptr);
  EXPECT_EQ(failing([&] { return Zd_AAC_Dec_GetFrameLength(block.data(), 0, &config, &length, 0); }),
            ZD_AAC_DEC_ERR_FAILED);
  const auto get_config = [&](const uint8_t* frame) {
    return Zd_AAC_Dec_GetConfig(record.data(), &record_bytes, &config, 0, frame,
                                frame == nullptr ? 0 : length);
  };
  EXPECT_EQ(failing([&] { return get_config(nullptr); }), ZD_AAC_DEC_OK);
  EXPECT_EQ(failing([&] { return get_config(block.data()); }), ZD_AAC_DEC_ERR_FAILED);
}

}  // namespace
}  // namespace zdr::test
