// Files with tags, and what the parser tells of them.
#ifndef ZDR_TESTS_P3GPP_TAGGED_MOVIE_H
#define ZDR_TESTS_P3GPP_TAGGED_MOVIE_H

#include <string>
#include <vector>

#include "opened_movie.h"
#include "tests/support/metadata_builder.h"

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

struct Tag {
  Tag(const OpenedMovie& movie, uint32_t code) : status(P3GPP_GetTag(movie.file, code, &fields)) {}
  std::string text() const { return text_of(fields.text); }

  P3gppTag fields{};
  int32_t status;
};

// Text of the tag, or "-" without one.
inline std::string tag_text(const OpenedMovie& movie, uint32_t code) {
  const Tag tag(movie, code);
  return tag.status == P3GPP_OK ? tag.text() : "-";
}

}  // namespace zdr::test

#endif
