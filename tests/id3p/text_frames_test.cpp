// Text frames and comments, in both encodings and both versions.
#include <gtest/gtest.h>

#include "tests/id3p/parsed_tags.h"

namespace {

using namespace zdr::test;
using namespace std::string_literals;

struct FrameCase {
  const char* what;
  Bytes frames;
  std::u16string expected;
};

// The title, and the comment when there is no title.
std::u16string read_back(uint8_t version, const Bytes& frames) {
  const ParsedTags tags(id3v2(version, 0, frames));
  EXPECT_EQ(tags.status(), ID3P_OK);
  const ID3P_Tag* const tag = version == 2 ? tags.set().v22 : tags.set().v23;
  if (tag == nullptr) return u"<no tag>";
  return shown(tag->text.title != nullptr ? tag->text.title : tag->text.comment);
}

void expect_texts(uint8_t version, const std::vector<FrameCase>& cases) {
  for (const FrameCase& c : cases) EXPECT_EQ(read_back(version, c.frames), c.expected) << c.what;
}

Bytes title(const std::string& body) {
  return v23_frame("TIT2", bytes_of(body));
}
Bytes comment(const std::string& body) {
  return v23_frame("COMM", bytes_of(body));
}

TEST(V23Text, OfTitles) {
  expect_texts(3, {
                      {"plain", title("\0Song"s), u"Song"},
                      {"up to a zero", title("\0So\0ng"s), u"So"},
                      {"leading blanks and zeros go", title("\0  \0 Song "s), u"Song "},
                      {"blanks alone", title("\0   "s), u""},
                      {"windows-1252", title("\0\x80\xE9\x93"s), u"\u20AC\u00E9\u201C"},
                      {"little-endian", title("\1\xFF\xFES\0\xE9\0"s), u"S\u00E9"},
                      {"little-endian keeps leading blanks", title("\1\xFF\xFE \0S\0"s), u" S"},
                      {"up to a zero unit", title("\1\xFF\xFES\0\0\0T\0"s), u"S"},
                      {"big-endian", title("\1\xFE\xFF\0S"s), u"S"},
                      {"any other mark is big-endian", title("\1ab\0S"s), u"S"},
                      {"no unit behind the mark", title("\1\xFF\xFE"s), u"<null>"},
                      {"odd length", title("\1\xFF\xFES\0T"s), u"<null>"},
                      {"UTF-16 without mark", title("\2\0S"s), u"<null>"},
                      {"UTF-8", title("\3S"s), u"<null>"},
                      {"empty frame before a zero", v23_frame("TIT2", {}), u"<null>"},
                      {"the second replaces the first", concat({title("\0One"s), title("\0Two"s)}), u"Two"},
                      {"a skipped one does not", concat({title("\0One"s), title("\3Two"s)}), u"One"},
                      {"grouped", v23_frame("TIT2", bytes_of("\0Song"s), 0x20), u"Song"},
                      {"behind an unknown frame",
                       concat({v23_frame("PRIV", bytes_of("\0x"s)), title("\0Song"s)}), u"Song"},
                  });
  for (const int flag : {0x80, 0x40, 0x10, 0x08, 0x01}) {
    EXPECT_EQ(read_back(3, v23_frame("TIT2", bytes_of("\0Song"s), static_cast<uint8_t>(flag))), u"<null>")
        << flag;
  }
}

TEST(V23Text, RequiredBigEndianUnitsWithHighLowByteReadAsFFxx) {
  expect_texts(3, {
                      {"U+00E9", title("\1\xFE\xFF\0\xE9"s), u"\uFFE9"},
                      {"U+4E7F", title("\1\xFE\xFF\x4E\x7F"s), u"\u4E7F"},
                      {"U+4E80", title("\1\xFE\xFF\x4E\x80"s), u"\uFF80"},
                  });
}

// The encoding byte that is looked at belongs to the next frame, whose ID then starts with zero.
TEST(V23Text, OfAnEmptyFrameIsEmptyAndReplaces) {
  const Bytes frames = concat({title("\0One"s), v23_frame("TIT2", {}), Bytes(12, 0)});
  EXPECT_EQ(read_back(3, frames), u"");
}

TEST(V23Text, RequiredCommentsLoseTheirFirstPart) {
  expect_texts(
      3,
      {
          {"terminated", comment("\0engdescription\0Nice\0"s), u"Nice"},
          {"unterminated: letters of the description stay", comment("\0engdescr\0Nice"s), u"Niceescr"},
          {"longer than the first part", comment("\0engd\0Nicer text"s), u"Nicer text"},
          {"nothing behind the terminator", comment("\0engdescription\0"s), u"<null>"},
          {"an empty text behind it", comment("\0engdescription\0\0"s), u""},
          {"no terminator", comment("\0engNice"s), u"engNice"},
          {"dropped: an earlier one too", concat({comment("\0eng\0A\0"s), comment("\0eng\0"s)}), u"<null>"},
          {"unknown encoding: an earlier one stays", concat({comment("\0eng\0A\0"s), comment("\2eng\0B"s)}),
           u"A"},
          {"units up to a zero",
           comment("\1\xFF\xFE"
                   "d\0\0\0T\0u\0"s),
           u"Tu"},
          {"units up to a space",
           comment("\1\xFF\xFE"
                   "d\0 \0T\0 \0u\0\0\0v\0"s),
           u"T u"},
          {"units without either",
           comment("\1\xFF\xFE"
                   "d\0e\0"s),
           u"de"},
          {"nothing behind the zero",
           comment("\1\xFF\xFE"
                   "d\0\0\0"s),
           u""},
      });
}

TEST(V23Text, EveryFieldHasItsFrame) {
  Bytes frames;
  const char* const ids[] = {"TIT2", "TPE1", "TALB", "TYER", "COMM", "TCON",
                             "TRCK", "TLEN", "TCOM", "TOPE", "WXXX"};
  for (const char* id : ids)
    frames = concat({frames, v23_frame(id, bytes_of("\0"s + id + "\0"s + id + "\0"s))});
  const ParsedTags tags(id3v2(3, 0, frames));
  ASSERT_NE(tags.set().v23, nullptr);
  ID3P_Text copy{};
  ASSERT_EQ(ID3P_CopyText(&copy, tags.set().v23), ID3P_OK);
  for (const ID3P_Text* text : {&tags.set().v23->text, &copy}) {
    const char16_t* const fields[] = {text->title,    text->artist,          text->album,   text->year,
                                      text->comment,  text->genre,           text->track,   text->length,
                                      text->composer, text->original_artist, text->user_url};
    for (size_t i = 0; i < std::size(ids); ++i) {
      EXPECT_EQ(shown(fields[i]), std::u16string(ids[i], ids[i] + 4)) << ids[i];
    }
  }
  copy.release(&copy);
  EXPECT_EQ(copy.title, nullptr);
}

Bytes v22_title(const std::string& body) {
  return v22_frame("TT2", bytes_of(body));
}

TEST(V22Text, OfTitlesAndComments) {
  expect_texts(2, {
                      {"plain", v22_title("\0 Song"s), u"Song"},
                      {"marked little-endian", v22_title("\1\xFF\xFES\0"s), u"S"},
                      {"marked big-endian", v22_title("\1\xFE\xFF\0S"s), u"S"},
                      {"unmarked is big-endian from the first byte", v22_title("\1\0S\0T"s), u"ST"},
                      {"odd length loses the half unit", v22_title("\1\xFF\xFES\0T"s), u"S"},
                      {"mark alone", v22_title("\1\xFF\xFE"s), u"<null>"},
                      {"empty frame is passed over", concat({v22_title(""), v22_title("\0Song"s)}), u"Song"},
                      {"comment", v22_frame("COM", bytes_of("\0engd\0Nice\0"s)), u"Nice"},
                  });
}

}  // namespace
