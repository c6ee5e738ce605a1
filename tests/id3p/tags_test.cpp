// Tags of built files: their ends, texts and pictures, and wrong sizes and flags.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "id3p/id3p.h"
#include "mediakit/files/id3_builder.h"
#include "mediakit/files/memory_file.h"

namespace zdr::test {
namespace {

using namespace std::string_literals;

class ParsedTags {
 public:
  explicit ParsedTags(const Bytes& content) : file_(content) {
    status_ = ID3P_Parse(file_.handle(), &file_.io(), &set_);
  }
  ~ParsedTags() { ID3P_FreeTags(&set_); }
  ParsedTags(const ParsedTags&) = delete;
  ParsedTags& operator=(const ParsedTags&) = delete;

  int32_t status() const { return status_; }
  uint64_t position() const { return file_.position(); }
  const ID3P_TagSet& set() const { return set_; }

 private:
  MemoryFile file_;
  ID3P_TagSet set_{};
  int32_t status_;
};

// The texts of a tag as "title=Song year=1999", with units outside ASCII as \XXXX.
std::string texts(const ID3P_Text& text) {
  const std::pair<const char*, const char16_t*> fields[] = {
      {"title", text.title},       {"artist", text.artist},
      {"album", text.album},       {"year", text.year},
      {"comment", text.comment},   {"genre", text.genre},
      {"track", text.track},       {"length", text.length},
      {"composer", text.composer}, {"original", text.original_artist},
      {"url", text.user_url}};
  std::string all;
  for (const auto& [name, units] : fields) {
    if (units == nullptr) continue;
    all += (all.empty() ? "" : " ") + std::string(name) + "=";
    for (const char16_t unit : std::u16string_view(units)) {
      char shown[8];
      std::snprintf(shown, sizeof shown, unit >= 0x20 && unit < 0x7F ? "%c" : "\\%04X", unsigned{unit});
      all += shown;
    }
  }
  if (text.picture != nullptr) all += " and a picture";
  return all;
}

struct Case {
  const char* what;
  Bytes content;  // a file, or the frames of a tag
  std::string expected;
};

Bytes title(const std::string& body, uint8_t flags = 0) {
  return v23_frame("TIT2", bytes_of(body), flags);
}
Bytes comment(const std::string& body) {
  return v23_frame("COMM", bytes_of(body));
}
Bytes v22_title(const std::string& body) {
  return v22_frame("TT2", bytes_of(body));
}
Bytes song(uint8_t version) {
  return version == 2 ? v22_title("\0Song"s) : title("\0Song"s);
}

// Returns the status of a failure, the position, and each tag with its size and texts.
std::string describe(const Bytes& content) {
  const ParsedTags tags(content);
  const ID3P_TagSet& set = tags.set();
  std::string all = tags.status() == ID3P_OK ? "" : std::to_string(tags.status()) + " ";
  all += "@" + std::to_string(tags.position());
  const std::pair<const char*, const ID3P_Tag*> list[] = {{"1", set.v1}, {"2.2", set.v22}, {"2.3", set.v23}};
  uint32_t total = set.v24 != nullptr ? set.v24->size : 0;
  for (const auto& [version, tag] : list) {
    if (tag == nullptr) continue;
    all += " v"s + version + " of " + std::to_string(tag->size) + ": " + texts(tag->text);
    total += tag->size;
  }
  if (set.v24 != nullptr) {
    all += " v2.4 of " + std::to_string(set.v24->size) + ", footer " + std::to_string(set.v24->footer);
  }
  EXPECT_EQ(ID3P_TotalTagBytes(&set), total);
  return all;
}

TEST(Tags, KeptEachVersionIsReadByItsOwnRules) {
  const auto letters = [](char letter) { return std::string(30, letter); };
  const Bytes audio(100, 0xFF);
  Bytes full_v1_tag = id3v1(letters('t'), letters('a') + letters('a'), "20245", 'g');
  std::fill(full_v1_tag.begin() + 97, full_v1_tag.begin() + 127, uint8_t{'c'});
  Bytes wide_size = id3v2(4, 0, Bytes(255, 0));
  wide_size[8] = 0;
  wide_size[9] = 255;
  Bytes revision = id3v2(3, 0, song(3));
  revision[4] = 7;
  const Case cases[] = {
      {"1", concat({audio, id3v1("A title", "An artist", "1999", 17)}),
       "@10 v1 of 128: title=A title artist=An artist album= year=1999 comment= genre=\\0011"},
      {"1, the genre is a character", id3v1("", "", "", 0x80),
       "@10 v1 of 128: title= artist= album= year= comment= genre=\\20AC"},
      {"1, no genre", id3v1("", "", "", 0xFF), "@10 v1 of 128: title= artist= album= year= comment="},
      {"1, full fields", full_v1_tag,
       "@10 v1 of 128: title=" + letters('t') + " artist=" + letters('a') + " album=" + letters('a') +
           " year=2024 comment=" + letters('c') + " genre=g"},
      {"2.3", concat({id3v2(3, 0, song(3)), audio}), "@25 v2.3 of 25: title=Song"},
      {"2.2", concat({id3v2(2, 0, song(2)), audio}), "@21 v2.2 of 21: title=Song"},
      {"2.3, zeros of the unsynchronisation stay", id3v2(3, 0x80, title("\0A\xFF\0B"s)),
       "@25 v2.3 of 25: title=A\\00FF"},
      {"2.4 is measured, without its footer", concat({id3v2(4, 0xFF, Bytes(1000, 0)), audio}),
       "@1010 v2.4 of 1010, footer 16"},
      {"the top bits of size bytes count", wide_size, "@265 v2.4 of 265, footer 0"},
      {"any revision", revision, "@25 v2.3 of 25: title=Song"},
      {"an ID that begins with zero ends the tag", id3v2(3, 0, concat({v23_frame("\0IT2"s, {'x'}), song(3)})),
       "@36 v2.3 of 36: "},
      {"a zero later in an ID does not", id3v2(3, 0, concat({v23_frame("T\0T2"s, {'x'}), song(3)})),
       "@36 v2.3 of 36: title=Song"},
      {"padding", concat({id3v2(3, 0, concat({song(3), Bytes(40, 0)})), audio}),
       "@65 v2.3 of 65: title=Song"},
      {"2.5", concat({id3v2(5, 0, song(3)), audio}), "@10"},
      {"truncated header", bytes_of("ID3\3\0\0\0"s), "@7"},
      {"no body", concat({id3v2(3, 0, {}), audio}), "@10 v2.3 of 10: "},
      {"2.3 one byte short", id3v2(3, 0, song(3), 16), "-1007 @10 v2.3 of 26: "},
      {"2.2 one byte short", id3v2(2, 0, song(2), 12), "-1007 @10 v2.2 of 22: "},
      {"2.4 one byte short", id3v2(4, 0, song(3), 16), "-1007 @10 v2.4 of 26, footer 0"},
      {"2.2, a frame larger by a byte",
       id3v2(2, 0, concat({song(2), Fields().text("TT2").u24(4).append(bytes_of("\0ab"s)).bytes})),
       "@30 v2.2 of 30: title=Song"},
      {"ten bytes after a frame", id3v2(3, 0, concat({song(3), bytes_of("TIT2\0\0\0\0\0\0"s)})),
       "@35 v2.3 of 35: title=Song"},
  };
  for (const Case& c : cases) EXPECT_EQ(describe(c.content), c.expected) << c.what;
}

// Returns the texts of a tag, which must parse.
std::string read_back(uint8_t version, uint8_t flags, const Bytes& frames) {
  const ParsedTags tags(id3v2(version, flags, frames));
  EXPECT_EQ(tags.status(), ID3P_OK);
  const ID3P_Tag* const tag = version == 2 ? tags.set().v22 : tags.set().v23;
  return tag == nullptr ? "no tag" : texts(tag->text);
}

TEST(Tags, KeptForbiddenFlagsFailInV23AndHideTheTextsInV22) {
  for (int flags = 0; flags < 256; ++flags) {
    const auto flag_byte = static_cast<uint8_t>(flags);
    const ParsedTags v23(id3v2(3, flag_byte, concat({Bytes(4, 0), song(3)})));
    EXPECT_EQ(v23.status(), (flags & 0x3F) != 0 ? ID3P_ERR_FAILED : ID3P_OK) << flags;
    EXPECT_EQ(read_back(2, flag_byte, song(2)), (flags & 0x5F) != 0 ? "" : "title=Song") << flags;
  }
}

TEST(Tags, KeptLastBytesOfTheExtendedHeaderSizeAreSigned) {
  const Case cases[] = {
      {"of 200 bytes: 196 read as -60", concat({Fields().u32(196).bytes, Bytes(196, 0), song(3)}), ""},
      {"0x1FF - 0x100", concat({Fields().u32(0x1FF).bytes, Bytes(0xFF, 0), song(3)}), "title=Song"},
      {"negative", concat({Fields().u32(0x00FFFFFF).bytes, song(3)}), ""},
      {"beyond the body", concat({Fields().u32(0x7F000000).bytes, song(3)}), ""},
      {"truncated", Bytes(3, 0), ""},
  };
  for (const Case& c : cases) EXPECT_EQ(read_back(3, 0x40, c.content), c.expected) << c.what;
}

TEST(Texts, KeptEncodingsAndCommentsOfV23) {
  const Case cases[] = {
      {"up to a zero", title("\0So\0ng"s), "title=So"},
      {"leading spaces and zeros are removed", title("\0  \0 Song "s), "title=Song "},
      {"only spaces", title("\0   "s), "title="},
      {"windows-1252", title("\0\x80\xE9\x93"s), "title=\\20AC\\00E9\\201C"},
      {"little-endian, spaces stay", title("\1\xFF\xFE \0\xE9\0"s), "title= \\00E9"},
      {"up to a zero unit", title("\1\xFF\xFES\0\0\0T\0"s), "title=S"},
      {"big-endian", title("\1\xFE\xFF\x4E\x7F"s), "title=\\4E7F"},
      {"a low byte of 0x80 or more", title("\1\xFE\xFF\0\xE9\x4E\x80"s), "title=\\FFE9\\FF80"},
      {"any other mark is big-endian", title("\1ab\0S"s), "title=S"},
      {"nothing after the mark", title("\1\xFF\xFE"s), "title="},
      {"an odd length removes an earlier text", concat({title("\0One"s), title("\1\xFF\xFES\0T"s)}),
       "title="},
      // The byte read as its encoding belongs to the next frame, so that ID starts with zero.
      {"an empty frame replaces an earlier one", concat({title("\0One"s), title(""), Bytes(12, 0)}),
       "title="},
      {"the second replaces the first", concat({title("\0One"s), title("\0Two"s)}), "title=Two"},
      {"a frame in an unknown encoding does not", concat({title("\0One"s), title("\3Two"s)}), "title=One"},
      {"grouped", title("\0Song"s, 0x20), "title=Song"},
      {"compressed, encrypted and undefined flags",
       concat({title("\0a"s, 0x80), title("\0a"s, 0x40), title("\0a"s, 0x10), title("\0a"s, 0x08),
               title("\0a"s, 0x01)}),
       ""},
      {"after an unknown frame", concat({v23_frame("PRIV", bytes_of("\0x"s)), song(3)}), "title=Song"},
      {"comment", comment("\0engdescription\0Nice\0"s), "comment=Nice"},
      {"without a terminator, letters of the description stay", comment("\0engdescr\0Nice"s),
       "comment=Niceescr"},
      {"longer than the first part", comment("\0engd\0Nicer text"s), "comment=Nicer text"},
      {"nothing after the terminator drops an earlier comment",
       concat({comment("\0eng\0A\0"s), comment("\0eng\0"s)}), ""},
      {"an empty text", comment("\0engdescription\0\0"s), "comment="},
      {"no terminator", comment("\0engNice"s), "comment=engNice"},
      {"unknown encoding, an earlier comment stays", concat({comment("\0eng\0A\0"s), comment("\2eng\0B"s)}),
       "comment=A"},
      {"UTF-16 comment", comment("\1\377\376d\0\0\0T\0u\0"s), "comment=Tu"},
      {"UTF-16 comment, a space ends the description", comment("\1\377\376d\0 \0T\0 \0u\0\0\0v\0"s),
       "comment=T u"},
      {"UTF-16 comment of an odd length", concat({comment("\0eng\0A\0"s), comment("\1eng"s)}), "comment="},
      {"UTF-16 comment without a terminator", comment("\1\377\376d\0e\0"s), "comment=de"},
      {"UTF-16 comment, nothing after the terminator", comment("\1\377\376d\0\0\0"s), "comment="},
  };
  for (const Case& c : cases) EXPECT_EQ(read_back(3, 0, c.content), c.expected) << c.what;
}

TEST(Texts, KeptEncodingsOfV22) {
  const Case cases[] = {
      {"marked big-endian", v22_title("\1\xFE\xFF\0S"s), "title=S"},
      {"unmarked is big-endian from the first byte", v22_title("\1\0S\0T"s), "title=ST"},
      {"an odd length loses the last byte", v22_title("\1\xFF\xFES\0T"s), "title=S"},
      {"mark alone", v22_title("\1\xFF\xFE"s), "title="},
      {"big-endian mark alone", v22_title("\1\xFE\xFF"s), "title="},
      {"an empty frame replaces an earlier one", concat({song(2), v22_title(""), Bytes(12, 0)}), "title="},
      {"UTF-16 comment without a mark", v22_frame("COM", bytes_of("\1\0d\0\0\0T\0u"s)), "comment=Tu"},
  };
  for (const Case& c : cases) EXPECT_EQ(read_back(2, 0, c.content), c.expected) << c.what;
}

TEST(Texts, KeptEveryFieldIsReadFromItsFrameAndCopied) {
  Bytes v22;
  for (const char* id : {"TT2", "TP1", "TAL", "TYE", "COM", "TCO", "TRK", "TLE"}) {
    v22 = concat({v22, v22_frame(id, bytes_of("\0"s + id + "\0"s + id))});
  }
  EXPECT_EQ(read_back(2, 0, v22),
            "title=TT2 artist=TP1 album=TAL year=TYE comment=COM genre=TCO track=TRK length=TLE");
  Bytes v23;
  for (const char* id :
       {"TIT2", "TPE1", "TALB", "TYER", "COMM", "TCON", "TRCK", "TLEN", "TCOM", "TOPE", "WXXX"}) {
    v23 = concat({v23, v23_frame(id, bytes_of("\0"s + id + "\0"s + id))});
  }
  const ParsedTags tags(id3v2(3, 0, v23));
  ASSERT_NE(tags.set().v23, nullptr);
  ID3P_Text copy{};
  ASSERT_EQ(ID3P_CopyText(&copy, tags.set().v23), ID3P_OK);
  EXPECT_EQ(texts(copy),
            "title=TIT2 artist=TPE1 album=TALB year=TYER comment=COMM genre=TCON track=TRCK length=TLEN "
            "composer=TCOM original=TOPE url=WXXX");
  copy.release(&copy);
  EXPECT_EQ(texts(copy), "");
}

const std::string kPng = "\x89PNG\r\n\x1A\nrest"s;
const std::string kJpeg = "\xFF\xD8\xFFrest"s;

// Describes a picture: MIME type, picture type, format, and between bars the description and the data.
std::string describe(const ID3P_Picture& picture, size_t description_size) {
  const auto text_of = [](const uint8_t* bytes, size_t size) {
    return bytes == nullptr ? "" : std::string(reinterpret_cast<const char*>(bytes), size);
  };
  return picture.mime_type + " "s + std::to_string(*picture.picture_type) + " " +
         std::to_string(picture.format) + "|" + text_of(picture.description, description_size) + "|" +
         text_of(picture.data, picture.data_length);
}

TEST(Picture, KeptFieldsAreFoundBySearching) {
  const struct {
    const char* what;
    std::string body;
    std::string expected;
    size_t description_size;
  } kCases[] = {
      {"PNG", "\0image/png\0\3\0"s + kPng, "image/png 3 2|\3\0|"s + kPng, 2},
      {"JPEG: the picture type is the terminator", "\0image/jpeg\0\3\0"s + kJpeg,
       "image/jpeg 0 0|\0\3\0|"s + kJpeg, 3},
      {"GIF: the MIME type is from the last i to a zero", "\0image/gif\0\3\0GIF89a"s, "if 0 1|\0\3\0|GIF89a"s,
       3},
      {"an earlier i is skipped", "\0ii/image/png\0\3\0"s + kPng, "image/png 3 2|\3\0|"s + kPng, 2},
      {"no image", "\0image/png\0\3\0nothing"s, "image/png 3 0||", 0},
      {"the image before the MIME type", "\0"s + kJpeg + "image/png\0\3\0"s,
       "image/png 3 0||" + kJpeg + "image/png\0\3\0"s, 0},
      {"no MIME type", "\0abc"s, " 0 0||", 0},
      {"truncated in the MIME type", "\0imag"s, "imag 0 0||", 0},
      {"truncated before the picture type", "\0image/png"s, "image/png 0 0||", 0},
      {"one byte", "\0"s, " 0 0||", 0},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.what);
    // The second frame replaces the first.
    const Bytes first = v23_frame("APIC", bytes_of("\0image/png\0\3\0"s + kPng));
    const ParsedTags tags(id3v2(3, 0, concat({first, v23_frame("APIC", bytes_of(c.body))})));
    ASSERT_EQ(tags.status(), ID3P_OK);
    const ID3P_Picture* const picture = tags.set().v23->text.picture;
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(describe(*picture, c.description_size), c.expected);
    const std::string start = c.body + std::string(5, '\0');
    EXPECT_EQ(std::memcmp(picture->head, start.data(), 4), 0);
    EXPECT_EQ(*picture->text_encoding, static_cast<uint8_t>(start[4]));
  }
}

std::string messages;

TEST(Picture, KeptOtherEncodingsAreReportedOncePerTagAndSkipped) {
  ID3P_SetConsole([](const char* message) { messages += message; });
  const auto picture = [](char encoding, uint8_t flags) {
    return v23_frame("APIC", bytes_of(encoding + "image/png\0\3\0"s + kPng), flags);
  };
  const Bytes frames = concat({picture('\1', 0), picture('\2', 0), picture('\3', 0), song(3)});
  for (int tag = 0; tag < 2; ++tag) {
    messages.clear();
    EXPECT_EQ(read_back(3, 0, frames), "title=Song");
    EXPECT_EQ(messages, "\n Unicode not supported now");
  }
  messages.clear();
  EXPECT_EQ(read_back(3, 0, picture('\1', 0x80)), "");
  EXPECT_EQ(messages, "") << "compressed frames are skipped unread";
  ID3P_SetConsole(nullptr);
}

}  // namespace
}  // namespace zdr::test
