// Builds files with tags, and formats each tag that the parser reports as text.
#pragma once

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

inline std::string joined(std::string text, const std::vector<uint64_t>& numbers) {
  for (const uint64_t number : numbers) text += "|" + std::to_string(number);
  return text;
}

// The value of the tag, its parts joined by "|".
inline std::string tag_value(const P3gppTag& tag) {
  const std::string text = text_of(tag.text);
  const auto& u = tag.u;
  std::string keywords = std::to_string(u.keywords.claimed_count);
  switch (tag.tag) {
    case P3GPP_TAG_KEYWORDS:
      for (uint32_t i = 0; i < u.keywords.count; ++i) keywords += "|" + text_of(u.keywords.list[i]);
      return keywords;
    case P3GPP_TAG_LOCATION:
      return joined(text, {u.location.role, u.location.longitude, u.location.latitude, u.location.altitude}) +
             "|" + text_of(u.location.astronomical_body) + "|" + text_of(u.location.notes);
    case P3GPP_TAG_ALBUM:
      return joined(text, {u.album_track});
    case P3GPP_TAG_ITEM_TRACK:
      return joined(text, {u.position.number, u.position.total});
    default:
      return text;
  }
}

// "titl=text, yrrc=1999": every tag of the file, in the order of the tag codes.
inline std::string all_tags(const OpenedMovie& movie) {
  std::string all;
  for (uint32_t code = 1; movie.file != nullptr && code <= P3GPP_TAG_COUNT; ++code) {
    P3gppTag tag{};
    if (P3GPP_GetTag(movie.file, code, &tag) != P3GPP_OK) continue;
    all += (all.empty() ? "" : ", ") + std::string(tag.type) + "=" + tag_value(tag);
  }
  return all;
}

}  // namespace zdr::test
