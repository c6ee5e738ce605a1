// File type, movie, track and media headers, handler, edit list, and the kept but uninterpreted boxes.
#include "p3gpp/boxes/leaf_boxes.h"

#include <algorithm>

namespace zdr::p3gpp {
namespace {

constexpr uint32_t kMaxBrandBytes = 128;  // 32 compatible brands
constexpr uint32_t kElstEntrySize = 12;
constexpr uint32_t kHmhdSize = 28;

// A box body held in memory, read at fixed offsets from the version byte on.
class BodyView {
 public:
  explicit BodyView(const std::vector<uint8_t>& bytes) : bytes_(bytes) {}
  uint16_t u16(size_t offset) const { return load_be16(bytes_.data() + offset); }
  uint32_t u32(size_t offset) const { return load_be32(bytes_.data() + offset); }
  // A time of 32 bits, or of 64 bits in version 1 boxes.
  FileTime time(size_t offset, bool is_64_bit) const {
    return is_64_bit ? FileTime{u32(offset), u32(offset + 4)} : FileTime{u32(offset), 0};
  }

 private:
  const std::vector<uint8_t>& bytes_;
};

// Reads the whole body, which must hold the fields of its version; sets version and flags of `node`.
std::vector<uint8_t> read_versioned_body(BoxReader& reader, BoxNode& node, size_t version_0_size,
                                         size_t version_1_size) {
  std::vector<uint8_t> body = reader.read_bytes(reader.remaining());
  const size_t needed = !body.empty() && body[0] == 1 ? version_1_size : version_0_size;
  if (body.size() < needed) reader.fail(P3GPP_ERR_BOX_SIZE);
  if (reader.status() != P3GPP_OK) return {};
  node.version = body[0];
  std::copy_n(body.begin() + 1, 3, node.flags.begin());
  return body;
}

}  // namespace

Status parse_ftyp(BoxReader& reader, BoxNode& node) {
  if (node.size == kBoxHeaderSize) return P3GPP_OK;
  constexpr uint32_t kFixedSize = 16;
  // Kept on purpose: more brands are an error, and so is a size below 16, which wraps in 32 bits.
  const uint32_t brand_bytes = node.size - kFixedSize;
  if (brand_bytes > kMaxBrandBytes) return reader.fail(P3GPP_ERR_READ);
  auto payload = std::make_unique<FtypPayload>();
  const auto fixed = reader.read_array<8>();
  std::copy_n(fixed.begin(), 4, payload->major_brand.begin());
  std::copy_n(fixed.begin() + 4, 4, payload->minor_version.begin());
  const std::vector<uint8_t> brands = reader.read_bytes(brand_bytes);
  payload->compatible_brands.assign(brands.begin(), brands.end());
  return keep_payload(reader, node, std::move(payload));
}

Status parse_mvhd(BoxReader& reader, BoxNode& node) {
  const std::vector<uint8_t> bytes = read_versioned_body(reader, node, 26, 38);
  if (reader.status() != P3GPP_OK) return reader.status();
  const bool wide = node.version == 1;
  const BodyView body(bytes);
  auto payload = std::make_unique<MvhdPayload>();
  payload->creation_time = body.time(4, wide);
  payload->modification_time = body.time(wide ? 12 : 8, wide);
  payload->time_scale = body.u32(wide ? 20 : 12);
  payload->duration = body.time(wide ? 24 : 16, wide);
  payload->rate = body.u32(wide ? 32 : 20);
  payload->volume = body.u16(wide ? 36 : 24);
  node.payload = std::move(payload);
  return P3GPP_OK;
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

Status parse_tkhd(BoxReader& reader, BoxNode& node) {
  const std::vector<uint8_t> bytes = read_versioned_body(reader, node, 82, 86);
  if (reader.status() != P3GPP_OK) return reader.status();
  const bool wide = node.version == 1;
  const BodyView body(bytes);
  auto payload = std::make_unique<TkhdPayload>();
  payload->creation_time = body.time(4, wide);
  payload->modification_time = body.time(wide ? 12 : 8, wide);
  payload->track_id = body.u32(wide ? 20 : 12);
  payload->duration = body.time(wide ? 28 : 20, wide);
  // Kept on purpose: version 1 takes these 4 bytes later, although its times make the box 12 bytes longer.
  const size_t shift = wide ? 4 : 0;
  payload->layer = body.u16(32 + shift);
  payload->alternate_group = body.u16(34 + shift);
  payload->volume = body.u16(36 + shift);
  payload->width = body.u16(76 + shift);
  payload->height = body.u16(80 + shift);
  node.payload = std::move(payload);
  return P3GPP_OK;
}

Status parse_tref(BoxReader& reader, BoxNode& node) {
  auto payload = std::make_unique<TrefPayload>();
  payload->bytes = reader.read_bytes(reader.remaining());
  return keep_payload(reader, node, std::move(payload));
}

Status parse_elst(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  const uint32_t count = reader.u32();
  if (reader.status() != P3GPP_OK) return reader.status();
  // Kept on purpose: entries are 12 bytes also in version 1 boxes, whose entries are longer; the rest is
  // skipped.
  const uint64_t entry_bytes = uint64_t{count} * kElstEntrySize;
  if (entry_bytes > reader.remaining()) return reader.fail(P3GPP_ERR_READ);
  const std::vector<uint8_t> bytes = reader.read_bytes(entry_bytes);
  if (reader.status() != P3GPP_OK) return reader.status();
  auto payload = std::make_unique<ElstPayload>();
  payload->entries.reserve(count);
  for (const uint8_t* at = bytes.data(); payload->entries.size() < count; at += kElstEntrySize) {
    payload->entries.push_back({load_be32(at), load_be32(at + 4), load_be16(at + 8), load_be16(at + 10)});
  }
  node.payload = std::move(payload);
  return P3GPP_OK;
}

Status parse_mdhd(BoxReader& reader, BoxNode& node) {
  const std::vector<uint8_t> bytes = read_versioned_body(reader, node, 22, 34);
  if (reader.status() != P3GPP_OK) return reader.status();
  const bool wide = node.version == 1;
  const BodyView body(bytes);
  auto payload = std::make_unique<MdhdPayload>();
  payload->creation_time = body.time(4, wide);
  payload->modification_time = body.time(wide ? 12 : 8, wide);
  payload->time_scale = body.u32(wide ? 20 : 12);
  payload->duration = body.time(wide ? 24 : 16, wide);
  payload->language = body.u16(wide ? 32 : 20);
  node.payload = std::move(payload);
  return P3GPP_OK;
}

Status parse_hdlr(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  const auto fields = reader.read_array<8>();  // pre-defined, handler type
  auto payload = std::make_unique<HdlrPayload>();
  std::copy_n(fields.begin() + 4, 4, payload->handler_type.begin());
  return keep_payload(reader, node, std::move(payload));
}

Status parse_hmhd(BoxReader& reader, BoxNode& node) {
  // Kept on purpose: no other size is taken, not even a longer one.
  if (node.size != kHmhdSize) return reader.fail(P3GPP_ERR_BOX_SIZE);
  reader.read_full_box_header(node);
  const auto fields = reader.read_array<12>();
  auto payload = std::make_unique<HmhdPayload>();
  payload->max_pdu_size = load_be16(fields.data());
  payload->average_pdu_size = load_be16(fields.data() + 2);
  payload->max_bitrate = load_be32(fields.data() + 4);
  payload->average_bitrate = load_be32(fields.data() + 8);
  return keep_payload(reader, node, std::move(payload));
}

}  // namespace zdr::p3gpp
