// The item list under moov/udta/meta: name and value pairs as iTunes writes them.
//
// An item is a box whose first child is a `data` atom: data type and locale (8 bytes), then the value. The
// list goes on behind the item's header and that first child, not behind the item: a further child is then
// taken for an item, of a type that is not known.
#include <algorithm>

#include "p3gpp/metadata/metadata_boxes.h"
#include "p3gpp/parse/box_rules.h"
#include "p3gpp/parse/box_view.h"
#include "p3gpp/parse/child_loop.h"

namespace zdr::p3gpp {
namespace {

constexpr uint32_t kDataPrefix = 8;  // data type and locale

bool has_type(const PathStep& box, std::string_view type) {
  return std::string_view(box.type.data(), 4) == type;
}

// The node of the user data, from that of the list or of anything between the two.
const BoxNode& user_data_of(const BoxNode& list) {
  return *list.parent->parent;
}

// Parses the value of an item, whose `data` header was just read, and keeps it in the slot of `row`.
Status keep_item(const ChildRule& row, BoxReader value, const PathStep& item, const BoxNode& list) {
  const BoxNode& udta = user_data_of(list);
  BoxSlot node;
  const Status status =
      parse_box(value, static_cast<uint32_t>(item.size), item, &udta, row.parse, Rest::kSkipped, node);
  // Values of another shape than expected have no payload: they are dropped.
  if (status == P3GPP_OK && node->payload != nullptr) row.slot(*udta.payload) = std::move(node);
  return status;
}

// Kept on purpose: the child is bounded by the list, not by its item.
Status read_item_child_header(BoxReader& reader, const BoxNode& list, const PathStep& item, PathStep& child) {
  const TrailScope scope(reader.context().trail, item);
  return read_child_header(reader, list, child);
}

// Ends an item of which nothing is kept: shows it, or blames it for the reader's error.
Status drop_item(BoxReader& reader, const PathStep& item) {
  if (reader.status() != P3GPP_OK) return refuse_child(reader.context(), item, reader.status());
  show_unread_box(reader.context(), item, P3GPP_OK);
  return P3GPP_OK;
}

Status read_item(const ChildRule& row, BoxReader& reader, const BoxNode& list, const PathStep& item) {
  PathStep child;
  const Status status = read_item_child_header(reader, list, item, child);
  if (status != P3GPP_OK) return refuse_child(reader.context(), item, status);
  if (!has_type(child, "data")) {
    reader.skip(child.size - kBoxHeaderSize);
    return drop_item(reader, item);
  }
  return keep_item(row, reader.narrowed(child.size - kBoxHeaderSize), item, list);
}

// ---- Free-form items --------------------------------------------------------------------------------------

PathStep read_atom_header(BoxReader& reader, const PathStep& item) {
  PathStep atom;
  atom.offset = item.offset + (item.size - reader.remaining());
  const auto header = reader.read_array<kBoxHeaderSize>();
  atom.size = load_be32(header.data());
  std::copy_n(header.begin() + 4, 4, atom.type.begin());
  return atom;
}

// Behind the header of a `name` atom. Kept on purpose: its first four characters decide, whatever it holds
// beside.
bool read_is_gracenote(BoxReader& reader) {
  constexpr std::string_view kName = "gnid";
  if (reader.remaining() < 8) return false;
  const auto bytes = reader.read_array<8>();  // version and flags, four characters
  return std::equal(bytes.begin() + 4, bytes.end(), kName.begin());
}

constexpr ChildRule kGracenote{"gnid", parse_text_item, Keep::kSlotIfPayload,
                               tag_slot<P3GPP_TAG_ITEM_GRACENOTE>};

Status refuse_atom_size(BoxReader& reader, const PathStep& item, const PathStep& atom) {
  {
    const TrailScope scope(reader.context().trail, item);
    refuse_child(reader.context(), atom, P3GPP_ERR_BOX_SIZE);
  }
  return refuse_child(reader.context(), item, P3GPP_ERR_BOX_SIZE);
}

// Keeps the value in an item's `data` atom, whose header was just read; the item is known by its name then.
Status keep_gracenote(BoxReader& reader, const BoxNode& list, const PathStep& item, const PathStep& atom) {
  PathStep named = item;
  kGracenote.type.copy(named.type.data(), 4);
  const Status status = keep_item(kGracenote, reader.narrowed(atom.size - kBoxHeaderSize), named, list);
  if (status != P3GPP_OK) return status;
  reader.skip_to_end();
  return reader.status();
}

// `mean`, `name` and `data` atoms: whose name space, which name, and the value. One name is known; the rest
// of an item with another does not matter.
Status read_freeform_item(BoxReader reader, const BoxNode& list, const PathStep& item) {
  bool is_gracenote = false;
  while (reader.remaining() >= kBoxHeaderSize && reader.status() == P3GPP_OK) {
    const PathStep atom = read_atom_header(reader, item);
    const bool is_name = has_type(atom, "name");
    const bool is_value = is_gracenote && has_type(atom, "data");
    // Kept on purpose: of an unknown atom only these 8 bytes are passed over, whatever size they tell.
    if (!is_value && !is_name && !has_type(atom, "mean")) continue;
    if (atom.size < kBoxHeaderSize || atom.size - kBoxHeaderSize > reader.remaining()) {
      return refuse_atom_size(reader, item, atom);
    }
    if (is_value) return keep_gracenote(reader, list, item, atom);
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

Status parse_text_item(BoxReader& reader, BoxNode& node) {
  if (reader.remaining() < kDataPrefix) return P3GPP_OK;
  reader.skip(kDataPrefix);
  auto payload = std::make_unique<ItemValuePayload>();
  payload->value = reader.read_rest_as_text();
  return keep_payload(reader, node, std::move(payload));
}

Status parse_genre_item(BoxReader& reader, BoxNode& node) {
  // Kept on purpose: a value of any other length than that of a code is dropped.
  if (reader.remaining() != kDataPrefix + 2) return P3GPP_OK;
  reader.skip(kDataPrefix);
  const std::string_view name = genre_name(reader.u16());
  if (reader.status() != P3GPP_OK || name.empty()) return reader.status();
  auto payload = std::make_unique<ItemValuePayload>();
  payload->value = name;
  node.payload = std::move(payload);
  return P3GPP_OK;
}

Status parse_number_item(BoxReader& reader, BoxNode& node) {
  constexpr uint32_t kReserved = 2;
  if (reader.remaining() < kDataPrefix + kReserved + 2) return P3GPP_OK;
  reader.skip(kDataPrefix + kReserved);
  auto payload = std::make_unique<ItemNumberPayload>();
  payload->number = reader.u16();
  if (reader.remaining() >= 2) payload->total = reader.u16();
  return keep_payload(reader, node, std::move(payload));
}

Status parse_bytes_item(BoxReader& reader, BoxNode& node) {
  const Status status = parse_text_item(reader, node);
  if (auto* payload = payload_of<ItemValuePayload>(&node)) payload->is_text = false;
  return status;
}

Status parse_item_list(BoxReader& reader, BoxNode& node) {
  while (reader.remaining() != 0) {
    PathStep item;
    Status status = read_child_header(reader, node, item);
    if (status != P3GPP_OK) return status;
    const ChildRule* row = find_child_rule(kItemListRule, item);
    if (has_type(item, "----")) {
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

// Kept on purpose: whatever goes wrong in here has one status, which fails the open.
Status parse_user_meta(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  Status status = reader.status();
  if (status == P3GPP_OK) status = parse_children(kUserMetaRule, reader, node);
  if (status == P3GPP_OK) return P3GPP_OK;
  reader.context().trail.record(status);
  return P3GPP_ERR_GENERIC;
}

}  // namespace zdr::p3gpp
