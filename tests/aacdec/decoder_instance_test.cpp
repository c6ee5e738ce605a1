// The instance as its callers meet it: creation, configuration, statuses, counts.
#include "aacdec/decoder_instance.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/aacdec/test_decoder.h"

namespace zdr::aacdec {
namespace {

using namespace test;

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
    EXPECT_EQ(settings.frame_length, 1024);
    EXPECT_EQ(settings.core_rate_hz, 48000);
    EXPECT_EQ(settings.channels, 1);
    EXPECT_EQ(settings.profile, 1);
    EXPECT_EQ(settings.reserved, 0);
    EXPECT_EQ(settings.extension, 0);
    EXPECT_EQ(settings.single_rate, 1);
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
  EXPECT_EQ(Zd_AAC_Dec_Create(nullptr, 0), ZD_AAC_DEC_ERR_NO_INSTANCE);
  EXPECT_EQ(Zd_AAC_Dec_Open(nullptr), ZD_AAC_DEC_ERR_NO_INSTANCE);
  EXPECT_EQ(Zd_AAC_Dec_Create(&instance, 3), ZD_AAC_DEC_ERR_NO_INSTANCE);
  EXPECT_EQ(Zd_AAC_Dec_Create(&instance, -1), ZD_AAC_DEC_ERR_NO_INSTANCE);
  EXPECT_EQ(instance, nullptr);
  EXPECT_EQ(Zd_AAC_Dec_Close(nullptr), ZD_AAC_DEC_ERR_FAILED);

  ASSERT_EQ(Zd_AAC_Dec_Open(&instance), ZD_AAC_DEC_OK);
  Zd_AAC_Dec_Config config = lc_config(44100, 2);
  EXPECT_EQ(Zd_AAC_Dec_SetConfig(nullptr, &config), ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(Zd_AAC_Dec_SetConfig(instance, nullptr), ZD_AAC_DEC_ERR_FAILED);
  ASSERT_EQ(Zd_AAC_Dec_SetConfig(instance, &config), ZD_AAC_DEC_OK);
  const uint8_t input[4] = {};
  int16_t pcm[2048];
  int32_t in = 4;
  int32_t out = 4096;
  EXPECT_EQ(Zd_AAC_Dec_Decode(nullptr, input, &in, pcm, &out), ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(Zd_AAC_Dec_Decode(instance, input, nullptr, pcm, &out), ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(Zd_AAC_Dec_Decode(instance, input, &in, nullptr, &out), ZD_AAC_DEC_ERR_FAILED);
  EXPECT_EQ(Zd_AAC_Dec_Decode(instance, input, &in, pcm, nullptr), ZD_AAC_DEC_ERR_FAILED);
  for (const int32_t bytes : {0, -1, -0x7FFFFFFF - 1}) {
    in = bytes;
    EXPECT_EQ(Zd_AAC_Dec_Decode(instance, input, &in, pcm, &out), ZD_AAC_DEC_ERR_FAILED);
  }
  EXPECT_EQ(Zd_AAC_Dec_Close(instance), ZD_AAC_DEC_OK);
}

TEST(DecoderInstance, RefusesConfigurationsAndKeepsTheOneItHas) {
  using Change = void (*)(Zd_AAC_Dec_Config&);
  const Change changes[] = {
      [](Zd_AAC_Dec_Config& c) { c.channels = 0; },       [](Zd_AAC_Dec_Config& c) { c.channels = 3; },
      [](Zd_AAC_Dec_Config& c) { c.sampleRate = 44000; }, [](Zd_AAC_Dec_Config& c) { c.sampleRate = 7350; },
      [](Zd_AAC_Dec_Config& c) { c.frameLength = 960; },  [](Zd_AAC_Dec_Config& c) { c.profile = 0; },
      [](Zd_AAC_Dec_Config& c) { c.profile = 2; },        [](Zd_AAC_Dec_Config& c) { c.extension = 29; },
      [](Zd_AAC_Dec_Config& c) { c.extension = -1; }};
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

}  // namespace
}  // namespace zdr::aacdec
