// Real streams through the reader, beside a decoder that is fed frame by frame.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>

#include "tests/aacdec/adts_file.h"
#include "tests/esparse/aac/opened_file.h"
#include "tests/support/box_builder.h"

namespace {

using namespace zdr::aacf::test;
using zdr::aacdec::test::AdtsFile;
using zdr::test::concat;
using Pcm = std::vector<int16_t>;

struct RealFile {
  AdtsFile adts;
  Bytes content;                // the frames and nothing else
  std::vector<size_t> offsets;  // of the frames
};

std::vector<RealFile> real_files() {
  std::vector<RealFile> files;
  for (const AdtsFile& adts : zdr::aacdec::test::all_adts_files()) {
    RealFile file{adts, {}, {}};
    for (const auto& frame : adts.frames) {
      file.offsets.push_back(file.content.size());
      for (const Bytes* part : {&frame.header, &frame.payload}) {
        file.content.insert(file.content.end(), part->begin(), part->end());
      }
    }
    if (adts.frames.size() >= 4) files.push_back(std::move(file));
  }
  return files;
}

Zd_AAC_Dec_Config config_of(OpenedFile& file) {
  Zd_AAC_Dec_Config config{};
  EXPECT_EQ(AACF_GetConfig(file.reader(), &config), AACF_OK);
  return config;
}

// Of `count` frames from frame `first` on, counted from 0, what each read gives: nothing, then the frame
// before.
std::vector<Pcm> decode_from(const AdtsFile& file, Zd_AAC_Dec_Config config, size_t first, size_t count) {
  Zd_AAC_Dec_Instance* decoder = nullptr;
  EXPECT_EQ(Zd_AAC_Dec_Open(&decoder), ZD_AAC_DEC_OK);
  EXPECT_EQ(Zd_AAC_Dec_SetConfig(decoder, &config), ZD_AAC_DEC_OK);
  std::vector<Pcm> reads;
  for (size_t i = first; i < file.frames.size() && reads.size() < count; ++i) {
    const Bytes frame = concat({file.frames[i].header, file.frames[i].payload});
    auto length = static_cast<int32_t>(frame.size());
    Pcm pcm(8192);
    int32_t bytes = 16384;
    if (Zd_AAC_Dec_Decode(decoder, frame.data(), &length, pcm.data(), &bytes) != ZD_AAC_DEC_OK) break;
    pcm.resize(static_cast<size_t>(bytes) / 2);
    reads.push_back(std::move(pcm));
  }
  Zd_AAC_Dec_Close(decoder);
  return reads;
}

// The frame at or behind the place where `number` is expected.
std::optional<size_t> landing(const RealFile& file, const AACF_StreamInfo& info, uint32_t number) {
  const double mean = double(info.bytes_scanned) / info.frames_scanned;
  const auto target = static_cast<size_t>(mean * (number - 1));
  const auto found = std::lower_bound(file.offsets.begin(), file.offsets.end(), target);
  if (found == file.offsets.end()) return std::nullopt;
  return static_cast<size_t>(found - file.offsets.begin());
}

TEST(RealStreams, AreReadInOrderAsADecoderGivesThem) {
  int compared = 0;
  for (const RealFile& file : real_files()) {
    OpenedFile opened(file.content);
    if (opened.status() != AACF_OK) continue;
    const auto expected = decode_from(file.adts, config_of(opened), 0, SIZE_MAX);
    if (expected.size() != file.adts.frames.size()) continue;  // a damaged one
    // Two runs: going back to the first frame begins anew.
    for (int run = 0; run < 2; ++run) {
      AACF_RefreshConfig(opened.reader());
      uint32_t number = 1;
      for (; number <= expected.size(); ++number) {
        const auto read = opened.read(number);
        if (read.status != AACF_OK) break;
        ASSERT_EQ(read.pcm, expected[number - 1]) << file.adts.name << " frame " << number;
      }
      // Required: the estimate may end the stream early, by a frame where frames are of one size.
      EXPECT_EQ(number - 1, std::min<size_t>(opened.info().total_frames, expected.size())) << file.adts.name;
    }
    ++compared;
  }
  EXPECT_GE(compared, 6);
}

TEST(RealStreams, AreEnteredWhereAFrameIsExpected) {
  std::mt19937 random(7);
  for (const RealFile& file : real_files()) {
    OpenedFile opened(file.content);
    if (opened.status() != AACF_OK) continue;
    for (int round = 0; round < 30; ++round) {
      // A frame that the reader happens to stand at would be read without a jump.
      opened.read(1);
      const auto number = static_cast<uint32_t>(3 + random() % opened.info().total_frames);
      AACF_RefreshConfig(opened.reader());
      const auto first = landing(file, opened.info(), number);
      auto read = opened.read(number);
      if (!first || number > opened.info().total_frames) {
        EXPECT_NE(read.status, AACF_OK) << file.adts.name << " frame " << number;
        continue;
      }
      for (const Pcm& expected : decode_from(file.adts, config_of(opened), *first, 4)) {
        ASSERT_EQ(read.status, AACF_OK) << file.adts.name << " frame " << number;
        ASSERT_EQ(read.pcm, expected) << file.adts.name << " frame " << number;
        if (read.number == opened.info().total_frames) break;
        read = opened.read(read.number + 1);
      }
    }
  }
}

TEST(RealStreams, RequiredHeAacV2GivesTwoEqualChannels) {
  const Bytes content = zdr::aacdec::test::read_file(ZDR_SAMPLES_DIR "/he-aac-v2.aac");
  OpenedFile file(content);
  EXPECT_EQ(config_of(file).channels, 2);
  int loudest = 0;
  for (uint32_t number = 1; number <= 30; ++number) {
    const Pcm pcm = file.read(number).pcm;
    for (size_t i = 0; i + 1 < pcm.size(); i += 2) {
      ASSERT_EQ(pcm[i], pcm[i + 1]) << "frame " << number;
      loudest = std::max<int>(loudest, pcm[i]);
    }
  }
  EXPECT_GT(loudest, 1000);
}

TEST(RealStreams, InRawBlocksAreFoundByCounting) {
  for (const char* name : {"aac-lc-8k-mono.aac", "he-aac-v2.aac"}) {
    const AdtsFile adts = zdr::aacdec::test::sample(name);
    Bytes content =
        adif_header({.sampling_index = static_cast<uint64_t>(adts.sampling_index), .channels = 1});
    for (const auto& frame : adts.frames)
      content.insert(content.end(), frame.payload.begin(), frame.payload.end());
    OpenedFile file(content);
    ASSERT_EQ(file.status(), AACF_OK) << name;
    EXPECT_EQ(file.info().frames_scanned, adts.frames.size()) << name;
    EXPECT_EQ(file.info().bytes_scanned, file.info().audio_bytes) << name;
    for (const uint32_t number : {20u, 7u, 30u}) {
      AACF_RefreshConfig(file.reader());
      uint32_t next = number;
      for (const Pcm& expected : decode_from(adts, config_of(file), number - 1, 3)) {
        ASSERT_EQ(file.read(next++).pcm, expected) << name << " from frame " << number;
      }
    }
  }
}

}  // namespace
