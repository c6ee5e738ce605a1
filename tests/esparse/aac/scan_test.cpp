// What opening finds out: kind, frames, bytes, bitrate, length.
#include <gtest/gtest.h>

#include "tests/aacdec/adts_file.h"
#include "tests/esparse/aac/opened_file.h"
#include "tests/support/id3_builder.h"

namespace {

using namespace zdr::aacf::test;
using zdr::test::id3v1;
using zdr::test::id3v2;

struct Expected {
  const char* what;
  Bytes content;
  AACF_StreamInfo info;
  uint32_t duration_ms;
};

void expect_info(const Expected& e, uint32_t scan_limit = kScanLimit) {
  OpenedFile file(e.content, scan_limit);
  ASSERT_EQ(file.status(), AACF_OK) << e.what;
  const AACF_StreamInfo& info = file.info();
  EXPECT_EQ(info.bitrate_mode, e.info.bitrate_mode) << e.what;
  EXPECT_EQ(info.bitrate, e.info.bitrate) << e.what;
  EXPECT_EQ(info.total_frames, e.info.total_frames) << e.what;
  EXPECT_EQ(info.audio_bytes, e.info.audio_bytes) << e.what;
  EXPECT_EQ(info.frames_scanned, e.info.frames_scanned) << e.what;
  EXPECT_EQ(info.bytes_scanned, e.info.bytes_scanned) << e.what;
  EXPECT_EQ(file.duration().frame_count, e.info.total_frames) << e.what;
  EXPECT_EQ(file.duration().duration_ms, e.duration_ms) << e.what;
}

TEST(Scan, CountsFramesAndEstimatesTheRest) {
  const Bytes hundred = adts_file(100, 400);
  const Bytes blocks = repeated(silent_block(400, 2, 0xFF), 100);
  // Mode, bitrate, total frames, audio bytes, frames and bytes scanned; duration.
  const Expected cases[] = {
      {"required: the last ADTS frame is not counted", hundred, {3, 136000, 100, 40000, 99, 39600}, 2321},
      {"2 MiB: the scan ends behind the limit",
       adts_file(4096, 512),
       {3, 176000, 4096, 2097152, 1025, 524800},
       95108},
      {"a tag and zeros in front",
       concat({id3v2(3, 0, Bytes(990, 0)), Bytes(3, 0), hundred}),
       {3, 136000, 100, 40003, 99, 39600},
       2321},
      {"a tag behind",
       concat({hundred, id3v1("t", "a", "1999", 1)}),
       {3, 136000, 100, 40000, 99, 39600},
       2321},
      {"raw: all frames are counted",
       concat({raw_header(), blocks}),
       {3, 136000, 100, 40000, 100, 40000},
       2321},
      {"raw with a tag behind",
       concat({raw_header(), blocks, id3v1("t", "a", "1999", 1)}),
       {3, 136000, 100, 40000, 100, 40000},
       2321},
      {"one frame cannot be counted", adts_frame(400, {.filler = 0xFF}), {3, 0, 0, 400, 0, 0}, 0},
      {"junk between frames counts to the frame before it",
       concat({adts_file(10, 400), Bytes(50, 0), adts_file(90, 400)}),
       {3, 136000, 99, 40050, 99, 39650},
       2298},
  };
  for (const Expected& e : cases) expect_info(e);
}

TEST(Scan, RequiredAdifBitrateIsReadFromFixedPlaces) {
  const Bytes blocks = repeated(silent_block(400, 2, 0xFF), 20);
  Bytes header = adif_header();
  OpenedFile constant(concat({header, blocks}));
  ASSERT_EQ(constant.status(), AACF_OK);
  const uint32_t expected = header[9] >> 4 | header[10] << 4 | header[11] << 12 | (header[12] & 3) << 20;
  EXPECT_EQ(constant.info().bitrate, expected);
  EXPECT_EQ(constant.info().bitrate_mode, (header[9] & 1) != 0 ? 1u : 2u);
  EXPECT_EQ(constant.info().frames_scanned, 20u);
  EXPECT_EQ(constant.info().audio_bytes, 8000u);
}

TEST(Scan, RequiredAdifBehindATagIsTakenForWhatFollowsAnFF) {
  const Bytes adif = concat({adif_header(), repeated(silent_block(400, 2, 0xFF), 20)});
  EXPECT_EQ(OpenedFile(adif).info().frames_scanned, 20u);
  OpenedFile tagged(concat({id3v2(3, 0, Bytes(100, 0)), adif}));
  EXPECT_EQ(tagged.status(), AACF_ERR_FAILED);
}

// Where a file is cut decides whether its last header is complete (five bytes are needed), or looks like a
// frame of its own without length (five or six bytes are left of it).
TEST(Scan, RequiredCutOffHeaderCountsOnce) {
  const Bytes whole = adts_file(12, 100);
  for (uint32_t size = 101; size <= whole.size(); ++size) {
    const Bytes cut(whole.begin(), whole.begin() + size);
    OpenedFile file(cut);
    ASSERT_EQ(file.status(), AACF_OK) << size;
    const uint32_t confirmed = size < 105 ? 0 : (size - 105) / 100 + 1;
    const uint32_t cut_off = size % 100 == 5 || size % 100 == 6 ? 1 : 0;
    EXPECT_EQ(file.info().frames_scanned, confirmed + cut_off) << size;
    EXPECT_EQ(file.info().bytes_scanned, 100 * confirmed) << size;
  }
}

TEST(Scan, CountsAllBlocksOfAStreamWithParametricStereo) {
  const auto adts = zdr::aacdec::test::sample("he-aac-v2.aac");
  ASSERT_FALSE(adts.frames.empty());
  Bytes adif = adif_header({.sampling_index = static_cast<uint32_t>(adts.sampling_index), .channels = 1});
  for (const auto& frame : adts.frames) adif = concat({adif, frame.payload});
  OpenedFile file(adif);
  ASSERT_EQ(file.status(), AACF_OK);
  EXPECT_EQ(file.info().frames_scanned, adts.frames.size());
  EXPECT_EQ(file.info().bytes_scanned, file.info().audio_bytes);
}

TEST(Scan, ReadsNoMoreThanTheLimitAndTheTags) {
  const Bytes megabyte = adts_file(2048, 512);
  OpenedFile file(megabyte, kScanLimit, 200);
  ASSERT_EQ(file.status(), AACF_OK);
  EXPECT_EQ(file.info().audio_bytes, 200u << 20);
  EXPECT_EQ(file.info().total_frames, 200u * 2048);
  // 140 bytes for tags, a block to look for the first header, and what is read ahead.
  EXPECT_LE(file.file().counts().bytes_read, kScanLimit + 140 + 4096 + 24576);
  EXPECT_LE(file.file().counts().reads, 60u);
}

// Every byte of such files may begin a header. What is looked at must not grow with what has been looked at
// before.
TEST(Scan, WalksOverFalseHeadersOnce) {
  const Bytes start = adts_file(2, 400);
  const Bytes header(start.begin(), start.begin() + 7);
  const Bytes pieces[] = {header,
                          {0xFF},
                          {0xFF, 0xF1, 0x50, 0x80, 0, 0, 0},
                          {0xFF, 0xF1, 0x50, 0x83, 0xFF, 0xFF, 0xFC},
                          {0xFF, 0xF1, 0x50, 0x80},
                          {0xFF, 0xF1, 0x50, 0x80, 0, 0x20},
                          {0}};
  for (const Bytes& piece : pieces) {
    const Bytes content = concat({start, repeated(piece, (10u << 20) / piece.size())});
    OpenedFile file(content);
    EXPECT_LE(file.file().counts().bytes_read, kScanLimit + 140 + 4096 + 2 * 24576u);
    if (file.status() != AACF_OK) continue;
    for (const uint32_t number : {1u, 2u, 3u, file.info().total_frames / 2, file.info().total_frames}) {
      const auto before = file.file().counts();
      file.read(number);
      EXPECT_LE(file.file().counts().bytes_read - before.bytes_read, 4 * 24576u);
    }
  }
}

}  // namespace
