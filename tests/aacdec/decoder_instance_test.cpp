// The instance as its callers meet it: creation, configuration, statuses, counts, memory.
#include "aacdec/decoder_instance.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/aacdec/test_decoder.h"
#include "tests/support/failing_allocator.h"

namespace zdr::aacdec {
namespace {

using namespace test;
using zdr::test::FailingAllocator;

TEST(DecoderInstance, IsUsedThroughItsTableAlone) {
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

TEST(DecoderInstance, RefusesMissingArgumentsAndUnknownModes) {
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
  int32_t in[] = {4, 0, -1, -0x7FFFFFFF - 1};
  int32_t out = 4096;
  for (const int32_t status :
       {Zd_AAC_Dec_Close(nullptr), Zd_AAC_Dec_SetConfig(nullptr, &config),
        Zd_AAC_Dec_SetConfig(instance, nullptr), Zd_AAC_Dec_Decode(nullptr, input, in, pcm, &out),
        Zd_AAC_Dec_Decode(instance, input, nullptr, pcm, &out),
        Zd_AAC_Dec_Decode(instance, input, in, nullptr, &out),
        Zd_AAC_Dec_Decode(instance, input, in, pcm, nullptr),
        Zd_AAC_Dec_Decode(instance, input, in + 1, pcm, &out),
        Zd_AAC_Dec_Decode(instance, input, in + 2, pcm, &out),
        Zd_AAC_Dec_Decode(instance, input, in + 3, pcm, &out)}) {
    EXPECT_EQ(status, ZD_AAC_DEC_ERR_FAILED);
  }
}

TEST(DecoderInstance, RefusesConfigurationsAndKeepsTheOneItHas) {
  using Change = void (*)(Zd_AAC_Dec_Config&);
  const Change changes[] = {
      [](Zd_AAC_Dec_Config& c) { c.channels = 0; },       [](Zd_AAC_Dec_Config& c) { c.channels = 3; },
      [](Zd_AAC_Dec_Config& c) { c.sampleRate = 44000; }, [](Zd_AAC_Dec_Config& c) { c.sampleRate = 7350; },
      [](Zd_AAC_Dec_Config& c) { c.frameLength = 960; },  [](Zd_AAC_Dec_Config& c) { c.profile = 2; },
      [](Zd_AAC_Dec_Config& c) { c.extension = 29; },     [](Zd_AAC_Dec_Config& c) { c.extension = -1; }};
  const AdtsFile file = sample("aac-lc-44k-stereo.aac");
  TestDecoder decoder(config_of(file), ZD_AAC_DEC_MODE_PS);
  decoder.decode(file.frames[0].payload);
  for (const Change change : changes) {
    Zd_AAC_Dec_Config config = config_of(file);
    change(config);
    EXPECT_EQ(decoder.configure(config), ZD_AAC_DEC_ERR_FAILED);
  }
  EXPECT_EQ(decoder.decode(file.frames[1].payload).pcm.size(), 2048U);
}

TEST(DecoderInstance, DecodesOnlyWhenConfiguredAndNoLossAtFirst) {
  const AdtsFile file = sample("aac-lc-44k-stereo.aac");
  TestDecoder decoder;
  EXPECT_EQ(decoder.decode(file.frames[0].payload, 4096).status, ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(decoder.lose(4096).status, ZD_AAC_DEC_ERR_FAILED);
  ASSERT_EQ(decoder.configure(config_of(file)), ZD_AAC_DEC_OK);
  EXPECT_EQ(decoder.lose().status, ZD_AAC_DEC_ERR_FAILED);
  // A first block that fails is none.
  EXPECT_EQ(decoder.decode({0xE0, 0}).status, ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(decoder.lose().status, ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(decoder.decode(file.frames[0].payload).status, ZD_AAC_DEC_OK);
  EXPECT_EQ(decoder.lose().status, ZD_AAC_DEC_OK);
}

// The counts, and that configuring begins a stream anew, to the bit. A call without room is as if it had not
// been.
TEST(DecoderInstance, GivesAsManyFramesAsUnitsOneCallLaterAndConsumesNothingForWantOfRoom) {
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

TEST(Memory, OfAnInstanceIsOneBlockAndNoneAFrame) {
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

TEST(Memory, LackOfItIsToldByEveryCallThatTakesSome) {
  const AdtsFile file = sample("aac-lc-8k-mono.aac");
  const Bytes& block = file.frames[0].payload;
  const Bytes record = {0x15, 0x88};
  Zd_AAC_Dec_Config config = config_of(file);
  auto length = static_cast<int32_t>(block.size());
  auto record_bytes = static_cast<int32_t>(record.size());
  auto* instance = reinterpret_cast<Zd_AAC_Dec_Instance*>(&config);
  {
    const FailingAllocator failing(1);
    EXPECT_EQ(Zd_AAC_Dec_Open(&instance), ZD_AAC_DEC_ERR_NO_INSTANCE);
  }
  EXPECT_EQ(instance, nullptr);
  {
    const FailingAllocator failing(1);
    EXPECT_EQ(Zd_AAC_Dec_GetFrameLength(block.data(), 0, &config, &length, 0), ZD_AAC_DEC_ERR_FAILED);
  }
  // The record alone takes none.
  const FailingAllocator failing(1);
  EXPECT_EQ(Zd_AAC_Dec_GetConfig(record.data(), &record_bytes, &config, 0, nullptr, 0), ZD_AAC_DEC_OK);
  EXPECT_EQ(Zd_AAC_Dec_GetConfig(record.data(), &record_bytes, &config, 0, block.data(), length),
            ZD_AAC_DEC_ERR_FAILED);
}

}  // namespace
}  // namespace zdr::aacdec
