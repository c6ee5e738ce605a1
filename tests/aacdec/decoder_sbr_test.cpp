// SBR and parametric stereo as part of the instance: rates, counts, channels, conversion, gaps.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "mediakit/aac/block_writer.h"
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

// Of the upper half of the spectrum, roughly: four times the difference of neighbours.
double high_level(const Pcm& pcm) {
  double sum = 0;
  for (size_t i = 4; i < pcm.size(); ++i) {
    const double high = pcm[i] - 4.0 * pcm[i - 1] + 6.0 * pcm[i - 2] - 4.0 * pcm[i - 3] + pcm[i - 4];
    sum += high * high;
  }
  return std::sqrt(sum / static_cast<double>(pcm.size()));
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
      {1, sbr_config(22050, 1, 22050), 22050, 1, 2048},
      {1, sbr_config(24000, 1, 32000), 48000, 0, 4096},
      {1, sbr_config(22050, 1, -5), 44100, 0, 4096},
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

TEST(DecoderSbr, ParametricStereoNeedsItsModeAndTwoChannels) {
  const std::vector<Bytes> units = payloads(sample("he-aac-v2.aac"));
  const auto decoded = [&](int32_t mode, int32_t channels) {
    TestDecoder decoder(sbr_config(22050, channels, 44100), mode);
    return decode_all(decoder, units);
  };
  // One channel has no room for two, whatever the mode; without the mode both are the same.
  const Pcm mono = decoded(ZD_AAC_DEC_MODE_PS, 1);
  EXPECT_EQ(mono.size(), units.size() * 2048);
  EXPECT_EQ(mono, decoded(ZD_AAC_DEC_MODE_SBR, 1));
  Pcm doubled;
  for (const int16_t sample : mono) doubled.insert(doubled.end(), 2, sample);
  EXPECT_EQ(doubled, decoded(ZD_AAC_DEC_MODE_SBR, 2));
  const Pcm stereo = decoded(ZD_AAC_DEC_MODE_PS, 2);
  EXPECT_EQ(stereo.size(), doubled.size());
  bool sides_differ = false;
  for (size_t i = 0; i < stereo.size(); i += 2) sides_differ |= stereo[i] != stereo[i + 1];
  EXPECT_TRUE(sides_differ);
}

TEST(DecoderSbr, BeginsAnewWithEveryConfigurationAndRequiredWithTheRateOfTheFirstHeader) {
  const AdtsFile file = sample("he-aac-v1-stereo.aac");
  TestDecoder decoder(sbr_config(22050, 2, 44100), ZD_AAC_DEC_MODE_SBR);
  const Pcm pcm = decode_all(decoder, payloads(file));
  // Also the fade of a gap before it, which ends in silence.
  for (int call = 0; call < 8; ++call) decoder.lose();
  EXPECT_LT(level(decoder.lose().pcm), 0.001 * level(pcm));
  ASSERT_EQ(decoder.configure(sbr_config(22050, 2, 44100)), ZD_AAC_DEC_OK);
  EXPECT_EQ(decode_all(decoder, payloads(file)), pcm);

  std::vector<Bytes> framed;
  for (const AdtsFrame& frame : file.frames) framed.push_back(joined(frame.header, frame.payload));
  TestDecoder surprised(sbr_config(24000, 2, 48000), ZD_AAC_DEC_MODE_SBR);
  EXPECT_EQ(decode_all(surprised, framed), pcm);

  // What was chosen for the configured rate stays: at 48 kHz nothing would be doubled.
  for (Bytes& unit : framed) unit = adts_frame({.rate_index = 3, .channels = 1}, {0x01, 0x40, 0x20, 0x07});
  TestDecoder doubled(sbr_config(24000, 2, 48000), ZD_AAC_DEC_MODE_SBR);
  EXPECT_EQ(decode_all(doubled, framed).size(), pcm.size());
}

// A block that is parsed again in a gap must not add its time differences to the envelopes once more: behind
// the gap the high bands would be louder, or softer, for as long as differences go on.
TEST(DecoderSbr, GapsDoNotMoveTheHighBands) {
  const std::vector<Bytes> units = payloads(sample("he-aac-v1-mono.aac"));
  for (size_t gap = 1; gap + 4 < units.size(); ++gap) {
    TestDecoder whole(sbr_config(12000, 1, 24000), ZD_AAC_DEC_MODE_SBR);
    TestDecoder broken(sbr_config(12000, 1, 24000), ZD_AAC_DEC_MODE_SBR);
    double expected = 0;
    double heard = 0;
    for (size_t i = 0; i < gap + 4; ++i) {
      expected = high_level(whole.decode(units[i]).pcm);
      heard = high_level(broken.decode(units[i]).pcm);
      for (int call = 0; call < 2 && i + 1 == gap; ++call) EXPECT_EQ(broken.lose().pcm.size(), 2048U);
    }
    EXPECT_NEAR(heard, expected, 0.1 * expected) << gap;
  }
}

// Whatever of a block was parsed before the damage showed: no band sounds of it, and the parser takes it for
// a block that was never there.
TEST(DecoderSbr, RequiredThatADamagedBlockIsSilentAndForgotten) {
  const std::vector<Bytes> units = payloads(sample("he-aac-v2.aac"));
  const Zd_AAC_Dec_Config config = sbr_config(22050, 2, 44100);
  for (size_t damaged = 1; damaged + 6 < units.size(); ++damaged) {
    SCOPED_TRACE(damaged);
    TestDecoder behind_sbr(config, ZD_AAC_DEC_MODE_PS);
    TestDecoder before_sbr(config, ZD_AAC_DEC_MODE_PS);
    const auto same = [&](const Bytes* unit) {
      const Output output = unit != nullptr ? behind_sbr.decode(*unit) : behind_sbr.lose();
      EXPECT_EQ(output.pcm, (unit != nullptr ? before_sbr.decode(*unit) : before_sbr.lose()).pcm);
      return output;
    };
    for (size_t i = 0; i < damaged; ++i) same(&units[i]);
    const auto start = units[damaged].begin();
    const auto size = static_cast<std::ptrdiff_t>(units[damaged].size());
    EXPECT_EQ(behind_sbr.decode(Bytes(start, start + size - 1)).status, ZD_AAC_DEC_ERR_FAILED);
    EXPECT_EQ(before_sbr.decode(Bytes(start, start + size / 4)).status, ZD_AAC_DEC_ERR_FAILED);
    // Now and then a gap follows, in which the good block returns with its high bands.
    const bool with_gap = damaged % 2 == 0;
    if (with_gap) {
      same(nullptr);
      EXPECT_GT(high_level(same(nullptr).pcm), 1);
    }
    for (size_t i = damaged + 1; i < damaged + 6; ++i) same(&units[i]);
  }
}

}  // namespace
}  // namespace zdr::aacdec
