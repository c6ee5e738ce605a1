// SBR and parametric stereo in a decoder instance: rates, sample counts, channels, conversion, damage.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <tuple>

#include "mediakit/aac/block_writer.h"
#include "mediakit/aac/sbr_stream.h"
#include "tests/aacdec/test_decoder.h"

namespace zdr::test {
namespace {

using aacdec::SbrHeader;

Zd_AAC_Dec_Config sbr_config(int32_t core_hz, int32_t channels, int32_t requested_hz) {
  return {0, 1024, core_hz, channels, 1, requested_hz, ZD_AAC_DEC_EXTENSION_SBR, 0};
}

TEST(DecoderSbr, KeptConfigurationReportsTheRateBeforeTheConversion) {
  constexpr int32_t kSbr = ZD_AAC_DEC_EXTENSION_SBR;
  struct Case {
    int32_t mode, core_hz, channels, requested_hz;
    int32_t output_rate, single_rate, output_bytes;
    int32_t extension = kSbr;
    int32_t requested_single_rate = 0;
  };
  const Case cases[] = {
      {1, 22050, 2, 44100, 44100, 0, 8192},
      {1, 22050, 2, 96000, 44100, 0, 8192},
      {2, 22050, 1, 44100, 44100, 0, 4096},
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
    Zd_AAC_Dec_Config config = sbr_config(c.core_hz, c.channels, c.requested_hz);
    config.extension = c.extension;
    config.singleRate = c.requested_single_rate;
    const ConfigValues expected = {c.output_bytes, 1024,        c.core_hz,    c.channels, 1,
                                   c.output_rate,  c.extension, c.single_rate};
    EXPECT_EQ(values(TestDecoder(config, c.mode).config()), expected) << c.requested_hz;
  }
}

// A mono output has no room for a second channel in any mode.
TEST(DecoderSbr, ParametricStereoNeedsItsModeAndTwoChannels) {
  const std::vector<Bytes> units = payloads(sample("he-aac-v2.aac"));
  const auto decoded = [&](int32_t mode, int32_t channels) {
    TestDecoder decoder(sbr_config(22050, channels, 44100), mode);
    return decode_all(decoder, units);
  };
  const Pcm mono = decoded(ZD_AAC_DEC_MODE_PS, 1);
  EXPECT_EQ(mono.size(), units.size() * 2048);
  EXPECT_EQ(mono, decoded(ZD_AAC_DEC_MODE_SBR, 1));
  Pcm doubled;
  for (const int16_t sample : mono) doubled.insert(doubled.end(), 2, sample);
  EXPECT_EQ(doubled, decoded(ZD_AAC_DEC_MODE_SBR, 2));
}

TEST(DecoderSbr, KeptConfiguringResetsTheFadeAndHeadersDoNotChangeTheRateFactor) {
  const AdtsFile file = sample("he-aac-v1-stereo.aac");
  TestDecoder decoder(sbr_config(22050, 2, 44100), ZD_AAC_DEC_MODE_SBR);
  const Pcm pcm = decode_all(decoder, payloads(file));
  for (int call = 0; call < 8; ++call) decoder.lose();
  EXPECT_LT(std::ranges::max(decoder.lose().pcm), 10);
  ASSERT_EQ(decoder.configure(sbr_config(22050, 2, 44100)), ZD_AAC_DEC_OK);
  EXPECT_EQ(decode_all(decoder, payloads(file)), pcm);

  TestDecoder misconfigured(sbr_config(24000, 2, 48000), ZD_AAC_DEC_MODE_SBR);
  EXPECT_EQ(decode_all(misconfigured, units(file)), pcm);

  // SBR doubles the configured rate, although it would not double the 48 kHz of the headers.
  TestDecoder doubled(sbr_config(24000, 2, 48000), ZD_AAC_DEC_MODE_SBR);
  const Bytes fast = adts_frame({.rate_index = 3, .channels = 1}, {0x01, 0x40, 0x20, 0x07});
  EXPECT_EQ(decode_all(doubled, {fast, fast}).size(), 2 * 4096U);
}

// Truncates a third of the blocks and changes one byte in another third. The second block, whose frame record
// the stream has not used yet, becomes one without channels. Seed 0 changes nothing.
std::vector<Bytes> damaged(std::vector<Bytes> units, uint32_t seed) {
  std::mt19937 random(seed);
  for (Bytes& unit : units) {
    const uint64_t kind = seed == 0 ? 2 : random() % 3;
    if (kind == 0) unit.resize(1 + random() % (random() % 2 == 0 ? 4 : unit.size() - 1));
    if (kind == 1) unit[random() % unit.size()] ^= static_cast<uint8_t>(1 + random() % 255);
  }
  if (seed != 0) units[1] = {0xE0};
  return units;
}

std::vector<std::pair<int32_t, Pcm>> outputs(TestDecoder& decoder, const std::vector<Bytes>& units) {
  std::vector<std::pair<int32_t, Pcm>> all;
  for (const Bytes& unit : units) {
    const Output output = decoder.decode(unit);
    all.emplace_back(output.status, output.pcm);
  }
  return all;
}

// After another stream, and a header with other values of all optional fields; with a conversion of the
// output.
TEST(DecoderSbr, ConfiguringRestartsTheStreamBitForBit) {
  const SbrHeader header = {0, 15, 0, 1, 1, 0, 1, 1, 0, 0, 0};
  const Bytes before =
      block_of(silent_sce() + fill_element(BitWriter{{13, 4}, {1, 1}} + sbr_header_bits(header) +
                                           BitWriter{{0, 8}, {77, 7}, {9, 5}, {0, 2}}));
  const std::tuple<const char*, int32_t, int32_t> kStreams[] = {
      {"he-aac-v1-mono-short-headers.aac", 12000, 1},
      {"he-aac-v2.aac", 22050, 2},
      {"aac-lc-44k-stereo.aac", 44100, 2},
      {"aac-ltp-44k-stereo.aac", 44100, 2}};
  for (const auto& [name, core_hz, channels] : kStreams) {
    std::vector<Bytes> sound = payloads(sample(name));
    sound.resize(std::min<size_t>(sound.size(), 12));
    for (const int32_t requested_hz : {2 * core_hz, 16000, 8000}) {
      const Zd_AAC_Dec_Config config = sbr_config(core_hz, channels, requested_hz);
      for (uint32_t seed = 0; seed < 12; ++seed) {
        TestDecoder fresh(config, ZD_AAC_DEC_MODE_PS);
        TestDecoder reused(config, ZD_AAC_DEC_MODE_PS);
        outputs(reused, sound);
        EXPECT_EQ(reused.decode(before).status, ZD_AAC_DEC_OK);
        ASSERT_EQ(reused.configure(config), ZD_AAC_DEC_OK);
        const std::vector<Bytes> units = damaged(sound, seed);
        EXPECT_EQ(outputs(reused, units), outputs(fresh, units))
            << name << ' ' << requested_hz << ' ' << seed;
      }
    }
  }
}

// Wherever in a block the damage is, its bands are silent, and the parser state is as if the block had not
// arrived. A gap follows every other one.
TEST(DecoderSbr, KeptDamagedBlockIsSilentAndDiscarded) {
  const std::vector<Bytes> units = payloads(sample("he-aac-v2.aac"));
  for (size_t damaged = 1; damaged + 6 < units.size(); ++damaged) {
    Pcm pcm[2];
    for (const bool after_sbr : {false, true}) {
      TestDecoder decoder(sbr_config(22050, 2, 44100), ZD_AAC_DEC_MODE_PS);
      const auto append = [&pcm = pcm[after_sbr ? 1 : 0]](const Output& output) {
        pcm.insert(pcm.end(), output.pcm.begin(), output.pcm.end());
      };
      for (size_t i = 0; i < damaged; ++i) append(decoder.decode(units[i]));
      const size_t size = units[damaged].size();
      EXPECT_EQ(decoder.decode(truncated(units[damaged], after_sbr ? 1 : size - size / 4)).status,
                ZD_AAC_DEC_ERR_FAILED);
      for (int call = 0; call < 2 && damaged % 2 == 0; ++call) append(decoder.lose());
      for (size_t i = damaged + 1; i < damaged + 6; ++i) append(decoder.decode(units[i]));
    }
    EXPECT_EQ(pcm[0], pcm[1]) << damaged;
  }
}

}  // namespace
}  // namespace zdr::test
