// Reads the tags of the parser into records, with one function per kind of value.
#include "host/inspect/tags/file_tags.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>
#include <utility>

#include "filters/source/mp4/interfaces/source_kind.h"
#include "host/memory.h"
#include "host/text/decoded_text.h"

namespace zdr::host {
namespace {

// By P3GPP_TAG_ code, from 1.
constexpr std::array<const char*, P3GPP_TAG_COUNT> kTagNames = {
    "title",  "description", "copyright",      "performer",   "author",
    "genre",  "rating",      "classification", "keywords",    "location",
    "album",  "year",        "name",           "compilation", "album",
    "artist", "copyright",   "writer",         "description", "album artist",
    "genre",  "track",       "disc",           "cover",       "gracenote id",
    "date"};

Bytes span_of(const P3gppBytes& bytes) {
  return {bytes.bytes, bytes.length};
}

Field text_field(const P3gppBytes& bytes) {
  return {"text", text_view(span_of(bytes))};
}

Field number_field(const char* name, uint64_t value) {
  return {name, value};
}

struct ImageType {
  std::string_view magic;
  const char* name;
  const char* extension;
};

ImageType image_type(Bytes image) {
  constexpr ImageType kTypes[] = {{"\xFF\xD8\xFF", "JPEG", ".jpg"},
                                  {"\x89PNG", "PNG", ".png"},
                                  {"BM", "BMP", ".bmp"},
                                  {"GIF8", "GIF", ".gif"}};
  for (const ImageType& type : kTypes) {
    const Bytes magic = as_bytes(type.magic);
    if (image.size() >= magic.size() && std::ranges::equal(magic, image.first(magic.size()))) return type;
  }
  return {"", "unknown", ".img"};
}

Fields keyword_fields(const P3gppTag& tag) {
  std::vector<TextView> list;
  for (uint32_t i = 0; i < tag.u.keywords.count; ++i)
    list.push_back(text_view(span_of(tag.u.keywords.list[i])));
  return {{"keywords", std::move(list)}};
}

Fields location_fields(const P3gppTag& tag) {
  const auto& place = tag.u.location;
  return {text_field(tag.text),
          number_field("role", place.role),
          {"longitude", from_fixed(place.longitude)},
          {"latitude", from_fixed(place.latitude)},
          {"altitude", from_fixed(place.altitude)},
          {"astronomical_body", text_view(span_of(place.astronomical_body))},
          {"notes", text_view(span_of(place.notes))}};
}

// The flag is the byte 0 or 1, not text.
Fields compilation_fields(const P3gppTag& tag) {
  const bool is_flag = tag.text.length == 1 && tag.text.bytes[0] < 2;
  if (!is_flag) return {text_field(tag.text)};
  return {{"text", std::string(tag.text.bytes[0] == 1 ? "yes" : "no")}};
}

Fields fields_of(const P3gppTag& tag) {
  switch (tag.tag) {
    case P3GPP_TAG_RATING:
      return {text_field(tag.text),
              {"entity", type_text({tag.u.rating.entity, 4})},
              {"criteria", type_text({tag.u.rating.criteria, 4})}};
    case P3GPP_TAG_CLASSIFICATION:
      return {text_field(tag.text), number_field("entity", tag.u.classification.entity),
              number_field("table", tag.u.classification.table_index)};
    case P3GPP_TAG_KEYWORDS:
      return keyword_fields(tag);
    case P3GPP_TAG_LOCATION:
      return location_fields(tag);
    case P3GPP_TAG_ALBUM:
      if (tag.u.album_track == 0) return {text_field(tag.text)};
      return {text_field(tag.text), number_field("track", tag.u.album_track)};
    case P3GPP_TAG_YEAR:
      return {number_field("year", tag.u.year)};
    case P3GPP_TAG_ITEM_TRACK:
    case P3GPP_TAG_ITEM_DISC:
      return {number_field("number", tag.u.position.number), number_field("total", tag.u.position.total)};
    case P3GPP_TAG_ITEM_COVER:
      return {{"image", std::string(image_type(span_of(tag.text)).name)},
              number_field("size", tag.text.length)};
    case P3GPP_TAG_ITEM_COMPILATION:
      return compilation_fields(tag);
    default:
      return {text_field(tag.text)};
  }
}

std::vector<TagRecord> movie_tags(const ParsedMovie& movie) {
  std::vector<TagRecord> tags;
  for (uint32_t code = 1; code <= P3GPP_TAG_COUNT; ++code) {
    P3gppTag tag{};
    if (with_memory(P3GPP_GetTag(movie.file(), code, &tag), P3GPP_ERR_NO_MEMORY) != P3GPP_OK) continue;
    const bool has_language = code <= P3GPP_TAG_ALBUM;
    tags.push_back({kTagNames[code - 1], type_text({tag.type, 4}),
                    has_language ? language_text(tag.language) : "", fields_of(tag)});
  }
  return tags;
}

Bytes movie_cover(const ParsedMovie& movie) {
  P3gppTag tag{};
  return P3GPP_GetTag(movie.file(), P3GPP_TAG_ITEM_COVER, &tag) == P3GPP_OK ? span_of(tag.text) : Bytes();
}

TagRecord id3_location_record(const P3gppId3Location& location) {
  const uint32_t language = (location.language[0] & 0x7FU) << 8 | location.language[1];
  return {
      "ID3v2 tag", "ID32", language_text(language), {{"offset", location.offset}, {"size", location.size}}};
}

}  // namespace

FileTags::FileTags(const std::string& file, const ParsedMovie* movie)
    : movie_(movie != nullptr && movie->is_open() ? movie : nullptr) {
  if (mp4source::source_kind_of(file) == mp4source::SOURCE_KIND_AAC)
    id3_ = std::make_unique<const Id3Tags>(file);
  P3gppId3Location location{};
  if (movie_ == nullptr || P3GPP_GetId3Location(movie_->file(), &location) != P3GPP_OK) return;
  id3_location_ = id3_location_record(location);
  id3_ = std::make_unique<const Id3Tags>(file, location.offset, location.size);
}

std::vector<TagRecord> FileTags::records() const {
  if (movie_ == nullptr) return id3_ ? id3_->records() : std::vector<TagRecord>();
  std::vector<TagRecord> records = movie_tags(*movie_);
  if (!id3_) return records;
  records.push_back(id3_location_);
  std::vector<TagRecord> inside = id3_->v2_records();
  std::move(inside.begin(), inside.end(), std::back_inserter(records));
  return records;
}

Bytes FileTags::cover() const {
  if (movie_ != nullptr) return movie_cover(*movie_);
  return id3_ ? id3_->picture() : Bytes();
}

const char* FileTags::cover_extension() const {
  return image_type(cover()).extension;
}

}  // namespace zdr::host
