// Parsers of dref, url and urn, and the fields that they report.
#include "p3gpp/boxes/data_references.h"

#include <algorithm>

#include "p3gpp/parse/box_fields.h"
#include "p3gpp/parse/child_loop.h"

namespace zdr::p3gpp {
namespace {

bool is_self_contained(const BoxNode& node) {
  return (node.flags[2] & 1) != 0;
}

Status parse_url(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  auto payload = std::make_unique<UrlPayload>();
  payload->self_contained = is_self_contained(node);
  if (!payload->self_contained) payload->location = reader.read_bytes(reader.remaining());
  return store_payload(reader, node, std::move(payload));
}

Status parse_urn(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  auto payload = std::make_unique<UrnPayload>();
  payload->self_contained = is_self_contained(node);
  payload->name = reader.read_bytes(reader.remaining());
  const auto terminator = std::find(payload->name.begin(), payload->name.end(), uint8_t{0});
  const auto location = terminator == payload->name.end() ? terminator : terminator + 1;
  payload->location_offset = static_cast<size_t>(location - payload->name.begin());
  return store_payload(reader, node, std::move(payload));
}

constexpr std::array kDrefChildren{
    ChildRule{"url ", parse_url, ChildAction::kList},
    ChildRule{"urn ", parse_urn, ChildAction::kList},
};
constinit const ContainerRule kDrefRule{.type = "dref",
                                        .children = kDrefChildren,
                                        .make_payload = make_payload<DrefPayload>,
                                        .list = PayloadMember<&DrefPayload::entries>::get};

}  // namespace

Status parse_dref(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  const uint32_t entry_count = reader.u32();
  if (reader.status() != P3GPP_OK) return reader.status();
  node.payload = kDrefRule.make_payload();
  auto* payload = payload_of<DrefPayload>(&node);
  payload->entry_count = entry_count;
  const Status status = parse_children(kDrefRule, reader, node);
  if (status == P3GPP_OK && payload->entries.size() > entry_count) payload->entries.resize(entry_count);
  return status;
}

void DrefPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("entry_count", entry_count);
}

void UrlPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("self_contained", self_contained);
  if (!self_contained) fields.bytes("location", location);
}

void UrnPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("self_contained", self_contained);
  const std::span<const uint8_t> whole(name);
  fields.bytes("name", whole.first(location_offset));
  fields.bytes("location", whole.subspan(location_offset));
}

}  // namespace zdr::p3gpp
