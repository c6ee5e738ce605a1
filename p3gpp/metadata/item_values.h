// The values of the items in moov/udta/meta/ilst, iTunes-style tags: texts, genre codes, numbers, raw bytes.
//
// Each parser starts just past the header of the item's `data` atom, and its reader ends with that atom. A
// value of an unexpected shape yields no payload.
#pragma once

#include <cstdint>
#include <string>

#include "p3gpp/metadata/tag_slots.h"
#include "p3gpp/parse/box_reader.h"

namespace zdr::p3gpp {

// The value of an item: text, a genre name, an image, or a flag.
struct ItemValuePayload final : TagPayload {
  std::string value;
  bool is_text = true;
  void fill(P3gppTag& tag) const override;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

// trkn and disk.
struct ItemNumberPayload final : TagPayload {
  uint16_t number = 0;
  uint16_t total = 0;
  void fill(P3gppTag& tag) const override;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

Status parse_text_item(BoxReader& reader, BoxNode& node);
// A 16-bit genre code, stored as its name.
Status parse_genre_item(BoxReader& reader, BoxNode& node);
// trkn and disk.
Status parse_number_item(BoxReader& reader, BoxNode& node);
// cpil and covr.
Status parse_bytes_item(BoxReader& reader, BoxNode& node);

}  // namespace zdr::p3gpp
