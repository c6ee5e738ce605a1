// What the writers make of media samples: headers, framing, and what they do with damaged units.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "host/commands/crc32.h"
#include "host/writers/adts_writer.h"
#include "host/writers/decoded_aac_writer.h"
#include "host/writers/video_writers.h"
#include "mediakit/files/temp_folder.h"
#include "tests/aacdec/test_decoder.h"

namespace zdr::host {
namespace {

using aacdec::test::AdtsFile;
using Data = std::vector<uint8_t>;

constexpr size_t kHeaderBytes = 44;  // of a WAVE file

// Runs a writer over samples and returns the finished file.
Data written(StreamWriter& writer, const std::vector<Data>& samples) {
  const tests::TempFolder folder;
  OutputFile file(folder / "out", false);
  EXPECT_TRUE(file.open() && writer.begin(file)) << file.error();
  for (const Data& sample : samples) EXPECT_TRUE(writer.write(file, sample));
  EXPECT_TRUE(writer.finish(file) && file.commit());
  const std::string content = tests::read_file(folder / "out");
  return {content.begin(), content.end()};
}

Data joined(std::initializer_list<Data> parts) {
  Data all;
  for (const Data& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

const Data kStart = {0, 0, 0, 1};

TEST(AnnexBWriter, PutsParameterSetsInFrontAndReplacesLengths) {
  // Four-byte and two-byte lengths of the same two units.
  const std::pair<Data, Data> cases[] = {
      {{3, 0, 0, 2, 0x67, 1, 0, 1, 0x68}, {0, 0, 0, 2, 0x65, 9, 0, 0, 0, 1, 0x41}},
      {{1, 0, 0, 2, 0x67, 1, 0, 1, 0x68}, {0, 2, 0x65, 9, 0, 1, 0x41}},
  };
  const Data expected = joined({kStart, {0x67, 1}, kStart, {0x68}, kStart, {0x65, 9}, kStart, {0x41}});
  for (const auto& [extra, sample] : cases) {
    AnnexBWriter writer(extra);
    EXPECT_EQ(written(writer, {sample}), expected);
    EXPECT_EQ(writer.damaged_units(), 0u);
  }
}

TEST(AnnexBWriter, CountsUnitsWhoseLengthRunsPastTheirAccessUnit) {
  AnnexBWriter writer(Data{3, 0});
  const Data out = written(writer, {{0, 0, 0, 9, 0x65, 7}, {0, 0}, {0, 0, 0, 1, 0x41}});
  EXPECT_EQ(out, joined({kStart, {0x65, 7}, kStart, {0x41}}));
  EXPECT_EQ(writer.damaged_units(), 2u);
}

TEST(Mpeg4VisualWriter, ConfigurationEndsWhereTheFirstPictureBegins) {
  const Data configuration = {0, 0, 1, 0xB0, 1, 0, 0, 1, 0x20, 5};
  const Data picture = {0, 0, 1, 0xB6, 0x10};
  Mpeg4VisualWriter writer(joined({configuration, picture}));
  EXPECT_EQ(written(writer, {picture}), joined({configuration, picture}));
}

TEST(AdtsWriter, SplitsBySizeTableAndSignalsTheCore) {
  struct Case {
    Data config;
    Data header;  // of a 3-byte access unit
  };
  const Case cases[] = {
      {{0x12, 0x10}, {0xFF, 0xF1, 0x50, 0x80, 0x01, 0x5F, 0xFC}},              // LC 44100 Hz stereo
      {{0x2B, 0x11, 0x88, 0x00}, {0xFF, 0xF1, 0x58, 0x80, 0x01, 0x5F, 0xFC}},  // SBR over LC 24000 Hz stereo
      {{0x15, 0x88}, {0xFF, 0xF1, 0x6C, 0x40, 0x01, 0x5F, 0xFC}},              // LC 8000 Hz mono
      // LC at 44100 Hz in figures; with its two channels in a program_config_element; parametric stereo.
      {{0x17, 0x80, 0x56, 0x22, 0x10}, {0xFF, 0xF1, 0x50, 0x80, 0x01, 0x5F, 0xFC}},
      {{0x12, 0x00, 0x05, 0x04, 0x00, 0x00, 0x20, 0x00}, {0xFF, 0xF1, 0x50, 0x80, 0x01, 0x5F, 0xFC}},
      {{0xEB, 0x8A, 0x08, 0x00}, {0xFF, 0xF1, 0x5C, 0x40, 0x01, 0x5F, 0xFC}},
  };
  for (const Case& c : cases) {
    AdtsWriter writer(c.config);
    Data sample = {1, 2, 3, 4, 5, 6};
    Data table(kAacSizeTableBytes, 0);
    table[0] = table[2] = 3;
    sample.insert(sample.end(), table.begin(), table.end());
    EXPECT_EQ(written(writer, {sample}), joined({c.header, {1, 2, 3}, c.header, {4, 5, 6}}));
    EXPECT_EQ(writer.damaged_units(), 0u);
  }
}

TEST(AdtsWriter, CountsWhatAdtsCannotExpress) {
  Data table(kAacSizeTableBytes, 0);
  table[0] = 200;  // more than the sample holds
  AdtsWriter mismatched(Data{0x12, 0x10});
  EXPECT_TRUE(written(mismatched, {table}).empty());
  EXPECT_EQ(mismatched.damaged_units(), 1u);

  Data oversized(8190 + kAacSizeTableBytes, 0);
  oversized[8190] = 0xFE;
  oversized[8191] = 0x1F;
  AdtsWriter too_long(Data{0x12, 0x10});
  EXPECT_TRUE(written(too_long, {oversized}).empty());
  EXPECT_EQ(too_long.damaged_units(), 1u);

  Data unit(3 + kAacSizeTableBytes, 0);
  unit[3] = 3;
  AdtsWriter at_44000(Data{0x17, 0x80, 0x55, 0xF0, 0x10});
  EXPECT_TRUE(written(at_44000, {unit}).empty());
  EXPECT_EQ(at_44000.damaged_units(), 1u);
}

// The writer that a play chooses for the subtype.
std::unique_ptr<StreamWriter> qcp_writer(const GUID& subtype) {
  AM_MEDIA_TYPE type{};
  type.majortype = MEDIATYPE_Audio;
  type.subtype = subtype;
  WriterChoice choice = choose_writer(type, {}, false);
  EXPECT_EQ(choice.extension, "qcp");
  return std::move(choice.writer);
}

TEST(QcpWriter, HeaderTellsFramesAndSizes) {
  Data full(35, 0x55);
  full[0] = 4;
  const Data eighth = {1, 9, 9, 9};
  const auto chosen = qcp_writer(mp4source::kSubtypeQcelp);
  StreamWriter& writer = *chosen;
  const Data out = written(writer, {full, joined({eighth, eighth})});
  ASSERT_EQ(out.size(), 194u + 35 + 8 + 1);  // odd data is padded
  const auto u32 = [&](size_t at) { return out[at] | out[at + 1] << 8 | out[at + 2] << 16; };
  EXPECT_EQ(u32(4), static_cast<int>(out.size()) - 8);
  EXPECT_EQ(std::string(out.begin() + 40, out.begin() + 50), std::string("Qcelp 13K\0", 10));
  EXPECT_EQ(u32(182), 3);       // frames in the vrat chunk
  EXPECT_EQ(u32(190), 35 + 8);  // bytes in the data chunk
  EXPECT_EQ(writer.damaged_units(), 0u);
}

TEST(QcpWriter, CountsUnknownRates) {
  const auto writer = qcp_writer(mp4source::kSubtypeEvrc);
  written(*writer, {{7, 1, 2}, {4, 1, 2}});
  EXPECT_EQ(writer->damaged_units(), 2u);
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

TEST(Crc32, MatchesTheStandardCheckValue) {
  const std::string_view text = "123456789";
  EXPECT_EQ(crc32({reinterpret_cast<const uint8_t*>(text.data()), text.size()}), 0xCBF43926u);
}

}  // namespace
}  // namespace zdr::host
