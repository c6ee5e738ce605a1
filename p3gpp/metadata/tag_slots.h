// Where the tags of a movie are stored: the record of moov/udta with one slot per tag, and the base of the
// records in the slots.
//
// Texts are stored as the bytes of the file, UTF-8 or UTF-16 with a byte order mark, and not converted. A
// later box of the same kind replaces the earlier one.
#pragma once

#include <array>
#include <cstdint>

#include "p3gpp/p3gpp.h"
#include "p3gpp/parse/box_node.h"
#include "p3gpp/parse/box_rules.h"

namespace zdr::p3gpp {

// User data of the movie. The items of meta/ilst are stored beside the asset boxes.
struct MovieUdtaPayload final : BoxPayload {
  std::array<BoxSlot, P3GPP_TAG_COUNT> tags;  // by P3GPP_TAG_ code, from 1
};

// Base of the records in those slots.
struct TagPayload : BoxPayload {
  uint16_t language = 0;  // asset boxes: packed ISO 639-2/T, pad bit cleared; else 0
  // Fills the text and the union member of this kind of tag; the rest of `tag` is 0 already. Pointers point
  // into this record.
  virtual void fill(P3gppTag& tag) const = 0;
};

// Makes the row of a box that is stored in the slot of a tag.
template <uint32_t kTag>
constexpr ChildRule in_tag_slot(std::string_view type, BoxParser parse) {
  constexpr auto slot = [](BoxPayload& payload) -> BoxSlot& {
    return static_cast<MovieUdtaPayload&>(payload).tags[kTag - 1];
  };
  return {type, parse, ChildAction::kSlotIfPayload, slot};
}

}  // namespace zdr::p3gpp
