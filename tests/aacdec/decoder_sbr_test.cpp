// SBR and parametric stereo in a decoder instance: rates, sample counts, channels, conversion, damage.
#include <gtest/gtest.h>

#include <algorithm>

#include "mediakit/aac/block_writer.h"
#include "tests/aacdec/test_decoder.h"

namespace zdr::test {
namespace {

using namespace aacdec;

Zd_AAC_Dec_Config sbr_config(int32_t core_hz, int32_t channels, int32_t requested_hz) {
  Zd_AAC_Dec_Config config = lc_config(core_hz, channels);
  config.extension = ZD_AAC_DEC_EXTENSION_SBR;
  config.outputRate = requested_hz;
  return config;
}

TEST(DecoderSbr, KeptConfigurationReportsTheRateBeforeTheConversion) {
  constexpr int32_t kSbr = ZD_AAC_DEC_EXTENSION_SBR;
  struct Case {
    int32_t mode, core_hz, channels, requested_hz;
    int32_t output_rate, single_rate, output_bytes;
    int32_t extension = kSbr;
    int32_t requested_single_rate = 0;
    int32_t output_bytes_before = 0;
  };
  const Case cases[] = {
      {1, 22050, 2, 44100, 44100, 0, 8192},
      {1, 22050, 2, 96000, 44100, 0, 8192},
      {2, 22050, 1, 44100, 44100, 0, 4096},
      {1, 24000, 2, 48000, 48000, 0, 8192, kSbr, 0, 16384},
      {1, 22050, 2, 44100, 22050, 1, 4096, kSbr, 1},
      {1, 22050, 2, 44100, 22050, 1, 4096, ZD_AAC_DEC_EXTENSION_NONE},
      {1, 22050, 1, 22050, 22050, 1, 2048},
      {1, 24000, 1, 32000, 48000, 0, 4096},
      {1, 22050, 1, -5, 44100, 0, 4096},
      {0, 22050, 2, 44100, 22050, 1, 4096},  // core only
      {1, 32000, 2, 64000, 32000, 1, 4096},  // rates above 24 kHz are not doubled
      {1, 32000, 2, 16000, 32000, 1, 4096},  // from here on: converted
      {1, 12000, 2, 16000, 24000, 0, 8192},
      {1, 8000, 1, 16000, 16000, 0, 4096},
      {1, 24000, 1, 8000, 24000, 1, 2048},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.mode << ' ' << c.core_hz << ' ' << c.requested_hz);
    Zd_AAC_Dec_Config config = sbr_config(c.core_hz, c.channels, c.requested_hz);
    config.extension = c.extension;
    config.singleRate = c.requested_single_rate;
    if (c.output_bytes_before != 0) config.outputBytes = c.output_bytes_before;
    const TestDecoder decoder(config, c.mode);
    EXPECT_EQ(decoder.config().outputRate, c.output_rate);
    EXPECT_EQ(decoder.config().singleRate, c.single_rate);
    EXPECT_EQ(decoder.config().outputBytes, c.output_bytes);
    EXPECT_EQ(decoder.config().extension, c.extension);
  }
}

TEST(DecoderSbr, ParametricStereoNeedsItsModeAndTwoChannels) {
  const std::vector<Bytes> units = payloads(sample("he-aac-v2.aac"));
  const auto decoded = [&](int32_t mode, int32_t channels) {
    TestDecoder decoder(sbr_config(22050, channels, 44100), mode);
    return decode_all(decoder, units);
  };
  // A mono output has no room for a second channel in any mode; without parametric stereo both channels are
  // equal.
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

TEST(DecoderSbr, KeptConfiguringResetsTheFadeAndHeadersDoNotChangeTheRateFactor) {
  const AdtsFile file = sample("he-aac-v1-stereo.aac");
  TestDecoder decoder(sbr_config(22050, 2, 44100), ZD_AAC_DEC_MODE_SBR);
  const Pcm pcm = decode_all(decoder, payloads(file));
  for (int call = 0; call < 8; ++call) decoder.lose();
  const Pcm faded = decoder.lose().pcm;
  EXPECT_LT(*std::max_element(faded.begin(), faded.end()), 10);
  ASSERT_EQ(decoder.configure(sbr_config(22050, 2, 44100)), ZD_AAC_DEC_OK);
  EXPECT_EQ(decode_all(decoder, payloads(file)), pcm);

  std::vector<Bytes> framed;
  for (const AdtsFrame& frame : file.frames) framed.push_back(joined(frame.header, frame.payload));
  TestDecoder misconfigured(sbr_config(24000, 2, 48000), ZD_AAC_DEC_MODE_SBR);
  EXPECT_EQ(decode_all(misconfigured, framed), pcm);

  // SBR doubles the configured rate, although it would not double the 48 kHz of the headers.
  for (Bytes& unit : framed) unit = adts_frame({.rate_index = 3, .channels = 1}, {0x01, 0x40, 0x20, 0x07});
  TestDecoder doubled(sbr_config(24000, 2, 48000), ZD_AAC_DEC_MODE_SBR);
  EXPECT_EQ(decode_all(doubled, framed).size(), pcm.size());
}

// Wherever in a block the damage is, its bands are silent, and the parser state is as if the block had not
// arrived.
TEST(DecoderSbr, KeptDamagedBlockIsSilentAndDiscarded) {
  const std::vector<Bytes> units = payloads(sample("he-aac-v2.aac"));
  const Zd_AAC_Dec_Config config = sbr_config(22050, 2, 44100);
  for (size_t damaged = 1; damaged + 6 < units.size(); ++damaged) {
    SCOPED_TRACE(damaged);
    TestDecoder after_sbr(config, ZD_AAC_DEC_MODE_PS);
    TestDecoder before_sbr(config, ZD_AAC_DEC_MODE_PS);
    const auto expect_same = [&](const Bytes* unit) {
      const Output output = unit != nullptr ? after_sbr.decode(*unit) : after_sbr.lose();
      EXPECT_EQ(output.pcm, (unit != nullptr ? before_sbr.decode(*unit) : before_sbr.lose()).pcm);
    };
    for (size_t i = 0; i < damaged; ++i) expect_same(&units[i]);
    const Bytes& unit = units[damaged];
    EXPECT_EQ(after_sbr.decode(truncated(unit)).status, ZD_AAC_DEC_ERR_FAILED);
    EXPECT_EQ(before_sbr.decode(truncated(unit, unit.size() - unit.size() / 4)).status,
              ZD_AAC_DEC_ERR_FAILED);
    // A gap follows every other one.
    for (int call = 0; call < 2 && damaged % 2 == 0; ++call) expect_same(nullptr);
    for (size_t i = damaged + 1; i < damaged + 6; ++i) expect_same(&units[i]);
  }
}

}  // namespace
}  // namespace zdr::test
