// The instance as its callers meet it: creation, configuration, statuses, counts.
#include "aacdec/decoder_instance.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/aacdec/test_decoder.h"

namespace zdr::aacdec {
namespace {

using namespace test;

TEST(DecoderInstance, BeginsWithItsSixOperations) {
  for (const int32_t mode : {ZD_AAC_DEC_MODE_CORE, ZD_AAC_DEC_MODE_SBR, ZD_AAC_DEC_MODE_PS}) {
    const TestDecoder decoder(mode);
    void* slots[6];
    std::memcpy(slots, decoder.instance(), sizeof slots);
    const bool expected[6] = {true, false, false, true, true, false};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(slots[i] != nullptr, expected[i]) << i;
  }
  EXPECT_LT(instance_bytes(ZD_AAC_DEC_MODE_CORE), instance_bytes(ZD_AAC_DEC_MODE_SBR));
  EXPECT_LT(instance_bytes(ZD_AAC_DEC_MODE_SBR), instance_bytes(ZD_AAC_DEC_MODE_PS));
}

// Callers may put an operation of their own into the table.
TEST(DecoderInstance, IsUsedThroughItsTableAlone) {
  TestDecoder decoder(lc_config(44100, 2));
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

TEST(DecoderInstance, GivesAsManyFramesAsUnitsOneCallLater) {
  for (const char* name : {"aac-lc-44k-stereo.aac", "aac-lc-8k-mono.aac", "aac-ltp-44k-stereo.aac"}) {
    const AdtsFile file = sample(name);
    TestDecoder decoder(config_of(file));
    const Output first = decoder.decode(file.frames[0].payload);
    EXPECT_EQ(first.status, ZD_AAC_DEC_OK);
    EXPECT_TRUE(first.pcm.empty());
    EXPECT_EQ(first.consumed, static_cast<int32_t>(file.frames[0].payload.size()));

    // Configuring begins the stream anew, to the bit.
    ASSERT_EQ(decoder.configure(config_of(file)), ZD_AAC_DEC_OK);
    const Pcm pcm = decode_all(decoder, payloads(file));
    EXPECT_EQ(pcm.size(), file.frames.size() * 1024 * static_cast<size_t>(file.channel_configuration));
    ASSERT_EQ(decoder.configure(config_of(file)), ZD_AAC_DEC_OK);
    EXPECT_EQ(decode_all(decoder, payloads(file)), pcm);
  }
}

TEST(DecoderInstance, ConsumesNothingForWantOfRoom) {
  const AdtsFile file = sample("aac-lc-44k-stereo.aac");
  const std::vector<Bytes> units = payloads(file);
  TestDecoder whole(config_of(file));
  TestDecoder cramped(config_of(file));
  for (const Bytes& unit : units) {
    for (const int32_t room : {4095, 0, -4096}) {
      EXPECT_EQ(cramped.decode(unit, room < 0 ? 2 : room).status, ZD_AAC_DEC_ERR_OUTPUT_TOO_SMALL);
    }
    const Output output = cramped.decode(unit, 4096);
    EXPECT_EQ(output.consumed, static_cast<int32_t>(unit.size()));
    EXPECT_EQ(output.pcm, whole.decode(unit).pcm);
  }
  EXPECT_EQ(cramped.lose(4095).status, ZD_AAC_DEC_ERR_OUTPUT_TOO_SMALL);
  EXPECT_EQ(cramped.lose().pcm, whole.lose().pcm);
}

TEST(DecoderInstance, FitsAnyChannelCountOfTheStreamIntoItsOwn) {
  const AdtsFile mono = sample("aac-lc-8k-mono.aac");
  TestDecoder as_mono(lc_config(8000, 1));
  TestDecoder as_stereo(lc_config(8000, 2));
  const Pcm one = decode_all(as_mono, payloads(mono));
  const Pcm two = decode_all(as_stereo, payloads(mono));
  ASSERT_EQ(two.size(), 2 * one.size());
  for (size_t i = 0; i < one.size(); ++i) {
    ASSERT_EQ(two[2 * i], one[i]);
    ASSERT_EQ(two[2 * i + 1], one[i]);
  }
}

bool have_same_windows(const AdtsFile& file, size_t number) {
  const auto frame = parsed(file.frames[number].payload, file);
  return frame->channel[0].ics.window_sequence == frame->channel[1].ics.window_sequence;
}

// The spectra are averaged whatever their windows, those of the first channel are applied: only where both
// channels have the same kind is the result the mean.
TEST(DecoderInstance, MixesAPairToItsMeanWhereTheWindowsAgree) {
  const AdtsFile file = sample("aac-lc-96k-stereo.aac");
  TestDecoder pair(lc_config(96000, 2));
  TestDecoder mixed(lc_config(96000, 1));
  const Pcm both = decode_all(pair, payloads(file));
  const Pcm mean = decode_all(mixed, payloads(file));
  ASSERT_EQ(both.size(), 2 * mean.size());
  size_t compared = 0;
  for (size_t frame = 1; frame < file.frames.size(); ++frame) {
    if (!have_same_windows(file, frame - 1) || !have_same_windows(file, frame)) continue;
    ++compared;
    for (size_t i = 1024 * frame; i < 1024 * (frame + 1); ++i) {
      ASSERT_NEAR(mean[i], (both[2 * i] + both[2 * i + 1]) / 2.0, 1.5) << frame << ' ' << i;
    }
  }
  EXPECT_GT(compared, 15U);
}

}  // namespace
}  // namespace zdr::aacdec
