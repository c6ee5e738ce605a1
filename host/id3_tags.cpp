#include "host/id3_tags.h"

#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <string_view>

#include "host/decoded_text.h"
#include "host/messages.h"
#include "os/os.h"

namespace zdr::host {
namespace {

using Json = nlohmann::ordered_json;

constexpr AACF_FileIo kFileIo = {OS_fopen, OS_fseek, OS_fread, OS_fwrite, OS_fclose, OS_ftell};

struct CloseFile {
  void operator()(void* handle) const { OS_fclose(handle); }
};

struct NamedField {
  const char* name;
  char16_t* ID3P_Text::*field;
};

constexpr NamedField kFields[] = {
    {"title", &ID3P_Text::title},       {"artist", &ID3P_Text::artist},
    {"album", &ID3P_Text::album},       {"year", &ID3P_Text::year},
    {"comment", &ID3P_Text::comment},   {"genre", &ID3P_Text::genre},
    {"track", &ID3P_Text::track},       {"length", &ID3P_Text::length},
    {"composer", &ID3P_Text::composer}, {"original artist", &ID3P_Text::original_artist},
    {"user url", &ID3P_Text::user_url},
};

constexpr const char* kImageNames[] = {"JPEG", "GIF", "PNG"};

// Little-endian with a mark in front.
std::vector<uint8_t> marked_bytes(std::u16string_view text) {
  std::vector<uint8_t> bytes{0xFF, 0xFE};
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<uint8_t>(unit & 0xFF));
    bytes.push_back(static_cast<uint8_t>(unit >> 8));
  }
  return bytes;
}

void add_tag(const char* version, const ID3P_Tag* tag, Json& list) {
  if (tag == nullptr) return;
  for (const NamedField& named : kFields) {
    const char16_t* const text = tag->text.*named.field;
    if (text == nullptr || *text == 0) continue;
    Json entry{{"tag", named.name}, {"type", version}};
    add_text(entry, "text", marked_bytes(text));
    list.push_back(entry);
  }
  const ID3P_Picture* const picture = tag->text.picture;
  if (picture == nullptr || picture->data_length == 0) return;
  list.push_back({{"tag", "cover"},
                  {"type", version},
                  {"image", kImageNames[picture->format]},
                  {"bytes", picture->data_length}});
}

}  // namespace

Id3Tags::Id3Tags(const std::string& file) {
  const std::unique_ptr<void, CloseFile> handle(OS_fopen(to_wide(file).c_str(), "rb"));
  status_ = ID3P_Parse(handle.get(), &kFileIo, &tags_);
}

uint32_t Id3Tags::v2_bytes() const {
  if (tags_.v22 != nullptr) return tags_.v22->size;
  if (tags_.v23 != nullptr) return tags_.v23->size;
  return tags_.v24 != nullptr ? tags_.v24->size : 0;
}

Json Id3Tags::json() const {
  Json list = Json::array();
  add_tag("ID3v2.2", tags_.v22, list);
  add_tag("ID3v2.3", tags_.v23, list);
  // The parser measures tags of this version only.
  if (tags_.v24 != nullptr) {
    list.push_back({{"tag", "ID3v2 tag"}, {"type", "ID3v2.4"}, {"offset", 0}, {"bytes", tags_.v24->size}});
  }
  add_tag("ID3v1", tags_.v1, list);
  return list;
}

std::vector<uint8_t> Id3Tags::picture() const {
  const ID3P_Picture* const picture = tags_.v23 != nullptr ? tags_.v23->text.picture : nullptr;
  if (picture == nullptr) return {};
  return {picture->data, picture->data + picture->data_length};
}

}  // namespace zdr::host
