// Reads built files: the results of opening, the positions of reads, the ends of streams.
#include <gtest/gtest.h>

#include <cstring>

#include "esparse/aac/stream_times.h"
#include "mediakit/files/id3_builder.h"
#include "tests/esparse/aac/opened_file.h"

namespace zdr::test {
namespace {

using namespace std::string_literals;

// Describes an open file: bitrate mode, bitrate, total frames, audio bytes, frames and bytes scanned,
// duration in ms and title. If it did not open: the status.
std::string describe(OpenedFile& file) {
  if (file.status() != AACF_OK) return std::to_string(file.status());
  const AACF_StreamInfo& info = file.info();
  AACF_Duration duration{};
  AACF_GetDuration(file.reader(), &duration);
  EXPECT_EQ(duration.frame_count, info.total_frames);
  std::string text = std::to_string(info.bitrate_mode);
  for (const uint32_t number : {info.bitrate, info.total_frames, info.audio_bytes, info.frames_scanned,
                                info.bytes_scanned, duration.duration_ms}) {
    text += " " + std::to_string(number);
  }
  ID3P_Text tag{};
  EXPECT_EQ(AACF_GetTagText(file.reader(), &tag), AACF_OK);
  if (tag.title != nullptr) text += " ";
  for (const char16_t* at = tag.title; at != nullptr && *at != 0; ++at) text += static_cast<char>(*at);
  if (tag.release != nullptr) tag.release(&tag);
  return text;
}

struct OpenCase {
  const char* what;
  Bytes content;
  std::string expected;
};

void expect_open(const std::vector<OpenCase>& cases) {
  for (const OpenCase& c : cases) {
    OpenedFile file(c.content);
    EXPECT_EQ(describe(file), c.expected) << c.what;
    EXPECT_EQ(file.file().counts().closes, file.status() == AACF_OK ? 0u : 1u) << c.what;
  }
}

Bytes blocks_of(size_t count, size_t size = 400) {
  return repeated(silent_block(size, 2, 0xFF), count);
}

TEST(Open, KeptEstimatesFollowTheFramesThatCount) {
  const Bytes hundred = adts_file(100, 400);
  const Bytes tag = id3v1("t", "a", "1999", 1);
  expect_open({
      {"the last ADTS frame does not count", hundred, "3 136000 100 40000 99 39600 2321"},
      {"the scan ends after the limit", adts_file(4096, 512), "3 176000 4096 2097152 1025 524800 95108"},
      {"after a tag and zeros", concat({id3v2(3, 0, Bytes(990, 0)), Bytes(3, 0), hundred}),
       "3 136000 100 40003 99 39600 2321"},
      {"tags of both versions", concat({id3v2(3, 0, v23_frame("TIT2", bytes_of("\0003"s))), hundred, tag}),
       "3 136000 100 40000 99 39600 2321 3"},
      {"2.2", concat({id3v2(2, 0, v22_frame("TT2", bytes_of("\0002"s))), hundred}),
       "3 136000 100 40000 99 39600 2321 2"},
      {"2.4", concat({id3v2(4, 0, v23_frame("TIT2", bytes_of("\0004"s))), hundred}),
       "3 136000 100 40000 99 39600 2321"},
      {"raw: every block counts", concat({raw_header(), blocks_of(100)}),
       "3 136000 100 40000 100 40000 2321"},
      {"raw, before a tag", concat({raw_header(), blocks_of(100), tag}), "3 136000 100 40000 100 40000 2321"},
      {"ADIF: 24 bits of the header are the bitrate", concat({adif_header(), blocks_of(20)}),
       "2 655360 20 8000 20 8000 464"},
      {"ADIF: even if they belong to the copyright identification",
       concat({adif_header({.copyright = true}), blocks_of(20)}), "1 2958621 20 8000 20 8000 464"},
      {"ADIF: estimated if they are 0", concat({adif_header({.variable_rate = true}), blocks_of(20)}),
       "3 136000 20 8000 20 8000 464"},
      {"a single frame does not count", adts_frame(400, {.filler = 0xFF}), "3 0 0 400 0 0 0"},
      {"junk counts for the frame before it", concat({adts_file(10, 400), Bytes(50, 0), adts_file(90, 400)}),
       "3 136000 99 40050 99 39650 2298"},
      {"a truncated header is as long as the last refill",
       concat({adts_frame(400), Bytes(24171, 0), Bytes(hundred.begin(), hundred.begin() + 6)}),
       "3 4232000 2 24577 2 24572 46"},
      {"after a gap beyond one buffer the search continues once",
       concat({adts_file(31, 400), Bytes(13000, 0), adts_file(40, 400)}), "3 200000 70 41400 70 41000 1625"},
      {"tags that overlap leave no audio",
       concat({id3v2(4, 0, concat({Bytes(272, 0), bytes_of("TAG"), Bytes(25, 0)})), adts_frame(100)}),
       "3 0 0 0 0 0 0"},
  });
}

TEST(Open, KeptDamagedStreamsAndThoseWithoutAByteFFAreRefused) {
  const Bytes adts = adts_file(3, 100);
  const Bytes adif = concat({adif_header(), blocks_of(20)});
  expect_open({
      {"no byte 0xFF after offset 10", concat({raw_header(), repeated(silent_block(100), 3)}), "-1"},
      {"nothing", {}, "-1"},
      {"raw: configuration longer than the file", concat({{250}, adts}), "-1"},
      {"raw: length 0", concat({{0}, adts}), "-1"},
      {"ADTS: truncated first frame", Bytes(adts.begin(), adts.begin() + 60), "-1"},
      {"ADTS of six channels", concat({adts_frame(100, {.channels = 6}), adts}), "-1"},
      {"ADIF: no frame", concat({adif_header(), Bytes(20, 0xFF)}), "-1"},
      {"ADIF after a tag loses its header", concat({id3v2(3, 0, Bytes(100, 0)), adif}), "-1"},
      {"tag with forbidden flags", concat({id3v2(3, 0x10, Bytes(50, 0)), adts}), "-1"},
      {"truncated tag", id3v2(3, 0, adts, 4000), "-1007"},
  });
}

// A header needs five bytes to confirm the frame before it. Where five or six are left, it counts as a frame
// of 0 bytes.
TEST(Open, KeptTruncatedHeaderCountsOnce) {
  const Bytes whole = adts_file(12, 100);
  for (uint32_t size = 101; size <= whole.size(); ++size) {
    const Bytes cut(whole.begin(), whole.begin() + size);
    OpenedFile file(cut);
    ASSERT_EQ(file.status(), AACF_OK) << size;
    const uint32_t confirmed = size < 105 ? 0 : (size - 105) / 100 + 1;
    const uint32_t truncated = size % 100 == 5 || size % 100 == 6 ? 1 : 0;
    EXPECT_EQ(file.info().frames_scanned, confirmed + truncated) << size;
    EXPECT_EQ(file.info().bytes_scanned, 100 * confirmed) << size;
  }
}

TEST(Open, KeptSearchEndsAtTheLimitOfSeeks) {
  const Bytes zeros(1 << 20, 0);
  OpenedFile file(zeros, 8 << 20);
  EXPECT_EQ(file.status(), AACF_ERR_FAILED);
  EXPECT_LE(file.file().counts().bytes_read, (1u << 31) + 65536u);
}

TEST(Open, NeedsEveryArgumentAndEveryCallback) {
  const Bytes content = adts_file(3, 100);
  MemoryFile file(content);
  AACF_File* reader = nullptr;
  AACF_FileIo io = file.io();
  const AACF_OpenParams params{&io, kScanLimit};
  EXPECT_EQ(AACF_Open(nullptr, u"a", &params), AACF_ERR_FAILED);
  EXPECT_EQ(AACF_Open(&reader, u"a", nullptr), AACF_ERR_FAILED);
  for (size_t missing = 0; missing < 6; ++missing) {
    io = file.io();
    std::memset(reinterpret_cast<char*>(&io) + missing * sizeof(void*), 0, sizeof(void*));
    EXPECT_EQ(AACF_Open(&reader, u"a", &params), AACF_ERR_FAILED) << missing;
  }
  EXPECT_EQ(file.counts().opens, 0u);
}

TEST(Times, KeptConversionsUseTheCoreRateAnd32Bits) {
  const Bytes content = adts_file(5, 100);
  OpenedFile file(content);
  const std::pair<uint32_t, uint32_t> frames[] = {
      {1, 1}, {23, 1}, {24, 2}, {998, 43}, {999, 44}, {1000, 44}, {0xFFFFFFFF, 184968807}, {0, 77}};
  for (const auto& [time_ms, expected] : frames) {
    uint32_t number = 77;
    EXPECT_EQ(AACF_TimeToFrame(file.reader(), time_ms, &number), time_ms == 0 ? AACF_ERR_FAILED : AACF_OK);
    EXPECT_EQ(number, expected) << time_ms;
  }
  const std::pair<uint32_t, uint64_t> times[] = {{1, 0},       {2, 23}, {44, 998}, {4194304, 97391525},
                                                 {4194305, 0}, {0, 77}};
  for (const auto& [number, expected] : times) {
    uint64_t time_ms = 77;
    EXPECT_EQ(AACF_FrameToTime(file.reader(), number, &time_ms), number == 0 ? AACF_ERR_FAILED : AACF_OK);
    EXPECT_EQ(time_ms, expected) << number;
  }
  Zd_AAC_Dec_Config config{};
  config.frameLength = 1;
  config.sampleRate = 1000;
  EXPECT_EQ(aacf::frame_at_ms(UINT32_MAX, config), UINT32_MAX) << "not 0";
}

// Lists for each read the samples per channel, or the status; "@N" if the number became N.
std::string results(OpenedFile& file, const std::vector<uint32_t>& numbers) {
  std::string text;
  for (const uint32_t number : numbers) {
    const OpenedFile::Read read = file.read(number);
    text += (text.empty() ? "" : " ") +
            std::to_string(read.status == AACF_OK ? static_cast<int>(read.pcm.size() / 2) : read.status);
    if (read.number != number) text += "@" + std::to_string(read.number);
  }
  return text;
}

Bytes mixed_blocks(const Bytes& header) {
  Bytes content = header;
  for (size_t i = 0; i < 40; ++i) content = concat({content, silent_block(100 + 37 * (i % 5), 2, 0xFF)});
  return content;
}

TEST(Reads, KeptJumpsRestartTheDecoderAndEndsFollowTheEstimate) {
  const Bytes raw = concat({raw_header(), blocks_of(5)});
  const Bytes two_blocks = repeated(adts_frame(407, {.blocks = 2}), 10);
  Bytes damaged = adts_file(40, 400);
  damaged[4 * 400 + 7] = 0x60;  // frame 5: an unsupported element
  const Bytes raw_and_tag = concat({raw, id3v1("t", "a", "1999", 1)});
  const Bytes raw_and_header = concat({raw, {0xFF, 0xF1, 0x50, 0x80, 0x03, 0x9F, 0xFC}, Bytes(20, 0x60)});
  const Bytes fewer = concat({adts_file(4, 400), adts_frame(900)});
  const struct {
    const char* what;
    Bytes content;
    std::vector<uint32_t> numbers;
    std::string expected;
  } cases[] = {
      {"in order", adts_file(4, 100), {1, 2, 3, 4, 5, 0}, "0 1024 1024 1024 -1 -1"},
      {"raw, by counting", mixed_blocks(raw_header()), {1, 40, 7, 8, 39}, "0 1024 1024 1024 1024"},
      {"raw, beyond the scanned part", concat({raw_header(), blocks_of(1400)}), {1400, 2}, "0 1024"},
      {"ADIF, beyond the scanned part", concat({adif_header(), blocks_of(1400)}), {1400, 2}, "0 1024"},
      {"raw, beyond the end", mixed_blocks(raw_header()), {50, 0xFFFFFFFF, 3, 4}, "-1@41 -1@41 0 1024"},
      {"ADIF, beyond the end", mixed_blocks(adif_header()), {50, 3, 4}, "-1@41 0 1024"},
      {"raw, the stream ends before the tag", raw_and_tag, {1, 5, 6, 5}, "0 1024 -10102 1024"},
      {"fewer frames than estimated", fewer, {1, 2, 3, 4, 5, 6, 7}, "0 1024 1024 1024 1024 -10102 -1"},
      {"a damaged frame", damaged, {1, 2, 3, 4, 5, 6, 7}, "0 1024 1024 1024 -1 1024 1024"},
      {"a place without headers", concat({adts_file(30, 400), Bytes(20000, 0)}), {60, 1, 2}, "-10101 0 1024"},
      {"a header after raw blocks", raw_and_header, {6, 1, 2, 6, 3}, "-1 0 1024 -1 1024"},
      {"back from within a frame of two blocks", two_blocks, {1, 2, 3, 1, 2, 3}, "0 1024 1024 0 1024 1024"},
      {"back from its end", two_blocks, {1, 2, 3, 4, 1, 2}, "0 1024 1024 1024 1024 1024"},
      {"with two blocks per frame, only half of the blocks", two_blocks, {10, 11}, "0 -1"},
  };
  for (const auto& c : cases) {
    OpenedFile file(c.content);
    EXPECT_EQ(results(file, c.numbers), c.expected) << c.what;
  }
}

TEST(Reads, WithoutRoomConsumeNothing) {
  const Bytes content = adts_file(5, 100);
  OpenedFile file(content);
  EXPECT_EQ(file.read(1).status, AACF_OK);
  EXPECT_EQ(file.read(2, 100).status, AACF_ERR_FAILED);
  EXPECT_EQ(file.read(2).pcm.size(), 2048u);
  EXPECT_EQ(AACF_ReadFrame(file.reader(), nullptr), AACF_ERR_FAILED);
}

// A jump fills the buffer at the start of the stream and at the target, whatever the size of the file.
TEST(Reads, KeptJumpsOfAdtsCountFromTheEndOfTheTag) {
  const Bytes megabyte = adts_file(2048, 512);
  OpenedFile file(megabyte, 201);
  EXPECT_EQ(describe(file), "3 176000 411648 210763776 1025 524800 9558448");
  EXPECT_LE(file.file().counts().bytes_read, kScanLimit + 140 + 32768 + 24576);
  for (const uint32_t number : {411648u, 2u, 200000u, 1u}) {
    file.file().reset_counts();
    EXPECT_EQ(file.read(number).status, AACF_OK) << number;
    EXPECT_LE(file.file().counts().reads, 3u) << "one read may find the end of the file";
    EXPECT_LE(file.file().counts().seeks, 2u);
  }
  EXPECT_EQ(file.read(1000).status, AACF_OK);
  EXPECT_EQ(file.file().position(), 512u * 999 + 24576);
  const Bytes tagged = concat({id3v2(3, 0, Bytes(90, 0)), Bytes(900, 0), adts_file(200, 400)});
  OpenedFile late(tagged);
  EXPECT_EQ(late.read(51).status, AACF_OK);
  EXPECT_EQ(late.file().position(), 100u + 50 * 400 + 24576);
}

// A truncated header counts as a frame of 0 bytes repeatedly; the walk takes such frames in one step.
TEST(Reads, KeptFramesAfterATruncatedHeaderAreCountedAtOnce) {
  Bytes content = adts_file(12, 100);
  content.resize(1105);
  // Without a size, the file seems smaller than the scanned part, and frames are counted.
  OpenedFile file(content, 1, [](void* handle, int32_t offset, int32_t whence) {
    return whence == 2 ? 1 : static_cast<MemoryFile*>(handle)->seek(offset, whence);
  });
  EXPECT_EQ(file.info().total_frames, 12u) << "as many as were scanned";
  EXPECT_EQ(results(file, {0xFFFFFFFF, 2}), "-1 0") << "nothing to decode";
}

}  // namespace
}  // namespace zdr::test
