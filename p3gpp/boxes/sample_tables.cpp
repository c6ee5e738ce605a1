// Parsers of the table headers, and the fields that they report. The entries stay in the file.
#include "p3gpp/boxes/sample_tables.h"

#include "p3gpp/parse/box_fields.h"

namespace zdr::p3gpp {
namespace {

// Box header, version and flags, entry count.
constexpr uint32_t kTableHeaderSize = 16;
// The same, with the default size before the count.
constexpr uint32_t kStszHeaderSize = 20;

// A count larger than the box is accepted here: it still bounds the sample numbers, and reading a missing
// entry fails later.
template <typename Payload>
Status parse_table(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  const uint32_t entry_count = reader.u32();
  if (reader.status() != P3GPP_OK) return reader.status();
  auto payload = std::make_unique<Payload>();
  payload->cursor =
      TableCursor(node.offset + kTableHeaderSize, entry_count, Payload::Entry::kSize, reader.remaining());
  node.payload = std::move(payload);
  return P3GPP_OK;
}

}  // namespace

Status parse_stts(BoxReader& reader, BoxNode& node) {
  return parse_table<SttsPayload>(reader, node);
}

Status parse_ctts(BoxReader& reader, BoxNode& node) {
  return parse_table<CttsPayload>(reader, node);
}

Status parse_stss(BoxReader& reader, BoxNode& node) {
  const Status status = parse_table<StssPayload>(reader, node);
  if (status != P3GPP_OK) return status;
  if (payload_of<StssPayload>(&node)->cursor.entry_count() == 0) node.payload.reset();
  return P3GPP_OK;
}

Status parse_stsc(BoxReader& reader, BoxNode& node) {
  return parse_table<StscPayload>(reader, node);
}

Status parse_stco(BoxReader& reader, BoxNode& node) {
  return parse_table<StcoPayload>(reader, node);
}

Status parse_co64(BoxReader& reader, BoxNode& node) {
  return parse_table<Co64Payload>(reader, node);
}

Status parse_stsh(BoxReader& reader, BoxNode& node) {
  return parse_table<StshPayload>(reader, node);
}

Status parse_stsz(BoxReader& reader, BoxNode& node) {
  if (reader.remaining() < kStszHeaderSize - kBoxHeaderSize) return reader.fail(P3GPP_ERR_NO_TABLE);
  reader.read_full_box_header(node);
  auto payload = std::make_unique<StszPayload>();
  payload->default_size = reader.u32();
  payload->sample_count = reader.u32();
  if (reader.status() != P3GPP_OK) return reader.status();
  if (payload->default_size == 0) {
    if (reader.remaining() < uint64_t{payload->sample_count} * Number32Entry::kSize) {
      return reader.fail(P3GPP_ERR_NO_TABLE);
    }
    payload->cursor = TableCursor(node.offset + kStszHeaderSize, payload->sample_count, Number32Entry::kSize,
                                  reader.remaining());
  }
  node.payload = std::move(payload);
  return P3GPP_OK;
}

void AnyTablePayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("entry_count", cursor.entry_count());
}

void StszPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("default_size", default_size);
  fields.number("sample_count", sample_count);
}

}  // namespace zdr::p3gpp
