// SBR and parametric stereo as part of the instance: rates, counts, channels, conversion, gaps.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "aacdec/sampling_rates.h"
#include "tests/aacdec/adts_writer.h"
#include "tests/aacdec/test_decoder.h"

namespace zdr::aacdec {
namespace {

using namespace test;

Zd_AAC_Dec_Config sbr_config(int32_t core_hz, int32_t channels, int32_t requested_hz) {
  Zd_AAC_Dec_Config config = lc_config(core_hz, channels);
  config.extension = ZD_AAC_DEC_EXTENSION_SBR;
  config.outputRate = requested_hz;
  return config;
}

double level(const Pcm& pcm) {
  double sum = 0;
  for (const int16_t sample : pcm) sum += double{1} * sample * sample;
  return pcm.empty() ? 0 : std::sqrt(sum / static_cast<double>(pcm.size()));
}

TEST(DecoderSbr, ConfigurationTellsWhatComesOut) {
  struct Case {
    int32_t mode;
    Zd_AAC_Dec_Config config;
    int32_t output_rate;
    int32_t single_rate;
    int32_t output_bytes;
  };
  Zd_AAC_Dec_Config single = sbr_config(22050, 2, 44100);
  single.singleRate = 1;
  Zd_AAC_Dec_Config plain = sbr_config(22050, 2, 44100);
  plain.extension = ZD_AAC_DEC_EXTENSION_NONE;
  Zd_AAC_Dec_Config twice_told = sbr_config(24000, 2, 48000);
  twice_told.outputBytes = 16384;
  const Case cases[] = {
      {1, sbr_config(22050, 2, 44100), 44100, 0, 8192},
      {1, sbr_config(22050, 2, 96000), 44100, 0, 8192},
      {2, sbr_config(22050, 1, 44100), 44100, 0, 4096},
      {1, twice_told, 48000, 0, 8192},
      {1, single, 22050, 1, 4096},
      {1, plain, 22050, 1, 4096},
      // The core alone.
      {0, sbr_config(22050, 2, 44100), 22050, 1, 4096},
      // Above 24 kHz nothing is doubled.
      {1, sbr_config(32000, 2, 64000), 32000, 1, 4096},
      // The rate told is that ahead of the conversion.
      {1, sbr_config(32000, 2, 16000), 32000, 1, 4096},
      {1, sbr_config(12000, 2, 16000), 24000, 0, 8192},
      {1, sbr_config(8000, 1, 16000), 16000, 0, 4096},
      {1, sbr_config(24000, 1, 8000), 24000, 1, 2048},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.mode << ' ' << c.config.sampleRate << ' ' << c.config.outputRate);
    const TestDecoder decoder(c.config, c.mode);
    EXPECT_EQ(decoder.config().outputRate, c.output_rate);
    EXPECT_EQ(decoder.config().singleRate, c.single_rate);
    EXPECT_EQ(decoder.config().outputBytes, c.output_bytes);
    EXPECT_EQ(decoder.config().extension, c.config.extension);
  }
}

// Samples a channel of each frame, call by call.
std::vector<size_t> frame_lengths(const Zd_AAC_Dec_Config& config, const std::vector<Bytes>& units) {
  TestDecoder decoder(config, ZD_AAC_DEC_MODE_SBR);
  std::vector<size_t> lengths;
  for (const Bytes& unit : units) {
    const Output output = decoder.decode(unit);
    EXPECT_EQ(output.status, ZD_AAC_DEC_OK);
    if (!output.pcm.empty()) lengths.push_back(output.pcm.size() / static_cast<size_t>(config.channels));
  }
  return lengths;
}

TEST(DecoderSbr, FramesHaveTheLengthOfTheirRate) {
  const std::vector<Bytes> units = payloads(sample("he-aac-v1-stereo.aac"));
  const auto all = [&](int32_t core_hz, int32_t requested_hz) {
    return frame_lengths(sbr_config(core_hz, 2, requested_hz), units);
  };
  // The rate that the blocks are told to have matters to tables alone; they parse as well at 24 kHz.
  EXPECT_EQ(all(22050, 44100), std::vector<size_t>(units.size() - 1, 2048));
  EXPECT_EQ(all(22050, 22050), std::vector<size_t>(units.size() - 1, 1024));
  const auto first = [&](int32_t requested_hz) {
    auto lengths = all(22050, requested_hz);
    lengths.resize(3);
    return lengths;
  };
  EXPECT_EQ(first(16000), (std::vector<size_t>{744, 743, 743}));
  EXPECT_EQ(first(8000), (std::vector<size_t>{372, 372, 371}));
}

// A blank mono stream at any rate: the counts of every conversion.
TEST(DecoderSbr, RequiredThatEveryConversionKeepsItsCounts) {
  struct Case {
    int32_t core_hz;
    int32_t requested_hz;
    std::vector<size_t> lengths;
  };
  const Case cases[] = {
      {32000, 16000, {512, 512, 512}},   {64000, 16000, {256, 256, 256}},  {24000, 16000, {683, 683, 682}},
      {48000, 16000, {342, 341, 341}},   {96000, 16000, {171, 171, 170}},  {44100, 16000, {372, 372, 371}},
      {88200, 16000, {186, 186, 186}},   {12000, 8000, {683, 683, 682}},   {48000, 8000, {171, 171, 170}},
      {64000, 8000, {1024, 1024, 1024}}, {8000, 16000, {2048, 2048, 2048}}};
  const Bytes silence = {0x01, 0x40, 0x20, 0x07};
  for (const Case& c : cases) {
    const auto lengths =
        frame_lengths(sbr_config(c.core_hz, 1, c.requested_hz), std::vector<Bytes>(4, silence));
    EXPECT_EQ(lengths, c.lengths) << c.core_hz << " to " << c.requested_hz;
  }
}

TEST(DecoderSbr, ParametricStereoNeedsItsModeAndTwoChannels) {
  const std::vector<Bytes> units = payloads(sample("he-aac-v2.aac"));
  const auto decoded = [&](int32_t mode, int32_t channels) {
    TestDecoder decoder(sbr_config(22050, channels, 44100), mode);
    return decode_all(decoder, units);
  };
  const auto sides_differ = [](const Pcm& pcm) {
    for (size_t i = 0; i < pcm.size(); i += 2) {
      if (pcm[i] != pcm[i + 1]) return true;
    }
    return false;
  };
  const Pcm stereo = decoded(ZD_AAC_DEC_MODE_PS, 2);
  EXPECT_EQ(stereo.size(), units.size() * 4096);
  EXPECT_TRUE(sides_differ(stereo));
  const Pcm doubled = decoded(ZD_AAC_DEC_MODE_SBR, 2);
  EXPECT_EQ(doubled.size(), units.size() * 4096);
  EXPECT_FALSE(sides_differ(doubled));
  // One channel has no room for two, whatever the mode.
  const Pcm mono = decoded(ZD_AAC_DEC_MODE_PS, 1);
  ASSERT_EQ(mono, decoded(ZD_AAC_DEC_MODE_SBR, 1));
  for (size_t i = 0; i < mono.size(); ++i) ASSERT_EQ(mono[i], doubled[2 * i]);
}

TEST(DecoderSbr, BeginsAnewWithEveryConfigurationAndWithTheRateOfTheFirstHeader) {
  const AdtsFile file = sample("he-aac-v1-stereo.aac");
  TestDecoder decoder(sbr_config(22050, 2, 44100), ZD_AAC_DEC_MODE_SBR);
  const Pcm pcm = decode_all(decoder, payloads(file));
  ASSERT_EQ(decoder.configure(sbr_config(22050, 2, 44100)), ZD_AAC_DEC_OK);
  EXPECT_EQ(decode_all(decoder, payloads(file)), pcm);

  std::vector<Bytes> framed;
  for (const AdtsFrame& frame : file.frames) framed.push_back(joined(frame.header, frame.payload));
  TestDecoder surprised(sbr_config(24000, 2, 48000), ZD_AAC_DEC_MODE_SBR);
  EXPECT_EQ(decode_all(surprised, framed), pcm);
}

// The high bands' time differences must not be added a second time when a block is parsed again: what comes
// behind a gap is what came without it, once the delay lines have run through.
TEST(DecoderSbr, GapsLeaveNoTraceInTheHighBands) {
  const std::vector<Bytes> units = payloads(sample("he-aac-v1-stereo.aac"));
  TestDecoder whole(sbr_config(22050, 2, 44100), ZD_AAC_DEC_MODE_SBR);
  TestDecoder broken(sbr_config(22050, 2, 44100), ZD_AAC_DEC_MODE_SBR);
  for (size_t i = 0; i < 30; ++i) {
    const Pcm expected = whole.decode(units[i]).pcm;
    if (i == 8) {
      // Calls without a unit in between: nothing of the stream itself is lost.
      EXPECT_EQ(broken.lose().pcm.size(), 4096U);
      EXPECT_EQ(broken.lose().pcm.size(), 4096U);
    }
    const Pcm pcm = broken.decode(units[i]).pcm;
    ASSERT_EQ(pcm.size(), expected.size());
    if (i < 16) continue;
    Pcm difference(pcm.size());
    for (size_t k = 0; k < pcm.size(); ++k) difference[k] = static_cast<int16_t>(pcm[k] - expected[k]);
    // Noise is drawn anew and cannot agree.
    EXPECT_LT(level(difference), 0.5 * level(expected)) << i;
  }
}

TEST(DecoderSbr, FadesToSilenceAndReturns) {
  const std::vector<Bytes> units = payloads(sample("he-aac-v2.aac"));
  TestDecoder decoder(sbr_config(22050, 2, 44100), ZD_AAC_DEC_MODE_PS);
  double before = 0;
  for (size_t i = 0; i < 10; ++i) before = std::max(before, level(decoder.decode(units[i]).pcm));
  for (int call = 0; call < 8; ++call) decoder.lose();
  EXPECT_LT(level(decoder.lose().pcm), 0.001 * before);
  double after = 0;
  for (size_t i = 10; i < 20; ++i) after = std::max(after, level(decoder.decode(units[i]).pcm));
  EXPECT_GT(after, 0.5 * before);
}

// The fade of a gap before it does not outlive a configuration with SBR.
TEST(DecoderSbr, ConfigurationWithItForgetsTheFade) {
  const AdtsFile file = sample("he-aac-v1-stereo.aac");
  TestDecoder fresh(sbr_config(22050, 2, 44100), ZD_AAC_DEC_MODE_SBR);
  TestDecoder decoder(sbr_config(22050, 2, 44100), ZD_AAC_DEC_MODE_SBR);
  decoder.decode(file.frames[0].payload);
  for (int call = 0; call < 6; ++call) decoder.lose();
  ASSERT_EQ(decoder.configure(sbr_config(22050, 2, 44100)), ZD_AAC_DEC_OK);
  EXPECT_EQ(decode_all(decoder, payloads(file)), decode_all(fresh, payloads(file)));
}

}  // namespace
}  // namespace zdr::aacdec
