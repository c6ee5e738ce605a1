// What opens and what does not, and what the reader tells of the file.
#include <gtest/gtest.h>

#include "tests/esparse/aac/opened_file.h"
#include "tests/support/id3_builder.h"

namespace {

using namespace zdr::aacf::test;
using namespace std::string_literals;
using zdr::test::bytes_of;
using zdr::test::id3v1;
using zdr::test::id3v2;
using zdr::test::v22_frame;
using zdr::test::v23_frame;

TEST(Open, DecidesByTheFirstBytes) {
  const Bytes adts = adts_file(3, 100);
  const Bytes blocks = repeated(silent_block(100), 3);
  const Bytes ff(1, 0xFF);  // one must be somewhere behind offset 10
  const struct {
    const char* what;
    Bytes content;
    int32_t status;
  } cases[] = {
      {"ADTS", adts, AACF_OK},
      {"ADIF", concat({adif_header(), blocks, ff}), AACF_OK},
      {"raw", concat({raw_header(), blocks, ff}), AACF_OK},
      {"required: no byte 0xFF behind offset 10", concat({raw_header(), blocks}), AACF_ERR_FAILED},
      {"empty", {}, AACF_ERR_FAILED},
      {"one byte", {0xFF}, AACF_ERR_FAILED},
      {"raw: configuration longer than the file", concat({{250}, blocks, ff}), AACF_ERR_FAILED},
      {"raw: length 0", concat({{0}, blocks, ff}), AACF_ERR_FAILED},
      {"ADTS: first frame cut", Bytes(adts.begin(), adts.begin() + 60), AACF_ERR_FAILED},
      {"ADTS of six channels", concat({adts_frame(100, {.channels = 6}), adts}), AACF_ERR_FAILED},
      {"ADIF: no frame", concat({adif_header(), Bytes(20, 0xFF)}), AACF_ERR_FAILED},
      {"behind a v2.4 tag", concat({id3v2(4, 0, Bytes(50, 0)), adts}), AACF_OK},
      {"nothing behind a tag", id3v2(4, 0, Bytes(50, 0)), AACF_ERR_FAILED},
      {"tag with forbidden flags", concat({id3v2(3, 0x10, Bytes(50, 0)), adts}), AACF_ERR_FAILED},
      {"tag cut off", id3v2(3, 0, adts, 4000), AACF_ERR_SHORT_READ},
  };
  for (const auto& c : cases) {
    OpenedFile file(c.content);
    EXPECT_EQ(file.status(), c.status) << c.what;
    EXPECT_EQ(file.file().counts().closes, c.status == AACF_OK ? 0u : 1u) << c.what;
  }
}

TEST(Open, ChecksItsArguments) {
  const Bytes content = adts_file(3, 100);
  zdr::test::MemoryFile file(content);
  AACF_File* reader = nullptr;
  const AACF_OpenParams good{&file.io(), kScanLimit};
  EXPECT_EQ(AACF_Open(nullptr, u"a", &good), AACF_ERR_FAILED);
  EXPECT_EQ(AACF_Open(&reader, nullptr, &good), AACF_ERR_FAILED);
  EXPECT_EQ(AACF_Open(&reader, u"a", nullptr), AACF_ERR_FAILED);
  const AACF_OpenParams none{nullptr, kScanLimit};
  EXPECT_EQ(AACF_Open(&reader, u"a", &none), AACF_ERR_FAILED);
  for (int missing = 0; missing < 6; ++missing) {
    AACF_FileIo io = file.io();
    if (missing == 0) io.open = nullptr;
    if (missing == 1) io.seek = nullptr;
    if (missing == 2) io.read = nullptr;
    if (missing == 3) io.write = nullptr;
    if (missing == 4) io.close = nullptr;
    if (missing == 5) io.tell = nullptr;
    const AACF_OpenParams params{&io, kScanLimit};
    EXPECT_EQ(AACF_Open(&reader, u"a", &params), AACF_ERR_FAILED) << missing;
  }
  EXPECT_EQ(file.counts().opens, 0u);
  AACF_FileIo closed = file.io();
  closed.open = [](const char16_t*, const char*) -> void* { return nullptr; };
  const AACF_OpenParams unopenable{&closed, kScanLimit};
  EXPECT_EQ(AACF_Open(&reader, u"a", &unopenable), AACF_ERR_OPEN);
  EXPECT_EQ(file.counts().closes, 0u);
  EXPECT_EQ(reader, nullptr);
  EXPECT_EQ(AACF_Close(nullptr), AACF_ERR_FAILED);
  EXPECT_EQ(AACF_RefreshConfig(nullptr), AACF_ERR_FAILED);
}

TEST(Times, ConvertByTheCoreRate) {
  const Bytes content = adts_file(5, 100);
  OpenedFile file(content);
  const struct {
    uint32_t time_ms;
    uint32_t number;
  } frames[] = {{1, 1}, {23, 1}, {24, 2}, {998, 43}, {999, 44}, {1000, 44}, {0xFFFFFFFF, 184968807}};
  for (const auto& c : frames) {
    uint32_t number = 0;
    EXPECT_EQ(AACF_TimeToFrame(file.reader(), c.time_ms, &number), AACF_OK);
    EXPECT_EQ(number, c.number) << c.time_ms;
  }
  const struct {
    uint32_t number;
    uint64_t time_ms;
  } times[] = {{1, 0}, {2, 23}, {44, 998}, {4194304, 97391525}, {4194305, 0}};
  for (const auto& c : times) {
    uint64_t time_ms = 1;
    EXPECT_EQ(AACF_FrameToTime(file.reader(), c.number, &time_ms), AACF_OK);
    EXPECT_EQ(time_ms, c.time_ms) << c.number;
  }
  uint32_t number = 77;
  uint64_t time_ms = 77;
  EXPECT_EQ(AACF_TimeToFrame(file.reader(), 0, &number), AACF_ERR_FAILED);
  EXPECT_EQ(AACF_FrameToTime(file.reader(), 0, &time_ms), AACF_ERR_FAILED);
  EXPECT_EQ(number, 77u);
}

TEST(TagText, ComesFromTheV2TagOnly) {
  const Bytes adts = adts_file(3, 100);
  const Bytes v1 = id3v1("One", "a", "1999", 1);
  const struct {
    const char* what;
    Bytes content;
    std::u16string title;
  } cases[] = {
      {"2.3 beside 1", concat({id3v2(3, 0, v23_frame("TIT2", bytes_of("\0Three"s))), adts, v1}), u"Three"},
      {"2.2", concat({id3v2(2, 0, v22_frame("TT2", bytes_of("\0Two"s))), adts}), u"Two"},
      {"1 alone", concat({adts, v1}), u""},
      {"2.4", concat({id3v2(4, 0, v23_frame("TIT2", bytes_of("\0Four"s))), adts}), u""},
      {"none", adts, u""},
  };
  for (const auto& c : cases) {
    OpenedFile file(c.content);
    ASSERT_EQ(file.status(), AACF_OK) << c.what;
    ID3P_Text text{};
    EXPECT_EQ(AACF_GetTagText(file.reader(), &text), AACF_OK);
    EXPECT_EQ(text.title == nullptr ? u"" : std::u16string(text.title), c.title) << c.what;
    if (text.release != nullptr) text.release(&text);
  }
}

}  // namespace
