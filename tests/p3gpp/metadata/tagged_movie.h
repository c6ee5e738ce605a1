// Files with tags, and what the parser tells of them as one text a tag.
#ifndef ZDR_TESTS_P3GPP_TAGGED_MOVIE_H
#define ZDR_TESTS_P3GPP_TAGGED_MOVIE_H

#include <string>
#include <vector>

#include "mediakit/boxes/metadata_builder.h"
#include "tests/p3gpp/opened_movie.h"

namespace zdr::test {

// A file whose movie box holds user data.
inline Bytes with_user_data(const Bytes& children) {
  return concat({ftyp(), box("moov", {mvhd(), box("udta", children)})});
}
inline Bytes with_items(const std::vector<Bytes>& items) {
  return with_user_data(item_list_meta(items));
}

inline std::string text_of(const P3gppBytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.bytes), bytes.length};
}

// What the tag has beside type and language, parts joined by "|".
inline std::string tag_value(const P3gppTag& tag) {
  std::string all = text_of(tag.text);
  const auto add = [&](const std::string& part) { all += "|" + part; };
  const auto& location = tag.u.location;
  switch (tag.tag) {
    case P3GPP_TAG_RATING:
      return all + "|" + tag.u.rating.entity + "|" + tag.u.rating.criteria;
    case P3GPP_TAG_CLASSIFICATION:
      for (const uint32_t number : {tag.u.classification.entity, uint32_t{tag.u.classification.table_index}})
        add(std::to_string(number));
      return all;
    case P3GPP_TAG_KEYWORDS:
      for (uint32_t i = 0; i < tag.u.keywords.count; ++i) add(text_of(tag.u.keywords.list[i]));
      return std::to_string(tag.u.keywords.claimed_count) + all;
    case P3GPP_TAG_LOCATION:
      for (const uint32_t number :
           {uint32_t{location.role}, location.longitude, location.latitude, location.altitude})
        add(std::to_string(number));
      return all + "|" + text_of(location.astronomical_body) + "|" + text_of(location.notes);
    case P3GPP_TAG_ALBUM:
      return all + "|" + std::to_string(tag.u.album_track);
    case P3GPP_TAG_YEAR:
      return std::to_string(tag.u.year);
    case P3GPP_TAG_ITEM_TRACK:
    case P3GPP_TAG_ITEM_DISC:
      return std::to_string(tag.u.position.number) + "/" + std::to_string(tag.u.position.total);
    default:
      return all;
  }
}

// "titl=text" of every tag that the file has, in the order of their codes.
inline std::vector<std::string> all_tags(const OpenedMovie& movie) {
  std::vector<std::string> all;
  for (uint32_t code = 1; movie.file != nullptr && code <= P3GPP_TAG_COUNT; ++code) {
    P3gppTag tag{};
    if (P3GPP_GetTag(movie.file, code, &tag) != P3GPP_OK) continue;
    all.push_back(std::string(tag.type) + "=" + tag_value(tag));
  }
  return all;
}

}  // namespace zdr::test

#endif
