// The files that the writers make of media samples: headers, framing, and damaged units.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "host/formats/aac_format.h"
#include "host/writers/adts_writer.h"
#include "host/writers/decoded_aac_writer.h"
#include "host/writers/output_file.h"
#include "host/writers/video_writers.h"
#include "host/writers/writer_choice.h"
#include "mediakit/files/temp_folder.h"
#include "tests/aacdec/test_decoder.h"

namespace zdr::test {
namespace {

using host::AdtsWriter;
using host::AnnexBWriter;
using host::DecodedAacWriter;
using host::kAacSizeTableBytes;
using host::kAacUnitsPerSample;
using Data = std::vector<uint8_t>;

constexpr size_t kWaveHeaderBytes = 44;

// Passes samples to a writer and returns the finished file.
Data written(host::StreamWriter& writer, const std::vector<Data>& samples) {
  const TempFolder folder;
  host::OutputFile file(folder / "out", false);
  EXPECT_TRUE(file.open() && writer.begin(file)) << file.error();
  for (const Data& sample : samples) EXPECT_TRUE(writer.write(file, sample));
  EXPECT_TRUE(writer.finish(file) && file.commit());
  const std::string content = read_file(folder / "out");
  return {content.begin(), content.end()};
}

Data joined(std::initializer_list<Data> parts) {
  Data all;
  for (const Data& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// A media sample of up to ten access units: the units, then the table of their sizes.
Data media_sample(const std::vector<Data>& units) {
  Data sample;
  Data table(kAacSizeTableBytes);
  for (size_t i = 0; i < units.size(); ++i) {
    sample.insert(sample.end(), units[i].begin(), units[i].end());
    table[2 * i] = static_cast<uint8_t>(units[i].size());
    table[2 * i + 1] = static_cast<uint8_t>(units[i].size() >> 8);
  }
  return joined({sample, table});
}

const Data kStart = {0, 0, 0, 1};

TEST(AnnexBWriter, WritesParameterSetsFirstAndReplacesLengths) {
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

TEST(Mpeg4VisualWriter, ConfigurationEndsAtTheFirstPictureOrGroup) {
  const Data configuration = {0, 0, 1, 0xB0, 1, 0, 0, 1, 0x20, 5};
  for (const Data& start : {Data{0, 0, 1, 0xB6}, Data{0, 0, 1, 0xB3}}) {
    const Data sample = joined({start, {0x10}});
    host::Mpeg4VisualWriter writer(joined({configuration, start}));
    EXPECT_EQ(written(writer, {sample}), joined({configuration, sample}));
  }
  host::Mpeg4VisualWriter without_picture(configuration);
  EXPECT_EQ(written(without_picture, {}), configuration);
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
      // LC with an explicit rate of 44100 Hz; with its two channels in a program_config_element; parametric
      // stereo.
      {{0x17, 0x80, 0x56, 0x22, 0x10}, {0xFF, 0xF1, 0x50, 0x80, 0x01, 0x5F, 0xFC}},
      {{0x12, 0x00, 0x05, 0x04, 0x00, 0x00, 0x20, 0x00}, {0xFF, 0xF1, 0x50, 0x80, 0x01, 0x5F, 0xFC}},
      {{0xEB, 0x8A, 0x08, 0x00}, {0xFF, 0xF1, 0x5C, 0x40, 0x01, 0x5F, 0xFC}},
  };
  for (const Case& c : cases) {
    AdtsWriter writer(c.config);
    EXPECT_EQ(written(writer, {media_sample({{1, 2, 3}, {4, 5, 6}})}),
              joined({c.header, {1, 2, 3}, c.header, {4, 5, 6}}));
    EXPECT_EQ(writer.damaged_units(), 0u);
  }
}

TEST(AdtsWriter, CountsWhatAdtsCannotExpress) {
  const Data config = {0x12, 0x10};
  Data mismatch = media_sample({{1, 2, 3}});
  mismatch[3] = 200;
  const struct {
    Data config;
    Data sample;
    size_t bytes_written;
    const char* damage;
  } kCases[] = {
      {config, mismatch, 0, "size table does not match its sample"},
      {config, joined({{0}, media_sample({{1, 2, 3}})}), 0, "size table does not match its sample"},
      {config, Data(kAacSizeTableBytes - 1), 0, "size table does not match its sample"},
      {config, media_sample({Data(8184)}), 8191, ""},
      {config, media_sample({Data(8185)}), 0, "access unit too long for ADTS"},
      {{0x17, 0x80, 0x55, 0xF0, 0x10},
       media_sample({{1}}),
       0,
       "configuration that ADTS cannot express"},  // 44000 Hz
  };
  for (const auto& c : kCases) {
    AdtsWriter writer(c.config);
    EXPECT_EQ(written(writer, {c.sample}).size(), c.bytes_written) << c.damage;
    EXPECT_EQ(writer.damaged_units(), c.bytes_written == 0 ? 1u : 0u) << c.damage;
    EXPECT_EQ(writer.first_damage(), c.damage);
  }
}

host::WriterChoice choice_of(const GUID& subtype, const Data& first_sample = {}) {
  AM_MEDIA_TYPE type{};
  type.subtype = subtype;
  return host::choose_writer(type, first_sample, false);
}

// Real files show the other types.
TEST(WriterChoice, DependsOnTheFirstSampleOfAc3AndNeedsAKnownType) {
  const std::tuple<GUID, Data, std::string> kCases[] = {
      {mp4source::kSubtypeDolbyAc3, {0x0B, 0x77, 0, 0, 0, 10 << 3}, "ac3"},
      {mp4source::kSubtypeDolbyAc3, {0x0B, 0x77, 0, 0, 0, 11 << 3}, "eac3"},
      {mp4source::kSubtypeDolbyAc3, {0x0B, 0x77, 0, 0, 0}, "ac3"},
      {MEDIASUBTYPE_PCM, {}, ""},  // without a format block
      {GUID_NULL, {}, ""},
  };
  for (const auto& [subtype, sample, extension] : kCases) {
    const host::WriterChoice choice = choice_of(subtype, sample);
    EXPECT_EQ(choice.extension, extension);
    EXPECT_EQ(choice.writer != nullptr, !extension.empty()) << extension;
  }
}

TEST(QcpWriter, HeaderHasTheRatesAndTheCountsOfFramesAndBytes) {
  Data full(35, 0x55);
  full[0] = 4;
  const Data eighth = {1, 9, 9, 9};
  const auto chosen = choice_of(mp4source::kSubtypeQcelp);
  host::StreamWriter& writer = *chosen.writer;
  const Data out = written(writer, {full, joined({eighth, eighth})});
  ASSERT_EQ(out.size(), 194u + 35 + 8 + 1);  // odd data is padded
  const auto u32 = [&](size_t at) { return out[at] | out[at + 1] << 8 | out[at + 2] << 16; };
  EXPECT_EQ(u32(4), static_cast<int>(out.size()) - 8);
  EXPECT_EQ(std::string(out.begin() + 40, out.begin() + 50), std::string("Qcelp 13K\0", 10));
  const Data sizes = {35, 0, 160, 0, 0x40, 0x1F, 16, 0};  // bytes a packet, samples a frame, Hz, bits
  EXPECT_TRUE(std::equal(sizes.begin(), sizes.end(), out.begin() + 122));
  const Data rates = {5, 0, 0, 0, 34, 4, 16, 3, 7, 2,
                      3, 1, 0, 0, 0,  0, 0,  0, 0, 0};  // count, then size and octet
  EXPECT_TRUE(std::equal(rates.begin(), rates.end(), out.begin() + 130));
  EXPECT_EQ(u32(182), 3);       // frames in the vrat chunk
  EXPECT_EQ(u32(190), 35 + 8);  // bytes in the data chunk
  EXPECT_EQ(writer.damaged_units(), 0u);
}

TEST(QcpWriter, CountsUnknownRatesAndTruncatedFrames) {
  const auto chosen = choice_of(mp4source::kSubtypeEvrc);
  EXPECT_EQ(written(*chosen.writer, {{7, 1, 2}, {1, 1}, {0}, {1, 1, 2}}).size(), 194u + 9 + 1);
  EXPECT_EQ(chosen.writer->damaged_units(), 2u);
}

std::vector<Data> media_samples(const std::vector<Data>& units) {
  std::vector<Data> samples;
  for (size_t first = 0; first < units.size(); first += kAacUnitsPerSample) {
    const size_t end = std::min(units.size(), first + kAacUnitsPerSample);
    samples.push_back(media_sample({units.begin() + static_cast<std::ptrdiff_t>(first),
                                    units.begin() + static_cast<std::ptrdiff_t>(end)}));
  }
  return samples;
}

std::vector<int16_t> pcm_of(const Data& file) {
  std::vector<int16_t> pcm((file.size() - kWaveHeaderBytes) / 2);
  std::memcpy(pcm.data(), file.data() + kWaveHeaderBytes, 2 * pcm.size());
  return pcm;
}

class DecodedAac : public testing::Test {
 protected:
  const AdtsFile file_ = sample("aac-lc-44k-stereo.aac");
  const std::vector<Data> units_ = payloads(file_);
  const Data record_ = {0x12, 0x10};  // LC, 44100 Hz, stereo
};

TEST_F(DecodedAac, IsThePcmOfEveryUnit) {
  const std::vector<Data> samples = media_samples(units_);
  DecodedAacWriter writer(record_, samples.front());
  ASSERT_TRUE(writer.is_usable());
  TestDecoder decoder(config_of(file_));
  EXPECT_EQ(pcm_of(written(writer, samples)), decode_all(decoder, units_));
  EXPECT_EQ(writer.damaged_units(), 0U);
}

TEST_F(DecodedAac, DamagedUnitsAreReplacedByFramesOfTheSameLength) {
  TestDecoder decoder(config_of(file_));
  const std::vector<int16_t> whole = decode_all(decoder, units_);
  for (const bool has_headers : {false, true}) {
    SCOPED_TRACE(has_headers);
    std::vector<Data> damaged = units_;
    for (const size_t i : {size_t{4}, size_t{11}, size_t{12}, damaged.size() - 1}) damaged[i] = {0xE0, 0, 0};
    for (size_t i = 0; has_headers && i < damaged.size(); ++i) {
      const Data& header = file_.frames[i].header;
      damaged[i].insert(damaged[i].begin(), header.begin(), header.end());
    }
    DecodedAacWriter writer(record_, media_samples(damaged).front());
    const std::vector<int16_t> pcm = pcm_of(written(writer, media_samples(damaged)));
    // Includes the second of two consecutive damaged units, which the decoder conceals without reporting a
    // failure.
    EXPECT_EQ(writer.damaged_units(), 4U);
    ASSERT_EQ(pcm.size(), whole.size());
    // Nothing is lost before the first damaged unit.
    EXPECT_TRUE(std::equal(pcm.begin(), pcm.begin() + 4 * 2048, whole.begin()));
    // Equal except for the noise, which each decoder generates anew.
    double difference = 0;
    double level = 0;
    for (size_t i = 20 * 2048; i < 30 * 2048; ++i) {
      difference += std::abs(pcm[i] - whole[i]);
      level += std::abs(whole[i]);
    }
    EXPECT_LT(difference, 0.1 * level);
  }
}

// Measuring a unit whose SBR data have no header skips them; then the decoder refuses the unit.
TEST(DecodedHeAac, DamagedSbrCostsNoOtherUnit) {
  const AdtsFile file = sample("he-aac-v1-stereo.aac");
  const std::vector<Data> units = payloads(file);
  const Data record = {static_cast<uint8_t>(0x10 | file.sampling_index >> 1),
                       static_cast<uint8_t>((file.sampling_index & 1) << 7 | 2 << 3)};
  DecodedAacWriter sound(record, media_samples(units).front());
  const std::vector<int16_t> whole = pcm_of(written(sound, media_samples(units)));
  Zd_AAC_Dec_Config core = config_of(file);
  Zd_AAC_Dec_Config doubled = core;
  doubled.extension = ZD_AAC_DEC_EXTENSION_SBR;
  doubled.outputRate *= 2;
  core.channels = 0;
  for (const size_t number : {8U, 9U, 20U}) {
    std::vector<Data> damaged = units;
    for (size_t bit = 8 * units[number].size(); bit-- > 0;) {
      damaged[number] = units[number];
      damaged[number][bit / 8] ^= static_cast<uint8_t>(0x80 >> bit % 8);
      if (measure(damaged[number], ZD_AAC_DEC_STREAM_RAW, core) < 0) continue;
      TestDecoder decoder(doubled, ZD_AAC_DEC_MODE_SBR);
      for (size_t i = 0; i < number; ++i) decoder.decode(units[i]);
      if (decoder.decode(damaged[number]).status != ZD_AAC_DEC_OK) break;
    }
    DecodedAacWriter writer(record, media_samples(damaged).front());
    const std::vector<int16_t> pcm = pcm_of(written(writer, media_samples(damaged)));
    EXPECT_EQ(writer.damaged_units(), 1U) << number;
    ASSERT_EQ(pcm.size(), whole.size());
    EXPECT_TRUE(
        std::equal(pcm.begin(), pcm.begin() + static_cast<std::ptrdiff_t>(number) * 4096, whole.begin()));
  }
}

TEST_F(DecodedAac, NeedsAConfigurationThatTheDecoderSupports) {
  const Data first = media_samples(units_).front();
  const Data surround = {0x12, 0x30};
  EXPECT_FALSE(DecodedAacWriter(surround, first).is_usable());
  EXPECT_FALSE(DecodedAacWriter({}, first).is_usable());
  // Without a first unit only the configuration decides.
  EXPECT_TRUE(DecodedAacWriter(record_, {}).is_usable());
}

}  // namespace
}  // namespace zdr::test
