// Compares the reader on real streams with a decoder that is fed frame by frame.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>

#include "mediakit/boxes/box_builder.h"
#include "tests/aacdec/test_decoder.h"
#include "tests/esparse/aac/opened_file.h"

namespace zdr::test {
namespace {

struct RealFile {
  AdtsFile adts;
  Bytes content = {};                // the frames alone
  std::vector<size_t> offsets = {};  // of the frames
};

RealFile with_content(AdtsFile adts) {
  RealFile file{std::move(adts)};
  for (const auto& frame : file.adts.frames) {
    file.offsets.push_back(file.content.size());
    file.content = concat({file.content, frame.header, frame.payload});
  }
  return file;
}

// The PCM of each read of up to `count` frames from frame `first` on, counted from 0. Each read delivers the
// previous frame; the first delivers nothing.
std::vector<Pcm> decode_from(const AdtsFile& file, const Zd_AAC_Dec_Config& config, size_t first,
                             size_t count) {
  TestDecoder decoder(config, ZD_AAC_DEC_MODE_SBR);
  std::vector<Pcm> reads;
  for (size_t i = first; i < file.frames.size() && reads.size() < count; ++i) {
    const auto output = decoder.decode(concat({file.frames[i].header, file.frames[i].payload}));
    if (output.status != ZD_AAC_DEC_OK) break;
    reads.push_back(output.pcm);
  }
  return reads;
}

// Returns the first frame at or after the estimated position of `number`.
std::optional<size_t> landing(const RealFile& file, const AACF_StreamInfo& info, uint32_t number) {
  const double mean = double(info.bytes_scanned) / info.frames_scanned;
  const auto target = static_cast<size_t>(mean * (number - 1));
  const auto found = std::lower_bound(file.offsets.begin(), file.offsets.end(), target);
  if (found == file.offsets.end()) return std::nullopt;
  return static_cast<size_t>(found - file.offsets.begin());
}

// The second run returns to the first frame. The estimated number of frames may end it early.
void expect_frames_in_order(const RealFile& file, OpenedFile& opened, const std::vector<Pcm>& expected) {
  for (int run = 0; run < 2; ++run) {
    AACF_RefreshConfig(opened.reader());
    uint32_t number = 1;
    for (; number <= expected.size(); ++number) {
      const auto read = opened.read(number);
      if (read.status != AACF_OK) break;
      ASSERT_EQ(read.pcm, expected[number - 1]) << file.adts.name << " frame " << number;
    }
    EXPECT_EQ(number - 1, std::min<size_t>(opened.info().total_frames, expected.size())) << file.adts.name;
  }
}

void expect_frames_after_a_seek(const RealFile& file, OpenedFile& opened, uint32_t number) {
  opened.read(1);  // so that the number is not the next one
  AACF_RefreshConfig(opened.reader());
  const auto first = landing(file, opened.info(), number);
  auto read = opened.read(number);
  if (!first || number > opened.info().total_frames) {
    EXPECT_NE(read.status, AACF_OK) << file.adts.name << " frame " << number;
    return;
  }
  for (const Pcm& expected : decode_from(file.adts, opened.config(), *first, 4)) {
    ASSERT_EQ(read.status, AACF_OK) << file.adts.name << " frame " << number;
    ASSERT_EQ(read.pcm, expected) << file.adts.name << " frame " << number;
    if (read.number == opened.info().total_frames) break;
    read = opened.read(read.number + 1);
  }
}

TEST(RealStreams, KeptEstimatesEndSequentialReadingAndDecideWhereSeeksLand) {
  std::mt19937 random(7);
  int compared = 0;
  for (AdtsFile& adts : all_adts_files()) {
    const RealFile file = with_content(std::move(adts));
    OpenedFile opened(file.content);
    if (file.offsets.size() < 4 || opened.status() != AACF_OK) continue;
    const auto expected = decode_from(file.adts, opened.config(), 0, SIZE_MAX);
    if (expected.size() == file.offsets.size()) {  // not damaged
      expect_frames_in_order(file, opened, expected);
      ++compared;
    }
    for (int round = 0; round < 30; ++round) {
      expect_frames_after_a_seek(file, opened,
                                 static_cast<uint32_t>(3 + random() % opened.info().total_frames));
    }
  }
  EXPECT_GE(compared, 6);
}

TEST(RealStreams, FramesOfRawStreamsAreFoundByCounting) {
  for (const char* name : {"aac-lc-8k-mono.aac", "he-aac-v2.aac"}) {
    const AdtsFile adts = sample(name);
    Bytes content =
        adif_header({.sampling_index = static_cast<uint64_t>(adts.sampling_index), .channels = 1});
    for (const auto& frame : adts.frames) content = concat({content, frame.payload});
    OpenedFile file(content);
    ASSERT_EQ(file.status(), AACF_OK) << name;
    EXPECT_EQ(file.info().frames_scanned, adts.frames.size()) << name;
    EXPECT_EQ(file.info().bytes_scanned, file.info().audio_bytes) << name;
    for (const uint32_t number : {20u, 7u, 30u}) {
      AACF_RefreshConfig(file.reader());
      uint32_t next = number;
      for (const Pcm& expected : decode_from(adts, file.config(), number - 1, 3)) {
        ASSERT_EQ(file.read(next++).pcm, expected) << name << " from frame " << number;
      }
    }
  }
}

}  // namespace
}  // namespace zdr::test
