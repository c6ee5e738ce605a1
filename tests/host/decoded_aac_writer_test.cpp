// Access units in media samples become the PCM that the decoder gives for them, in a WAVE file.
#include "host/writers/decoded_aac_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include "host/writers/adts_writer.h"
#include "tests/aacdec/test_decoder.h"
#include "tests/support/temp_folder.h"

namespace zdr::host {
namespace {

using aacdec::test::AdtsFile;
using Data = std::vector<uint8_t>;

constexpr size_t kHeaderBytes = 44;

Data written(StreamWriter& writer, const std::vector<Data>& samples) {
  const tests::TempFolder folder;
  OutputFile file(folder.path() / "out.wav", false);
  EXPECT_TRUE(file.open() && writer.begin(file));
  for (const Data& sample : samples) EXPECT_TRUE(writer.write(file, sample));
  EXPECT_TRUE(writer.finish(file) && file.commit());
  std::ifstream in(folder.path() / "out.wav", std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// Ten units a sample, their sizes behind them.
std::vector<Data> media_samples(const std::vector<Data>& units) {
  std::vector<Data> samples;
  for (size_t first = 0; first < units.size(); first += kAacUnitsPerSample) {
    Data sample;
    Data table(kAacSizeTableBytes, 0);
    const size_t end = std::min(units.size(), first + kAacUnitsPerSample);
    for (size_t i = first; i < end; ++i) {
      sample.insert(sample.end(), units[i].begin(), units[i].end());
      table[2 * (i - first)] = static_cast<uint8_t>(units[i].size());
      table[2 * (i - first) + 1] = static_cast<uint8_t>(units[i].size() >> 8);
    }
    sample.insert(sample.end(), table.begin(), table.end());
    samples.push_back(sample);
  }
  return samples;
}

std::vector<int16_t> pcm_of(const Data& file) {
  std::vector<int16_t> pcm((file.size() - kHeaderBytes) / 2);
  std::memcpy(pcm.data(), file.data() + kHeaderBytes, 2 * pcm.size());
  return pcm;
}

TEST(WavWriter, HeaderTellsFormatAndSizes) {
  WavWriter writer({22050, 2});
  const Data expected = {'R', 'I', 'F',  'F',  44, 0, 0, 0, 'W', 'A', 'V', 'E',  'f',
                         'm', 't', ' ',  16,   0,  0, 0, 1, 0,   2,   0,   0x22, 0x56,
                         0,   0,   0x88, 0x58, 1,  0, 4, 0, 16,  0,   'd', 'a',  't',
                         'a', 8,   0,    0,    0,  1, 2, 3, 4,   5,   6,   7,    8};
  EXPECT_EQ(written(writer, {{1, 2, 3, 4}, {5, 6, 7, 8}}), expected);
}

class DecodedAac : public testing::Test {
 protected:
  const AdtsFile file_ = aacdec::test::sample("aac-lc-44k-stereo.aac");
  const std::vector<Data> units_ = aacdec::test::payloads(file_);
  const Data record_ = {0x12, 0x10};  // LC, 44100 Hz, stereo
};

TEST_F(DecodedAac, IsThePcmOfEveryUnit) {
  const std::vector<Data> samples = media_samples(units_);
  DecodedAacWriter writer(record_, samples.front());
  ASSERT_TRUE(writer.is_usable());
  aacdec::test::TestDecoder decoder(aacdec::test::config_of(file_));
  EXPECT_EQ(pcm_of(written(writer, samples)), decode_all(decoder, units_));
  EXPECT_EQ(writer.damaged_units(), 0U);
}

TEST_F(DecodedAac, KeepsTheTimeOfUnitsThatCannotBeDecoded) {
  std::vector<Data> damaged = units_;
  for (const size_t i : {size_t{4}, size_t{11}, size_t{12}, damaged.size() - 1}) damaged[i] = {0xE0, 0, 0};
  DecodedAacWriter writer(record_, media_samples(damaged).front());
  const std::vector<int16_t> pcm = pcm_of(written(writer, media_samples(damaged)));
  // The second of two in a row too, which falls into a gap and is no failure to the decoder.
  EXPECT_EQ(writer.damaged_units(), 4U);
  EXPECT_EQ(pcm.size(), 2 * 1024 * units_.size());

  aacdec::test::TestDecoder decoder(aacdec::test::config_of(file_));
  const std::vector<int16_t> whole = decode_all(decoder, units_);
  // Equal but for the noise, which a decoder draws anew.
  double difference = 0;
  double level = 0;
  for (size_t i = 20 * 2048; i < 30 * 2048; ++i) {
    difference += std::abs(pcm[i] - whole[i]);
    level += std::abs(whole[i]);
  }
  EXPECT_LT(difference, 0.1 * level);
}

TEST_F(DecodedAac, NeedsAConfigurationThatTheDecoderSupports) {
  const Data first = media_samples(units_).front();
  const Data surround = {0x12, 0x30};
  EXPECT_FALSE(DecodedAacWriter(surround, first).is_usable());
  EXPECT_FALSE(DecodedAacWriter({}, first).is_usable());
  // Without a first unit the configuration alone decides.
  EXPECT_TRUE(DecodedAacWriter(record_, {}).is_usable());
}

}  // namespace
}  // namespace zdr::host
