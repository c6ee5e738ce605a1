// Makes JSON of the tags; the lines for people come from the JSON, so that both tell the same.
#include "host/inspect/file_tags.h"

#include <array>
#include <nlohmann/json.hpp>

#include "host/decoded_text.h"
#include "host/inspect/id3_tags.h"
#include "host/inspect/parsed_file.h"
#include "host/writers/output_file.h"

namespace zdr::host {
namespace {

using Json = nlohmann::ordered_json;

// By P3GPP_TAG_ code, from 1.
constexpr std::array<const char*, P3GPP_TAG_COUNT> kTagNames = {
    "title",  "description", "copyright",      "performer",   "author",
    "genre",  "rating",      "classification", "keywords",    "location",
    "album",  "year",        "name",           "compilation", "album",
    "artist", "copyright",   "writer",         "description", "album artist",
    "genre",  "track",       "disc",           "cover",       "gracenote id",
    "date"};

std::span<const uint8_t> span_of(const P3gppBytes& bytes) {
  return {bytes.bytes, bytes.length};
}

std::string image_type(std::span<const uint8_t> image) {
  const auto begins = [&](std::string_view magic) {
    return image.size() >= magic.size() &&
           std::equal(magic.begin(), magic.end(), image.begin(),
                      [](char a, uint8_t b) { return static_cast<uint8_t>(a) == b; });
  };
  if (begins("\xFF\xD8\xFF")) return "JPEG";
  if (begins("\x89PNG")) return "PNG";
  if (begins("BM")) return "BMP";
  if (begins("GIF8")) return "GIF";
  return "unknown";
}

void add_keywords(Json& json, const P3gppTag& tag) {
  json["keywords"] = Json::array();
  for (uint32_t i = 0; i < tag.u.keywords.count; ++i) {
    Json keyword;
    add_text(keyword, "text", span_of(tag.u.keywords.list[i]));
    json["keywords"].push_back(keyword);
  }
}

void add_location(Json& json, const P3gppTag& tag) {
  const auto& place = tag.u.location;
  add_text(json, "text", span_of(tag.text));
  json["role"] = place.role;
  json["longitude"] = from_fixed(place.longitude);
  json["latitude"] = from_fixed(place.latitude);
  json["altitude"] = from_fixed(place.altitude);
  add_text(json, "astronomical_body", span_of(place.astronomical_body));
  add_text(json, "notes", span_of(place.notes));
}

void add_rating(Json& json, const P3gppTag& tag) {
  add_text(json, "text", span_of(tag.text));
  json["entity"] = type_text({tag.u.rating.entity, 4});
  json["criteria"] = type_text({tag.u.rating.criteria, 4});
}

void add_classification(Json& json, const P3gppTag& tag) {
  add_text(json, "text", span_of(tag.text));
  json["entity"] = tag.u.classification.entity;
  json["table"] = tag.u.classification.table_index;
}

// A flag in an item is a byte of its own, not text.
void add_compilation(Json& json, const P3gppTag& tag) {
  const bool is_flag = tag.text.length == 1 && tag.text.bytes[0] < 2;
  if (is_flag) {
    json["text"] = tag.text.bytes[0] == 1 ? "yes" : "no";
  } else {
    add_text(json, "text", span_of(tag.text));
  }
}

void add_value(Json& json, const P3gppTag& tag) {
  switch (tag.tag) {
    case P3GPP_TAG_RATING:
      return add_rating(json, tag);
    case P3GPP_TAG_CLASSIFICATION:
      return add_classification(json, tag);
    case P3GPP_TAG_KEYWORDS:
      return add_keywords(json, tag);
    case P3GPP_TAG_LOCATION:
      return add_location(json, tag);
    case P3GPP_TAG_YEAR:
      json["year"] = tag.u.year;
      return;
    case P3GPP_TAG_ITEM_TRACK:
    case P3GPP_TAG_ITEM_DISC:
      json["number"] = tag.u.position.number;
      json["total"] = tag.u.position.total;
      return;
    case P3GPP_TAG_ITEM_COVER:
      json["image"] = image_type(span_of(tag.text));
      json["bytes"] = tag.text.length;
      return;
    case P3GPP_TAG_ITEM_COMPILATION:
      return add_compilation(json, tag);
    default:
      add_text(json, "text", span_of(tag.text));
      if (tag.tag == P3GPP_TAG_ALBUM && tag.u.album_track != 0) json["track"] = tag.u.album_track;
  }
}

Json tag_json(const P3gppTag& tag) {
  Json json{{"tag", kTagNames[tag.tag - 1]}, {"type", type_text({tag.type, 4})}};
  const bool has_language = tag.tag <= P3GPP_TAG_ALBUM;
  if (has_language) json["language"] = language_text(tag.language);
  add_value(json, tag);
  return json;
}

Json id3_json(const P3gppId3Location& location) {
  const uint32_t language = (location.language[0] & 0x7FU) << 8 | location.language[1];
  return {{"tag", "ID3v2 tag"},
          {"type", "ID32"},
          {"language", language_text(language)},
          {"offset", location.offset},
          {"bytes", location.size}};
}

std::string value_text(const Json& value) {
  return value.is_string() ? printable(value.get<std::string>()) : value.dump();
}

// Keywords: their texts; all other arrays do not occur.
std::string keywords_text(const Json& keywords) {
  std::string text;
  for (const Json& keyword : keywords) {
    text.append(text.empty() ? "" : ", ").append(value_text(keyword["text"]));
  }
  return text;
}

std::string tag_line(const Json& tag) {
  std::string head = value_text(tag["tag"]) + " (" + value_text(tag["type"]);
  if (tag.contains("language")) head += ", " + value_text(tag["language"]);
  std::string text = tag.contains("text") ? value_text(tag["text"]) : "";
  for (const auto& [key, value] : tag.items()) {
    if (key == "tag" || key == "type" || key == "language" || key == "text" || key.ends_with("_hex"))
      continue;
    if (!text.empty()) text += ", ";
    text += key == "keywords" ? keywords_text(value) : key + " " + value_text(value);
  }
  return head + "): " + text;
}

// False when the file does not open. An image that is not there is empty.
bool read_cover(const std::string& file, std::vector<uint8_t>& image) {
  const ParsedFile parsed(file);
  if (parsed.status() != P3GPP_OK) return false;
  P3gppTag tag{};
  if (P3GPP_GetTag(parsed.file(), P3GPP_TAG_ITEM_COVER, &tag) != P3GPP_OK) return true;
  const auto bytes = span_of(tag.text);
  image.assign(bytes.begin(), bytes.end());
  return true;
}

}  // namespace

Json tags_json(const std::string& file) {
  if (is_aac_file(file)) return Id3Tags(file).json();
  Json tags = Json::array();
  if (!is_iso_media(file)) return tags;
  const ParsedFile parsed(file);
  if (parsed.status() != P3GPP_OK) return tags;
  for (uint32_t code = 1; code <= P3GPP_TAG_COUNT; ++code) {
    P3gppTag tag{};
    if (P3GPP_GetTag(parsed.file(), code, &tag) == P3GPP_OK) tags.push_back(tag_json(tag));
  }
  P3gppId3Location location{};
  if (P3GPP_GetId3Location(parsed.file(), &location) != P3GPP_OK) return tags;
  tags.push_back(id3_json(location));
  for (Json& tag : Id3Tags(file, location.offset, location.size).v2_json()) tags.push_back(std::move(tag));
  return tags;
}

std::vector<std::string> tag_lines(const Json& tags) {
  std::vector<std::string> lines;
  for (const Json& tag : tags) lines.push_back(tag_line(tag));
  return lines;
}

ExitCode save_cover(const std::string& file, const Options& options, Messages& messages) {
  if (options.cover.empty()) return ExitCode::kDone;
  std::vector<uint8_t> image;
  if (is_aac_file(file)) {
    image = Id3Tags(file).picture();
  } else if (is_iso_media(file) && !read_cover(file, image)) {
    return ExitCode::kCannotOpen;  // why has been told
  }
  if (image.empty()) {
    messages.error({file, "", "has no cover image", ""});
    return ExitCode::kNotSupported;
  }
  OutputFile output(options.cover, options.force);
  if (output.open() && output.write(image) && output.commit()) return ExitCode::kDone;
  messages.error({options.cover, "", output.error(), ""});
  return ExitCode::kCannotWrite;
}

}  // namespace zdr::host
