// Reading frames by number: in order, after jumps, at the end, and after failures.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>

#include "tests/aacdec/adts_file.h"
#include "tests/esparse/aac/opened_file.h"
#include "tests/support/id3_builder.h"

namespace {

using namespace zdr::aacf::test;
using zdr::aacdec::test::AdtsFile;
using zdr::test::id3v1;
using zdr::test::id3v2;
using Pcm = std::vector<int16_t>;

// ---- Real streams beside a decoder that is fed frame by frame
// ------------------------------------------------

struct RealFile {
  AdtsFile adts;
  Bytes content;
  std::vector<size_t> offsets;  // of the frames
};

// Of files that are nothing but tags and frames, and that the decoder takes.
std::optional<RealFile> load(const std::filesystem::path& path) {
  RealFile file{zdr::aacdec::test::read_adts_file(path), zdr::aacdec::test::read_file(path), {}};
  size_t at = 0;
  for (const auto& frame : file.adts.frames) {
    const Bytes bytes = concat({frame.header, frame.payload});
    const auto begin = file.content.begin() + static_cast<std::ptrdiff_t>(at);
    const auto found = std::search(begin, file.content.end(), bytes.begin(), bytes.end());
    if (found != begin && at != 0) return std::nullopt;
    file.offsets.push_back(static_cast<size_t>(found - file.content.begin()));
    at = file.offsets.back() + bytes.size();
  }
  const bool is_clean = at == file.content.size() || at + 128 == file.content.size();
  if (!is_clean || file.adts.frames.size() < 4) return std::nullopt;
  return file;
}

std::vector<RealFile> real_files() {
  std::vector<RealFile> files;
  std::vector<std::filesystem::path> folders{ZDR_SAMPLES_DIR};
  if (const char* extra = std::getenv("ZDR_EXTRA_MEDIA")) folders.emplace_back(extra);
  for (const auto& folder : folders) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      if (entry.path().extension() != ".aac") continue;
      if (auto file = load(entry.path())) files.push_back(std::move(*file));
    }
  }
  return files;
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

// The frame at or behind the place where `number` is expected, by the bytes that all headers share.
std::optional<size_t> landing(const RealFile& file, const AACF_StreamInfo& info, uint32_t number) {
  const double mean = double(info.bytes_scanned) / info.frames_scanned;
  // Positions count from the end of the tag, which ends where the first frame begins.
  const auto target = file.offsets.front() + static_cast<size_t>(mean * (number - 1));
  const auto found = std::lower_bound(file.offsets.begin(), file.offsets.end(), target);
  if (found == file.offsets.end()) return std::nullopt;
  return static_cast<size_t>(found - file.offsets.begin());
}

TEST(RealStreams, AreReadInOrderAsADecoderGivesThem) {
  int compared = 0;
  for (const RealFile& file : real_files()) {
    OpenedFile opened(file.content);
    if (opened.status() != AACF_OK) continue;
    Zd_AAC_Dec_Config config{};
    AACF_GetConfig(opened.reader(), &config);
    const auto expected = decode_from(file.adts, config, 0, SIZE_MAX);
    ASSERT_EQ(expected.size(), file.adts.frames.size()) << file.adts.name;
    // Two runs: going back to the first frame begins anew.
    for (int run = 0; run < 2; ++run) {
      AACF_RefreshConfig(opened.reader());
      uint32_t number = 1;
      for (; number <= expected.size(); ++number) {
        const auto read = opened.read(number);
        if (read.status != AACF_OK) break;
        ASSERT_EQ(read.pcm, expected[number - 1]) << file.adts.name << " frame " << number;
      }
      // The estimate may end the stream early, by a frame where frames are of one size.
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
    Zd_AAC_Dec_Config config{};
    AACF_GetConfig(opened.reader(), &config);
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
      for (const Pcm& expected : decode_from(file.adts, config, *first, 4)) {
        ASSERT_EQ(read.status, AACF_OK) << file.adts.name << " frame " << number;
        ASSERT_EQ(read.pcm, expected) << file.adts.name << " frame " << number;
        if (read.number == opened.info().total_frames) break;
        read = opened.read(read.number + 1);
      }
    }
  }
}

// ---- Positioning
// ---------------------------------------------------------------------------------------------

TEST(Position, OfAdtsIsAJumpToWhereTheFrameIsExpected) {
  const Bytes content = adts_file(4096, 512);
  OpenedFile file(content);
  EXPECT_EQ(file.read(10).status, AACF_OK);
  file.file().reset_counts();
  EXPECT_EQ(file.read(1000).status, AACF_OK);
  // One buffer from the start, and one from the place; nothing in between.
  EXPECT_EQ(file.file().counts().bytes_read, 2 * 24576u);
  EXPECT_EQ(file.file().position(), 512u * 999 + 24576);
  EXPECT_EQ(file.read(4096).status, AACF_OK);
  EXPECT_EQ(file.read(4097).status, AACF_ERR_FAILED);
}

TEST(Position, OfAHugeFileCostsTheSame) {
  const Bytes megabyte = adts_file(2048, 512);
  OpenedFile file(megabyte, kScanLimit, 200);
  for (const uint32_t number : {409600u, 2u, 200000u, 1u}) {
    file.file().reset_counts();
    EXPECT_EQ(file.read(number).status, AACF_OK) << number;
    // From the start, from the place, and one that meets the end of the file.
    EXPECT_LE(file.file().counts().reads, 3u);
    EXPECT_LE(file.file().counts().seeks, 2u);
  }
}

TEST(Position, OfRawStreamsIsCounted) {
  for (const Bytes& header : {raw_header(), adif_header()}) {
    // Frames of changing sizes, so that an estimate would miss.
    Bytes content = header;
    for (size_t i = 0; i < 40; ++i) content = concat({content, silent_block(100 + 37 * (i % 5), 2, 0xFF)});
    OpenedFile file(content);
    ASSERT_EQ(file.info().frames_scanned, 40u);
    for (const uint32_t number : {1u, 40u, 7u, 8u, 39u}) {
      EXPECT_EQ(file.read(number).status, AACF_OK) << number;
    }
    const auto beyond = file.read(50);
    EXPECT_EQ(beyond.status, AACF_ERR_FAILED);
    EXPECT_EQ(beyond.number, 41u) << "the number reached";
    const auto far_beyond = file.read(0xFFFFFFFF);
    EXPECT_EQ(far_beyond.status, AACF_ERR_FAILED);
    EXPECT_EQ(file.read(3).status, AACF_OK);
  }
}

// A header that is cut off counts as a frame of no bytes, for ever; a counted jump must not take for ever.
TEST(Position, BehindACutOffHeaderIsReachedAtOnce) {
  Bytes content = adts_file(12, 100);
  content.resize(1105);
  zdr::test::MemoryFile memory(content);
  // Without its size the file seems to hold less than was scanned, and then frames are counted.
  memory.io().seek = [](void* handle, int32_t offset, int32_t whence) {
    auto& file = *static_cast<zdr::test::MemoryFile*>(handle);
    return whence == 2 ? 1 : file.seek(offset, whence);
  };
  const AACF_OpenParams params{&memory.io(), kScanLimit};
  AACF_File* reader = nullptr;
  ASSERT_EQ(AACF_Open(&reader, u"a", &params), AACF_OK);
  std::vector<int16_t> pcm(4096);
  AACF_FrameRequest request{0xFFFFFFFF, 8192, pcm.data()};
  EXPECT_EQ(AACF_ReadFrame(reader, &request), AACF_ERR_FAILED) << "nothing to decode there";
  request.number = 2;
  EXPECT_EQ(AACF_ReadFrame(reader, &request), AACF_OK);
  AACF_Close(reader);
}

// ---- End and failures
// ----------------------------------------------------------------------------------------

TEST(End, ComesBeforeTheTag) {
  const Bytes content =
      concat({raw_header(), repeated(silent_block(400, 2, 0xFF), 20), id3v1("t", "a", "1999", 1)});
  OpenedFile file(content);
  for (uint32_t number = 1; number <= 20; ++number) EXPECT_EQ(file.read(number).status, AACF_OK) << number;
  EXPECT_EQ(file.read(21).status, AACF_ERR_END_OF_STREAM);
  EXPECT_EQ(file.read(20).status, AACF_OK);
}

TEST(End, OfAdtsIsTheEstimateOrTheEndOfTheBytes) {
  // One frame more than the mean of the others makes expect.
  const Bytes content = concat({adts_file(19, 400), adts_frame(900)});
  OpenedFile file(content);
  ASSERT_EQ(file.info().total_frames, 21u);
  for (uint32_t number = 1; number <= 20; ++number) EXPECT_EQ(file.read(number).status, AACF_OK) << number;
  EXPECT_EQ(file.read(21).status, AACF_ERR_END_OF_STREAM);
  EXPECT_EQ(file.read(22).status, AACF_ERR_FAILED);
}

TEST(Failure, OfAFrameLeavesTheReaderUsable) {
  Bytes content = adts_file(40, 400);
  // The block of frame 20 begins with an element that is not supported.
  content[19 * 400 + 7] = 0x60;
  OpenedFile file(content);
  for (uint32_t number = 1; number < 20; ++number) EXPECT_EQ(file.read(number).status, AACF_OK) << number;
  EXPECT_EQ(file.read(20).status, AACF_ERR_FAILED);
  EXPECT_EQ(file.read(21).status, AACF_OK);
  EXPECT_EQ(file.read(22).pcm.size(), 2048u);
}

TEST(Failure, OfAJumpIsFollowedByANewOne) {
  // From frame 20 on nothing looks like a header.
  const Bytes content = concat({adts_file(30, 400), Bytes(20000, 0)});
  OpenedFile file(content);
  ASSERT_GE(file.info().total_frames, 60u);
  EXPECT_EQ(file.read(60).status, AACF_ERR_NEED_MORE_DATA);
  const auto first = file.read(1);
  EXPECT_EQ(first.status, AACF_OK);
  EXPECT_EQ(file.read(2).pcm.size(), 2048u);
}

TEST(Arguments, OfAReadAreChecked) {
  const Bytes content = adts_file(5, 100);
  OpenedFile file(content);
  EXPECT_EQ(file.read(0).status, AACF_ERR_FAILED);
  EXPECT_EQ(AACF_ReadFrame(file.reader(), nullptr), AACF_ERR_FAILED);
  // Too little room: nothing is consumed, and the frame can be had again.
  EXPECT_EQ(file.read(1).status, AACF_OK);
  std::vector<int16_t> pcm(2048);
  AACF_FrameRequest request{2, 100, pcm.data()};
  EXPECT_EQ(AACF_ReadFrame(file.reader(), &request), AACF_ERR_FAILED);
  EXPECT_EQ(file.read(2).pcm.size(), 2048u);
}

}  // namespace
