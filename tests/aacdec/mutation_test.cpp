// Damaged frames through measuring, configuring and decoding: no fault under the sanitizers, and no byte of
// PCM too many.
#include <gtest/gtest.h>

#include <random>

#include "aacdec/sampling_rates.h"
#include "aacdec/zd_aac_dec.h"
#include "tests/aacdec/adts_file.h"
#include "tests/aacdec/test_decoder.h"

namespace zdr::aacdec {
namespace {

using namespace test;

constexpr int kRounds = 12000;

void mutate(Bytes& data, std::mt19937& random) {
  for (unsigned change = 1 + random() % 4; change > 0 && !data.empty(); --change) {
    const size_t at = random() % data.size();
    const auto place = data.begin() + static_cast<std::ptrdiff_t>(at);
    switch (random() % 6) {
      case 0:
        data[at] = static_cast<uint8_t>(random());
        break;
      case 1:
        data[at] = static_cast<uint8_t>(data[at] ^ 1U << random() % 8);
        break;
      case 2:
        data.erase(place);
        break;
      case 3:
        data.insert(place, static_cast<uint8_t>(random()));
        break;
      case 4:
        data.resize(at);
        break;
      default:
        std::fill(place, data.begin() + static_cast<std::ptrdiff_t>(std::min(data.size(), at + 9)),
                  uint8_t{0xFF});
    }
  }
}

class Mutations : public testing::TestWithParam<const char*> {};

TEST_P(Mutations, AreMeasuredWithinTheirBytes) {
  const AdtsFile file = sample(GetParam());
  std::mt19937 random(4);
  int accepted = 0;
  for (int round = 0; round < kRounds; ++round) {
    Bytes data = file.frames[random() % file.frames.size()].payload;
    mutate(data, random);
    const int32_t rate = kSamplingRates[file.sampling_index];
    Zd_AAC_Dec_Config config{2048, 1024, rate, 0, file.profile, rate, 0, 0};
    const auto available = static_cast<int32_t>(data.size());
    int32_t length = available;
    if (data.empty() || Zd_AAC_Dec_GetFrameLength(data.data(), 0, &config, &length, 0) != 0) continue;
    ++accepted;
    ASSERT_GT(length, 0);
    ASSERT_LE(length, available);
    ASSERT_TRUE(config.channels == 1 || config.channels == 2);
  }
  // Many changes fall on values; some must break the syntax.
  EXPECT_GT(accepted, kRounds / 100);
  EXPECT_LT(accepted, kRounds);
}

// Damaged, lost and good units in any order, of a stream and of one with another number of channels. The PCM
// buffer is as long as told: a write behind it is a fault under the address sanitizer.
TEST_P(Mutations, DecodeToFramesOfTheirLength) {
  const AdtsFile file = sample(GetParam());
  const AdtsFile other =
      sample(file.channel_configuration == 1 ? "aac-lc-44k-stereo.aac" : "aac-lc-8k-mono.aac");
  std::mt19937 random(8);
  for (int stream = 0; stream < 96; ++stream) {
    Zd_AAC_Dec_Config config = config_of(file);
    config.channels = 1 + stream % 2;
    config.extension = stream % 3 == 0 ? ZD_AAC_DEC_EXTENSION_NONE : ZD_AAC_DEC_EXTENSION_SBR;
    config.outputRate = stream % 8 < 4 ? 16000 : 2 * config.sampleRate;
    TestDecoder decoder(config, stream % 3);
    const size_t most = static_cast<size_t>(decoder.config().outputBytes) / 2;
    int decoded = 0;
    for (int call = 0; call < 40; ++call) {
      const AdtsFile& source = random() % 8 == 0 ? other : file;
      Bytes unit = source.frames[random() % source.frames.size()].payload;
      if (random() % 3 == 0) mutate(unit, random);
      const Output output = random() % 5 == 0 ? decoder.lose() : decoder.decode(unit);
      if (output.status == ZD_AAC_DEC_OK) ++decoded;
      ASSERT_LE(output.pcm.size(), most);
      ASSERT_EQ(output.pcm.size() % static_cast<size_t>(config.channels), 0U);
    }
    EXPECT_GT(decoded, 5);
  }
}

TEST_P(Mutations, OfConfigurationsAndStreamHeaders) {
  const AdtsFile file = sample(GetParam());
  const Bytes records[] = {
      {0x12, 0x10}, {0x13, 0x88, 0x56, 0xE5, 0xA5, 0x48, 0x80}, {0xEB, 0x09, 0x88, 0x00}};
  std::mt19937 random(6);
  Zd_AAC_Dec_SetConsole([](const char*) {});
  for (int round = 0; round < kRounds; ++round) {
    const AdtsFrame& frame = file.frames[random() % file.frames.size()];
    const bool stream = random() % 2 != 0;
    Bytes data = stream ? frame.header : records[random() % 3];
    if (stream) data.insert(data.end(), frame.payload.begin(), frame.payload.end());
    mutate(data, random);
    if (data.empty()) continue;
    Zd_AAC_Dec_Config config{};
    auto length = static_cast<int32_t>(data.size());
    const int32_t status =
        Zd_AAC_Dec_GetConfig(data.data(), &length, &config, stream ? 1 : 0, frame.payload.data(),
                             static_cast<int32_t>(frame.payload.size()));
    if (status == 0) {
      ASSERT_LE(length, static_cast<int32_t>(data.size()));
    }
  }
  Zd_AAC_Dec_SetConsole(nullptr);
}

INSTANTIATE_TEST_SUITE_P(All, Mutations,
                         testing::Values("aac-lc-44k-stereo.aac", "aac-ltp-44k-stereo.aac",
                                         "he-aac-v1-stereo.aac", "he-aac-v2.aac"));

}  // namespace
}  // namespace zdr::aacdec
