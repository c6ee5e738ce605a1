// Decodes damaged, lost and good units in random order, from a stream and from one with another number of
// channels: no sanitizer fault, no PCM past the end of the buffer, and the same PCM with every instruction
// set.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "aacdec/fixed/cpu.h"
#include "tests/aacdec/test_decoder.h"

namespace zdr::test {
namespace {

using namespace aacdec;

void damage(Bytes& data, std::mt19937& random) {
  for (unsigned change = 1 + random() % 4; change > 0; --change) {
    const size_t at = random() % data.size();
    const size_t count = random() % 4 == 0 ? std::min<size_t>(9, data.size() - at) : 1;
    std::fill_n(data.begin() + static_cast<std::ptrdiff_t>(at), count, static_cast<uint8_t>(random()));
    if (random() % 4 == 0) data.resize(at + 1);
  }
}

Pcm decode_damaged(const AdtsFile& file, const AdtsFile& other, int stream, bool wide) {
  allow_wide_vectors(wide);
  std::mt19937 random(static_cast<uint32_t>(stream));
  Zd_AAC_Dec_Config config = config_of(file);
  config.channels = 1 + stream % 2;
  config.extension = stream % 3 == 0 ? ZD_AAC_DEC_EXTENSION_NONE : ZD_AAC_DEC_EXTENSION_SBR;
  config.outputRate = stream % 8 < 4 ? 16000 : 2 * config.sampleRate;
  TestDecoder decoder(config, stream % 3);
  Pcm pcm;
  for (int call = 0; call < 40; ++call) {
    const AdtsFile& source = random() % 8 == 0 ? other : file;
    Bytes unit = source.frames[random() % source.frames.size()].payload;
    if (random() % 3 == 0) damage(unit, random);
    const Output output = random() % 5 == 0 ? decoder.lose() : decoder.decode(unit);
    EXPECT_EQ(output.pcm.size() % static_cast<size_t>(config.channels), 0U);
    pcm.insert(pcm.end(), output.pcm.begin(), output.pcm.end());
  }
  return pcm;
}

TEST(Mutations, DecodeToTheSamePcmWithEveryInstructionSet) {
  for (const char* name :
       {"aac-lc-44k-stereo.aac", "aac-ltp-44k-stereo.aac", "he-aac-v1-stereo.aac", "he-aac-v2.aac"}) {
    const AdtsFile file = sample(name);
    const AdtsFile other =
        sample(file.channel_configuration == 1 ? "aac-lc-44k-stereo.aac" : "aac-lc-8k-mono.aac");
    for (int stream = 0; stream < 48; ++stream) {
      const Pcm pcm = decode_damaged(file, other, stream, true);
      EXPECT_GT(pcm.size(), 5000U);
      EXPECT_TRUE(pcm == decode_damaged(file, other, stream, false)) << name << ' ' << stream;
    }
  }
  allow_wide_vectors(true);
}

}  // namespace
}  // namespace zdr::test
