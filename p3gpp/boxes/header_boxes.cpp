// Parsers of mvhd, tkhd and mdhd, and the fields that they report. Version 1 has 64-bit times.
#include "p3gpp/boxes/header_boxes.h"

#include <algorithm>

#include "p3gpp/parse/box_fields.h"

namespace zdr::p3gpp {
namespace {

// A box body in memory. Offsets count from the version byte.
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

constexpr uint64_t kMaxReadOfHeader = 4096;

// Reads the body, which must hold the fields of its version; sets version and flags of `node`. What follows
// the first few KiB is skipped: it does not belong to the header, and may be 2 GiB of a sparse file.
std::vector<uint8_t> read_versioned_body(BoxReader& reader, BoxNode& node, size_t version_0_size,
                                         size_t version_1_size) {
  std::vector<uint8_t> body = reader.read_front(kMaxReadOfHeader);
  const size_t needed = !body.empty() && body[0] == 1 ? version_1_size : version_0_size;
  if (body.size() < needed) reader.fail(P3GPP_ERR_BOX_SIZE);
  if (reader.status() != P3GPP_OK) return {};
  node.version = body[0];
  std::copy_n(body.begin() + 1, 3, node.flags.begin());
  return body;
}

}  // namespace

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

void MvhdPayload::describe(const BoxNode& node, BoxFields& fields) const {
  fields.time("creation_time", creation_time, node.version);
  fields.time("modification_time", modification_time, node.version);
  fields.number("time_scale", time_scale);
  fields.time("duration", duration, node.version);
  fields.fixed("rate", rate);
  fields.fixed("volume", uint32_t{volume} << 8);
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
  // Kept: in version 1 these are read 4 bytes later, although its times make the box 12 bytes longer.
  const size_t shift = wide ? 4 : 0;
  payload->layer = body.u16(32 + shift);
  payload->alternate_group = body.u16(34 + shift);
  payload->volume = body.u16(36 + shift);
  payload->width = body.u16(76 + shift);
  payload->height = body.u16(80 + shift);
  node.payload = std::move(payload);
  return P3GPP_OK;
}

void TkhdPayload::describe(const BoxNode& node, BoxFields& fields) const {
  fields.time("creation_time", creation_time, node.version);
  fields.time("modification_time", modification_time, node.version);
  fields.number("track_id", track_id);
  fields.time("duration", duration, node.version);
  fields.number("layer", layer);
  fields.number("alternate_group", alternate_group);
  fields.fixed("volume", uint32_t{volume} << 8);
  fields.number("width", width);
  fields.number("height", height);
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

void MdhdPayload::describe(const BoxNode& node, BoxFields& fields) const {
  fields.time("creation_time", creation_time, node.version);
  fields.time("modification_time", modification_time, node.version);
  fields.number("time_scale", time_scale);
  fields.time("duration", duration, node.version);
  fields.language(language);
}

}  // namespace zdr::p3gpp
