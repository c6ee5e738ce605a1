// Which tags a file has, where they end, and what wrong sizes and flags do.
#include <gtest/gtest.h>

#include "tests/id3p/parsed_tags.h"

namespace {

using namespace zdr::test;
using namespace std::string_literals;

Bytes song(uint8_t version) {
  return version == 2 ? v22_frame("TT2", bytes_of("\0Song"s)) : v23_frame("TIT2", bytes_of("\0Song"s));
}

TEST(Parse, V1TagAlone) {
  const ParsedTags tags(concat({Bytes(50, 1), id3v1("A title", "An artist", "1999", 17)}));
  EXPECT_EQ(tags.status(), ID3P_OK);
  ASSERT_NE(tags.set().v1, nullptr);
  const ID3P_Text& text = tags.set().v1->text;
  EXPECT_EQ(tags.set().v1->size, 128u);
  EXPECT_EQ(tags.position(), 10u);
  EXPECT_EQ(shown(text.title), u"A title");
  EXPECT_EQ(shown(text.artist), u"An artist");
  EXPECT_EQ(shown(text.album), u"");
  EXPECT_EQ(shown(text.year), u"1999");
  EXPECT_EQ(shown(text.track), u"<null>");
  EXPECT_EQ(ID3P_TotalTagBytes(&tags.set()), 128u);
}

TEST(Parse, RequiredV1GenreIsACharacter) {
  const struct {
    uint8_t genre;
    std::u16string expected;
  } cases[] = {{17, u"\u0011"}, {0x41, u"A"}, {0x80, u"\u20AC"}, {0, u""}, {0xFF, u"<null>"}};
  for (const auto& c : cases) {
    const ParsedTags tags(id3v1("t", "a", "1999", c.genre));
    EXPECT_EQ(shown(tags.set().v1->text.genre), c.expected) << int{c.genre};
  }
}

TEST(Parse, FullV1FieldsAreCutAtTheirEnd) {
  const ParsedTags tags(id3v1(std::string(30, 't'), std::string(60, 'a'), "20245", 255));
  const ID3P_Text& text = tags.set().v1->text;
  EXPECT_EQ(shown(text.title), std::u16string(30, u't'));
  EXPECT_EQ(shown(text.artist), std::u16string(30, u'a'));
  EXPECT_EQ(shown(text.year), u"2024");
}

struct V2Case {
  const char* what;
  Bytes content;
  int32_t status;
  uint64_t position;
  std::u16string title;
};

// Of the one tag of version 2.2 or 2.3.
std::u16string title_of(const ID3P_TagSet& set) {
  const ID3P_Tag* const tag = set.v22 != nullptr ? set.v22 : set.v23;
  return tag == nullptr ? u"<no tag>" : shown(tag->text.title);
}

TEST(Parse, V2HeadersAndSizes) {
  const Bytes audio(100, 0xFF);
  const V2Case cases[] = {
      {"2.3", concat({id3v2(3, 0, song(3)), audio}), ID3P_OK, 25, u"Song"},
      {"2.2", concat({id3v2(2, 0, song(2)), audio}), ID3P_OK, 21, u"Song"},
      {"padding", concat({id3v2(3, 0, concat({song(3), Bytes(40, 0)})), audio}), ID3P_OK, 65, u"Song"},
      {"2.5", concat({id3v2(5, 0, song(3)), audio}), ID3P_OK, 10, u"<no tag>"},
      {"nothing", {}, ID3P_OK, 0, u"<no tag>"},
      {"cut header", bytes_of("ID3\3\0\0\0"s), ID3P_OK, 7, u"<no tag>"},
      {"2.3 one byte short", id3v2(3, 0, song(3), 16), ID3P_ERR_SHORT_READ, 10, u"<null>"},
      {"2.2 one byte short", id3v2(2, 0, song(2), 12), ID3P_ERR_SHORT_READ, 10, u"<null>"},
      {"2.3 of 537 MB", id3v2(3, 0, song(3), 0x1FFFFFFF), ID3P_ERR_SHORT_READ, 10, u"<null>"},
      {"2.4 one byte short", id3v2(4, 0, song(3), 16), ID3P_ERR_SHORT_READ, 10, u"<no tag>"},
      {"no body", concat({id3v2(3, 0, {}), audio}), ID3P_OK, 10, u"<null>"},
      {"frame beyond the body",
       id3v2(3, 0, concat({song(3), Fields().text("TIT2").u32(0xFFFFFFFF).zeros(9).bytes})), ID3P_OK, 42,
       u"Song"},
      {"2.2 frame beyond the body",
       id3v2(2, 0, concat({song(2), Fields().text("TT2").u24(0xFFFFFF).u8(0).bytes})), ID3P_OK, 28, u"Song"},
      {"ten bytes behind a frame", id3v2(3, 0, concat({song(3), bytes_of("TIT2\0\0\0\0\0\0"s)})), ID3P_OK, 35,
       u"Song"},
  };
  for (const V2Case& c : cases) {
    const ParsedTags tags(c.content);
    EXPECT_EQ(tags.status(), c.status) << c.what;
    EXPECT_EQ(tags.position(), c.position) << c.what;
    EXPECT_EQ(title_of(tags.set()), c.title) << c.what;
  }
}

TEST(Parse, RequiredV24TagIsMeasuredWithoutItsFooter) {
  const ParsedTags tags(concat({id3v2(4, 0xFF, Bytes(1000, 0)), Bytes(20, 0xFF)}));
  EXPECT_EQ(tags.status(), ID3P_OK);
  ASSERT_NE(tags.set().v24, nullptr);
  EXPECT_EQ(tags.set().v24->size, 1010u);
  EXPECT_EQ(tags.set().v24->footer, 0x10);
  EXPECT_EQ(tags.position(), 1010u);
  EXPECT_EQ(ID3P_TotalTagBytes(&tags.set()), 1010u);
}

TEST(Parse, RequiredTopBitsOfSizeBytesCount) {
  Bytes tag = id3v2(4, 0, Bytes(255, 0));
  tag[8] = 0;
  tag[9] = 255;
  const ParsedTags tags(tag);
  EXPECT_EQ(tags.position(), 265u);
}

TEST(Parse, RequiredFlagErrorsOfV23FailAndOfV22DoNot) {
  for (int flags = 0; flags < 256; ++flags) {
    const auto flag_byte = static_cast<uint8_t>(flags);
    const ParsedTags v23(id3v2(3, flag_byte, concat({Bytes(4, 0), song(3)})));
    EXPECT_EQ(v23.status(), (flags & 0x3F) != 0 ? ID3P_ERR_FAILED : ID3P_OK) << flags;
    const ParsedTags v22(id3v2(2, flag_byte, song(2)));
    EXPECT_EQ(v22.status(), ID3P_OK) << flags;
    EXPECT_EQ(title_of(v22.set()), (flags & 0x5F) != 0 ? u"<null>" : u"Song") << flags;
  }
}

TEST(Parse, RequiredUnsynchronisationIsNotRemoved) {
  const ParsedTags tags(id3v2(3, 0x80, v23_frame("TIT2", bytes_of("\0A\xFF\0B"s))));
  EXPECT_EQ(title_of(tags.set()), u"A\u00FF");
}

TEST(Parse, RequiredExtendedHeaderSizeTakesItsLastBytesAsSigned) {
  const struct {
    const char* what;
    Bytes header;
    std::u16string title;
  } cases[] = {
      {"of six bytes", concat({bytes_of("\0\0\0\6"s), Bytes(6, 0)}), u"Song"},
      {"of 200 bytes: 196 read as -60", concat({Fields().u32(196).bytes, Bytes(196, 0)}), u"<null>"},
      {"of 0x1FF - 0x100 bytes", concat({Fields().u32(0x1FF).bytes, Bytes(0xFF, 0)}), u"Song"},
      {"negative", Fields().u32(0x00FFFFFF).bytes, u"<null>"},
      {"beyond the body", Fields().u32(0x7F000000).bytes, u"<null>"},
  };
  for (const auto& c : cases) {
    const ParsedTags tags(id3v2(3, 0x40, concat({c.header, song(3)})));
    EXPECT_EQ(tags.status(), ID3P_OK) << c.what;
    EXPECT_EQ(title_of(tags.set()), c.title) << c.what;
  }
  const ParsedTags cut(id3v2(3, 0x40, Bytes(3, 0)));
  EXPECT_EQ(cut.status(), ID3P_OK);
}

}  // namespace
