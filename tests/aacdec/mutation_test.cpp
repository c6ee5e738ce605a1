// Damaged, lost and good units in any order, of a stream and of one with another number of channels: no fault
// under the sanitizers, and no byte of PCM too many.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/aacdec/test_decoder.h"

namespace zdr::aacdec {
namespace {

using namespace test;

void damage(Bytes& data, std::mt19937& random) {
  for (unsigned change = 1 + random() % 4; change > 0; --change) {
    const size_t at = random() % data.size();
    const size_t count = random() % 4 == 0 ? std::min<size_t>(9, data.size() - at) : 1;
    std::fill_n(data.begin() + static_cast<std::ptrdiff_t>(at), count, static_cast<uint8_t>(random()));
    if (random() % 4 == 0) data.resize(at + 1);
  }
}

class Mutations : public testing::TestWithParam<const char*> {};

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
    // The PCM buffer is as long as told: a write behind it is a fault under the address sanitizer.
    TestDecoder decoder(config, stream % 3);
    int decoded = 0;
    for (int call = 0; call < 40; ++call) {
      const AdtsFile& source = random() % 8 == 0 ? other : file;
      Bytes unit = source.frames[random() % source.frames.size()].payload;
      if (random() % 3 == 0) damage(unit, random);
      const Output output = random() % 5 == 0 ? decoder.lose() : decoder.decode(unit);
      if (output.status == ZD_AAC_DEC_OK) ++decoded;
      ASSERT_EQ(output.pcm.size() % static_cast<size_t>(config.channels), 0U);
      auto length = static_cast<int32_t>(unit.size());
      Zd_AAC_Dec_Config measured = config_of(file);
      if (Zd_AAC_Dec_GetFrameLength(unit.data(), 0, &measured, &length, 0) != ZD_AAC_DEC_OK) continue;
      ASSERT_GT(length, 0);
      ASSERT_LE(length, static_cast<int32_t>(unit.size()));
    }
    EXPECT_GT(decoded, 5);
  }
}

INSTANTIATE_TEST_SUITE_P(All, Mutations,
                         testing::Values("aac-lc-44k-stereo.aac", "aac-ltp-44k-stereo.aac",
                                         "he-aac-v1-stereo.aac", "he-aac-v2.aac"));

}  // namespace
}  // namespace zdr::aacdec
