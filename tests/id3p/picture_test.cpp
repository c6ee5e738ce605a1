// Attached pictures.
#include <gtest/gtest.h>

#include "id3p/messages.h"
#include "tests/id3p/parsed_tags.h"

namespace {

using namespace zdr::test;
using namespace std::string_literals;

const std::string kPng = "\x89PNG\r\n\x1A\nrest"s;
const std::string kJpeg = "\xFF\xD8\xFFrest"s;

struct PictureCase {
  const char* what;
  std::string body;
  std::string mime_type;
  int picture_type;
  uint32_t format;
  std::string description;
  std::string data;
};

std::string text_of(const uint8_t* bytes, size_t size) {
  return bytes == nullptr ? "" : std::string(reinterpret_cast<const char*>(bytes), size);
}

void expect_picture(const PictureCase& c) {
  const ParsedTags tags(id3v2(3, 0, v23_frame("APIC", bytes_of(c.body))));
  ASSERT_EQ(tags.status(), ID3P_OK) << c.what;
  const ID3P_Picture* const picture = tags.set().v23->text.picture;
  ASSERT_NE(picture, nullptr) << c.what;
  std::string head = c.body.substr(0, 4);
  head.resize(4, '\0');
  EXPECT_EQ(text_of(picture->head, 4), head) << c.what;
  EXPECT_EQ(*picture->text_encoding, c.body.size() > 4 ? static_cast<uint8_t>(c.body[4]) : 0) << c.what;
  EXPECT_EQ(std::string(picture->mime_type), c.mime_type) << c.what;
  EXPECT_EQ(*picture->picture_type, c.picture_type) << c.what;
  EXPECT_EQ(picture->format, c.format) << c.what;
  EXPECT_EQ(text_of(picture->data, picture->data_length), c.data) << c.what;
  EXPECT_EQ(picture->description != nullptr, !c.description.empty()) << c.what;
  EXPECT_EQ(text_of(picture->description, c.description.size()), c.description) << c.what;
}

TEST(Picture, FieldsAreFoundBySearchingAsRequired) {
  const PictureCase cases[] = {
      {"PNG", "\0image/png\0\3\0"s + kPng, "image/png", 3, ID3P_PICTURE_PNG, "\3\0"s, kPng},
      {"the type of a JPEG is the terminator", "\0image/jpeg\0\3\0"s + kJpeg, "image/jpeg", 0,
       ID3P_PICTURE_JPEG, "\0\3\0"s, kJpeg},
      {"GIF keeps what was copied last, up to its zero", "\0image/gif\0\3\0GIF89a"s, "if", 0,
       ID3P_PICTURE_GIF, "\0\3\0"s, "GIF89a"},
      {"an earlier i is passed over", "\0ii/image/png\0\3\0"s + kPng, "image/png", 3, ID3P_PICTURE_PNG,
       "\3\0"s, kPng},
      {"no image", "\0image/png\0\3\0nothing"s, "image/png", 3, ID3P_PICTURE_JPEG, "", ""},
      {"image before the type", "\0"s + kJpeg + "image/png\0\3\0"s, "image/png", 3, ID3P_PICTURE_JPEG, "",
       kJpeg + "image/png\0\3\0"s},
      {"no MIME type", "\0abc"s, "", 0, ID3P_PICTURE_JPEG, "", ""},
      {"cut in the MIME type", "\0imag"s, "imag", 0, ID3P_PICTURE_JPEG, "", ""},
      {"cut before the type", "\0image/png"s, "image/png", 0, ID3P_PICTURE_JPEG, "", ""},
      {"one byte", "\0"s, "", 0, ID3P_PICTURE_JPEG, "", ""},
  };
  for (const PictureCase& c : cases) expect_picture(c);
}

TEST(Picture, TheSecondReplacesTheFirst) {
  const ParsedTags tags(id3v2(3, 0,
                              concat({v23_frame("APIC", bytes_of("\0image/png\0\3\0"s + kPng)),
                                      v23_frame("APIC", bytes_of("\0image/jpeg\0\3\0"s + kJpeg))})));
  ASSERT_NE(tags.set().v23, nullptr);
  EXPECT_EQ(std::string(tags.set().v23->text.picture->mime_type), "image/jpeg");
}

std::string said;

TEST(Picture, OtherEncodingsAreToldAndSkipped) {
  zdr::id3p::set_message_sink([](const char* message) { said += message; });
  for (const char encoding : {'\1', '\2', '\3'}) {
    said.clear();
    const std::string body = encoding + "image/png\0\3\0"s + kPng;
    const ParsedTags tags(
        id3v2(3, 0, concat({v23_frame("APIC", bytes_of(body)), v23_frame("TIT2", bytes_of("\0Song"s))})));
    EXPECT_EQ(said, "\n Unicode not supported now");
    EXPECT_EQ(tags.set().v23->text.picture, nullptr);
    EXPECT_EQ(shown(tags.set().v23->text.title), u"Song");
  }
  zdr::id3p::set_message_sink(nullptr);
}

}  // namespace
