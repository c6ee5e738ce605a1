// Parsers of item values, and the fields that they report.
#include "p3gpp/metadata/item_values.h"

#include "p3gpp/metadata/genre_names.h"
#include "p3gpp/parse/box_fields.h"

namespace zdr::p3gpp {
namespace {

constexpr uint32_t kDataPrefix = 8;  // data type and locale

}  // namespace

Status parse_text_item(BoxReader& reader, BoxNode& node) {
  if (reader.remaining() < kDataPrefix) return P3GPP_OK;
  reader.skip(kDataPrefix);
  auto payload = std::make_unique<ItemValuePayload>();
  payload->value = reader.read_rest_as_text();
  return store_payload(reader, node, std::move(payload));
}

Status parse_genre_item(BoxReader& reader, BoxNode& node) {
  // A value that does not have the length of a genre code is dropped.
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
  return store_payload(reader, node, std::move(payload));
}

Status parse_bytes_item(BoxReader& reader, BoxNode& node) {
  const Status status = parse_text_item(reader, node);
  auto* payload = payload_of<ItemValuePayload>(&node);
  if (payload != nullptr) payload->is_text = false;
  return status;
}

void ItemValuePayload::fill(P3gppTag& tag) const {
  tag.text = bytes_of(value);
}

void ItemValuePayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  if (is_text) {
    fields.text("value", value);
  } else {
    fields.bytes("value", value);
  }
}

void ItemNumberPayload::fill(P3gppTag& tag) const {
  tag.u.position.number = number;
  tag.u.position.total = total;
}

void ItemNumberPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("number", number);
  fields.number("total", total);
}

}  // namespace zdr::p3gpp
