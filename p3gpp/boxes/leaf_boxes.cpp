// Parsers of ftyp, iods, tref, elst, hdlr and hmhd, and the fields that they report.
#include "p3gpp/boxes/leaf_boxes.h"

#include <algorithm>

#include "p3gpp/parse/box_fields.h"

namespace zdr::p3gpp {
namespace {

constexpr uint32_t kMaxBrandBytes = 128;  // 32 compatible brands
constexpr uint32_t kHmhdSize = 28;

}  // namespace

Status parse_ftyp(BoxReader& reader, BoxNode& node) {
  if (node.size == kBoxHeaderSize) return P3GPP_OK;
  constexpr uint32_t kFixedSize = 16;
  // Kept: more brands are an error, and so is a size below 16, which wraps in 32 bits.
  const uint32_t brand_bytes = node.size - kFixedSize;
  if (brand_bytes > kMaxBrandBytes) return reader.fail(P3GPP_ERR_READ);
  auto payload = std::make_unique<FtypPayload>();
  const auto fixed = reader.read_array<8>();
  std::copy_n(fixed.begin(), 4, payload->major_brand.begin());
  std::copy_n(fixed.begin() + 4, 4, payload->minor_version.begin());
  const std::vector<uint8_t> brands = reader.read_bytes(brand_bytes);
  payload->compatible_brands.assign(brands.begin(), brands.end());
  return store_payload(reader, node, std::move(payload));
}

void FtypPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.text("major_brand", {major_brand.data(), major_brand.size()});
  fields.number("minor_version", load_be32(minor_version.data()));
  fields.text("compatible_brands", {compatible_brands.data(), compatible_brands.size()});
}

Status parse_iods(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  std::vector<uint8_t> bytes = reader.read_bytes(reader.remaining());
  if (reader.status() != P3GPP_OK || bytes.empty()) return reader.status();
  auto payload = std::make_unique<IodsPayload>();
  payload->bytes = std::move(bytes);
  node.payload = std::move(payload);
  return P3GPP_OK;
}

void IodsPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.bytes("object_descriptor", bytes);
}

Status parse_tref(BoxReader& reader, BoxNode& node) {
  auto payload = std::make_unique<TrefPayload>();
  payload->bytes = reader.read_bytes(reader.remaining());
  return store_payload(reader, node, std::move(payload));
}

void TrefPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.bytes("references", bytes);
}

Status parse_elst(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  const uint32_t count = reader.u32();
  if (reader.status() != P3GPP_OK) return reader.status();
  // Kept: entries are read as 12 bytes in version 1 too, where they are longer; the rest is skipped.
  const uint64_t entry_bytes = uint64_t{count} * ElstEntry::kSize;
  if (entry_bytes > reader.remaining()) return reader.fail(P3GPP_ERR_READ);
  auto payload = std::make_unique<ElstPayload>();
  payload->bytes = reader.read_bytes(entry_bytes);
  return store_payload(reader, node, std::move(payload));
}

ElstEntry ElstPayload::entry(size_t index) const {
  const uint8_t* at = bytes.data() + index * ElstEntry::kSize;
  return {load_be32(at), load_be32(at + 4), load_be16(at + 8), load_be16(at + 10)};
}

void ElstPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("entry_count", entry_count());
  for (size_t i = 0; i < entry_count(); ++i) {
    const ElstEntry edit = entry(i);
    fields.next_entry();
    fields.number("segment_duration", edit.segment_duration);
    fields.integer("media_time", static_cast<int32_t>(edit.media_time));  // -1: an empty edit
    fields.fixed("media_rate", uint32_t{edit.media_rate_integer} << 16 | edit.media_rate_fraction);
  }
}

Status parse_hdlr(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  const auto fields = reader.read_array<8>();  // pre-defined, handler type
  auto payload = std::make_unique<HdlrPayload>();
  std::copy_n(fields.begin() + 4, 4, payload->handler_type.begin());
  return store_payload(reader, node, std::move(payload));
}

void HdlrPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.type("handler_type", handler_type);
}

Status parse_hmhd(BoxReader& reader, BoxNode& node) {
  // Kept: no other size is accepted, not even a larger one.
  if (node.size != kHmhdSize) return reader.fail(P3GPP_ERR_BOX_SIZE);
  reader.read_full_box_header(node);
  const auto fields = reader.read_array<12>();
  auto payload = std::make_unique<HmhdPayload>();
  payload->max_pdu_size = load_be16(fields.data());
  payload->average_pdu_size = load_be16(fields.data() + 2);
  payload->max_bitrate = load_be32(fields.data() + 4);
  payload->average_bitrate = load_be32(fields.data() + 8);
  return store_payload(reader, node, std::move(payload));
}

void HmhdPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("max_pdu_size", max_pdu_size);
  fields.number("average_pdu_size", average_pdu_size);
  fields.number("max_bit_rate", max_bitrate);
  fields.number("average_bit_rate", average_bitrate);
}

}  // namespace zdr::p3gpp
