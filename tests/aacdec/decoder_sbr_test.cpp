// SBR and parametric stereo as part of the instance: rates, counts, channels, conversion, gaps.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

#include "aacdec/raw_data_block.h"
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

// How much the envelopes of a block rise each time that it is parsed: their differences are against the block
// before.
int rise_when_repeated(const Bytes& header_block, const Bytes& block, const AdtsFile& file) {
  SbrParser parser(kSamplingRates[file.sampling_index]);
  BlockContext context;
  context.format = {file.sampling_index, file.profile};
  context.keep_values = true;
  context.sbr = &parser;
  const auto frame = std::make_unique<Frame>();
  int sums[6] = {};
  for (int i = 0; i < 6; ++i) {
    const Bytes& data = i == 0 ? header_block : block;
    BitReader reader(data.data(), data.size());
    EXPECT_TRUE(parse_raw_data_block(reader, context, *frame).has_value());
    const SbrChannelFrame& channel = frame->sbr.channel[0];
    for (int band = 0; band < channel.bands.high_count; ++band) sums[i] += channel.envelope[0][band];
  }
  return sums[5] - sums[4];
}

// A block that is parsed again in a gap must not add its time differences to the envelopes once more: behind
// the gap the high bands would be louder for as long as differences go on.
TEST(DecoderSbr, GapsDoNotRaiseTheHighBands) {
  const AdtsFile file = sample("he-aac-v1-mono.aac");
  const std::vector<Bytes> units = payloads(file);
  // The slowest that rises at all, so that nothing reaches the end of its range.
  const Bytes* rising = nullptr;
  int slowest = 1000;
  for (const Bytes& unit : units) {
    const int rise = rise_when_repeated(units[0], unit, file);
    if (rise < 8 || rise >= slowest) continue;
    slowest = rise;
    rising = &unit;
  }
  ASSERT_NE(rising, nullptr);
  TestDecoder whole(sbr_config(12000, 1, 24000), ZD_AAC_DEC_MODE_SBR);
  TestDecoder broken(sbr_config(12000, 1, 24000), ZD_AAC_DEC_MODE_SBR);
  const auto feed = [&](const Bytes& unit) {
    return std::pair(whole.decode(unit).pcm, broken.decode(unit).pcm);
  };
  feed(units[0]);
  feed(*rising);
  for (int call = 0; call < 3; ++call) EXPECT_EQ(broken.lose().pcm.size(), 2048U);
  for (int call = 0; call < 2; ++call) feed(*rising);
  const auto [expected, pcm] = feed(*rising);
  ASSERT_GT(high_level(expected), 100);
  EXPECT_NEAR(high_level(pcm), high_level(expected), 0.05 * high_level(expected));
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
