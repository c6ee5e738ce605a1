// Parses the item list.
//
// An item is a box whose first child is a `data` atom: data type and locale (8 bytes), then the value.
#include "p3gpp/metadata/item_list.h"

#include <algorithm>

#include "p3gpp/metadata/item_values.h"
#include "p3gpp/metadata/tag_slots.h"
#include "p3gpp/parse/box_view.h"
#include "p3gpp/parse/child_loop.h"

namespace zdr::p3gpp {
namespace {

// The types of the classic text items begin with the copyright sign, \251: in octal, since a hexadecimal
// escape would extend into the letters.
constexpr std::array kItems{
    in_tag_slot<P3GPP_TAG_ITEM_NAME>("\251nam", parse_text_item),
    in_tag_slot<P3GPP_TAG_ITEM_COMPILATION>("cpil", parse_bytes_item),
    in_tag_slot<P3GPP_TAG_ITEM_ALBUM>("\251alb", parse_text_item),
    // Kept: both spellings share a slot, as both forms of the genre do.
    in_tag_slot<P3GPP_TAG_ITEM_ARTIST>("\251ART", parse_text_item),
    in_tag_slot<P3GPP_TAG_ITEM_ARTIST>("\251art", parse_text_item),
    in_tag_slot<P3GPP_TAG_ITEM_COPYRIGHT>("cprt", parse_text_item),
    in_tag_slot<P3GPP_TAG_ITEM_WRITER>("\251wrt", parse_text_item),
    in_tag_slot<P3GPP_TAG_ITEM_DESCRIPTION>("desc", parse_text_item),
    in_tag_slot<P3GPP_TAG_ITEM_ALBUM_ARTIST>("aART", parse_text_item),
    in_tag_slot<P3GPP_TAG_ITEM_GENRE>("\251gen", parse_text_item),
    in_tag_slot<P3GPP_TAG_ITEM_GENRE>("gnre", parse_genre_item),
    in_tag_slot<P3GPP_TAG_ITEM_TRACK>("trkn", parse_number_item),
    in_tag_slot<P3GPP_TAG_ITEM_DISC>("disk", parse_number_item),
    in_tag_slot<P3GPP_TAG_ITEM_COVER>("covr", parse_bytes_item),
    // "gnid" is the name of a free-form item; an item with this type is skipped.
    in_tag_slot<P3GPP_TAG_ITEM_GRACENOTE>("gnid", nullptr),
    in_tag_slot<P3GPP_TAG_ITEM_DATE>("\251day", parse_text_item),
};

// Returns the user data node, two levels above `list`.
const BoxNode& user_data_of(const BoxNode& list) {
  return *list.parent->parent;
}

// Parses the value of an item, whose `data` header was just read, and stores it in the slot of `row`.
Status store_item(const ChildRule& row, BoxReader value, const PathStep& item, const BoxNode& list) {
  const BoxNode& udta = user_data_of(list);
  BoxSlot node;
  const Status status =
      parse_box(value, static_cast<uint32_t>(item.size), item, &udta, row.parse, Rest::kSkipped, node);
  // A value of an unexpected shape has no payload and is dropped.
  if (status == P3GPP_OK && node->payload) row.slot(*udta.payload) = std::move(node);
  return status;
}

// Kept: the child is bounded by the list, not by its item, and the list continues after that child. A further
// child is read as an item of unknown type.
Status read_item_child_header(BoxReader& reader, const BoxNode& list, const PathStep& item, PathStep& child) {
  const TrailScope scope(reader.context().trail, item);
  return read_child_header(reader, list, child);
}

// Ends an item that stores nothing: shows it as skipped, or records the reader's error for it.
Status drop_item(BoxReader& reader, const PathStep& item) {
  if (reader.status() != P3GPP_OK) return refuse_child(reader.context(), item, reader.status());
  show_unread_box(reader.context(), item, P3GPP_OK);
  return P3GPP_OK;
}

Status read_item(const ChildRule& row, BoxReader& reader, const BoxNode& list, const PathStep& item) {
  PathStep child;
  const Status status = read_item_child_header(reader, list, item, child);
  if (status != P3GPP_OK) return refuse_child(reader.context(), item, status);
  if (!child.is("data")) {
    reader.skip(child.size - kBoxHeaderSize);
    return drop_item(reader, item);
  }
  return store_item(row, reader.narrowed(child.size - kBoxHeaderSize), item, list);
}

// --- Free-form items ---

PathStep read_atom_header(BoxReader& reader, const PathStep& item) {
  PathStep atom;
  atom.offset = item.offset + (item.size - reader.remaining());
  const auto header = reader.read_array<kBoxHeaderSize>();
  atom.size = load_be32(header.data());
  std::copy_n(header.begin() + 4, 4, atom.type.begin());
  return atom;
}

// Reads the start of the body of a `name` atom. True if the name begins with "gnid".
bool read_is_gracenote(BoxReader& reader) {
  constexpr std::string_view kName = "gnid";
  if (reader.remaining() < 8) return false;
  const auto bytes = reader.read_array<8>();  // version and flags, four characters
  return std::equal(bytes.begin() + 4, bytes.end(), kName.begin());
}

constexpr ChildRule kGracenote = in_tag_slot<P3GPP_TAG_ITEM_GRACENOTE>("gnid", parse_text_item);

Status refuse_atom_size(BoxReader& reader, const PathStep& item, const PathStep& atom) {
  {
    const TrailScope scope(reader.context().trail, item);
    refuse_child(reader.context(), atom, P3GPP_ERR_BOX_SIZE);
  }
  return refuse_child(reader.context(), item, P3GPP_ERR_BOX_SIZE);
}

// Stores the value in a free-form item's `data` atom, whose header was just read. Its node is named "gnid".
Status store_gracenote(BoxReader& reader, const BoxNode& list, const PathStep& item, const PathStep& atom) {
  PathStep named = item;
  kGracenote.type.copy(named.type.data(), 4);
  const Status status = store_item(kGracenote, reader.narrowed(atom.size - kBoxHeaderSize), named, list);
  if (status != P3GPP_OK) return status;
  reader.skip_to_end();
  return reader.status();
}

// Reads `mean`, `name` and `data` atoms: name space, name and value. Only items named "gnid" are stored; the
// rest of any other is skipped.
Status read_freeform_item(BoxReader reader, const BoxNode& list, const PathStep& item) {
  bool is_gracenote = false;
  while (reader.remaining() >= kBoxHeaderSize && reader.status() == P3GPP_OK) {
    const PathStep atom = read_atom_header(reader, item);
    const bool is_name = atom.is("name");
    const bool is_value = is_gracenote && atom.is("data");
    // Kept: only the 8 header bytes of an unknown atom are skipped, regardless of its size.
    if (!is_value && !is_name && !atom.is("mean")) continue;
    if (atom.size < kBoxHeaderSize || atom.size - kBoxHeaderSize > reader.remaining()) {
      return refuse_atom_size(reader, item, atom);
    }
    if (is_value) return store_gracenote(reader, list, item, atom);
    if (is_name) {
      is_gracenote = read_is_gracenote(reader);
      if (!is_gracenote) break;
    } else {
      reader.skip(atom.size - kBoxHeaderSize);
    }
  }
  reader.skip_to_end();
  return drop_item(reader, item);
}

}  // namespace

constinit const ContainerRule kItemListRule{.type = "ilst", .children = kItems};

namespace {

Status parse_item_list(BoxReader& reader, BoxNode& node) {
  while (reader.remaining() != 0) {
    PathStep item;
    Status status = read_child_header(reader, node, item);
    if (status != P3GPP_OK) return status;
    const ChildRule* row = find_child_rule(kItemListRule, item);
    if (item.is("----")) {
      status = read_freeform_item(reader.narrowed(item.size - kBoxHeaderSize), node, item);
    } else if (row != nullptr && row->parse != nullptr) {
      status = read_item(*row, reader, node, item);
    } else {
      status = skip_child(reader, item);
    }
    if (status != P3GPP_OK) return status;
  }
  return P3GPP_OK;
}

constexpr std::array kUserMetaChildren{
    ChildRule{"ilst", parse_item_list, ChildAction::kNothing},
    ChildRule{"meta", nullptr, ChildAction::kOpensInPlace},
};

constinit const ContainerRule kUserMetaRule{.type = "meta", .children = kUserMetaChildren};

}  // namespace

// Kept: every failure inside this box returns P3GPP_ERR_GENERIC and fails the open.
Status parse_user_meta(BoxReader& reader, BoxNode& node) {
  // Kept: always a full box. The QuickTime form without version and flags is misread and fails.
  reader.read_full_box_header(node);
  Status status = reader.status();
  if (status == P3GPP_OK) status = parse_children(kUserMetaRule, reader, node);
  if (status == P3GPP_OK) return P3GPP_OK;
  reader.context().trail.record(status);
  return P3GPP_ERR_GENERIC;
}

}  // namespace zdr::p3gpp
