#include "tests/support/box_builder.h"

namespace zdr::test {
namespace {

Bytes table(std::string_view type, size_t true_count, int64_t claimed_count, const Bytes& entries) {
  const uint64_t count = claimed_count < 0 ? true_count : static_cast<uint64_t>(claimed_count);
  return full_box(type, 0, 0, Fields().u32(count).append(entries).bytes);
}

Bytes runs_table(std::string_view type, const Runs& runs, int64_t claimed_count) {
  Fields entries;
  for (const auto& [count, value] : runs) entries.u32(count).u32(value);
  return table(type, runs.size(), claimed_count, entries.bytes);
}

// Creation and modification time, and what stands between them and the duration.
Fields times(uint32_t version, uint64_t creation, uint64_t modification) {
  const int width = version == 1 ? 8 : 4;
  return Fields().number(creation, width).number(modification, width);
}

Bytes unity_matrix() {
  return Fields().u32(0x10000).zeros(12).u32(0x10000).zeros(12).u32(0x40000000).bytes;
}

}  // namespace

Fields& Fields::zeros(size_t count) {
  bytes.insert(bytes.end(), count, uint8_t{0});
  return *this;
}

Fields& Fields::text(std::string_view text) {
  for (const char character : text) bytes.push_back(static_cast<uint8_t>(character));
  return *this;
}

Fields& Fields::append(const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
  return *this;
}

Fields& Fields::number(uint64_t value, int byte_count) {
  for (int i = byte_count - 1; i >= 0; --i) bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
  return *this;
}

Bytes concat(const std::vector<Bytes>& parts) {
  Fields all;
  for (const Bytes& part : parts) all.append(part);
  return all.bytes;
}

void store_be32(Bytes& bytes, size_t at, uint32_t value) {
  for (size_t i = 0; i < 4; ++i) bytes.at(at + i) = static_cast<uint8_t>(value >> (24 - 8 * i));
}

uint32_t load_be32(const Bytes& bytes, size_t at) {
  uint32_t value = 0;
  for (size_t i = 0; i < 4; ++i) value = value << 8 | bytes.at(at + i);
  return value;
}

Bytes header(uint32_t size, std::string_view type) {
  return Fields().u32(size).text(type).bytes;
}

Bytes box(std::string_view type, const Bytes& body) {
  return Fields().u32(body.size() + 8).text(type).append(body).bytes;
}

Bytes box(std::string_view type, const std::vector<Bytes>& children) {
  return box(type, concat(children));
}

Bytes full_box(std::string_view type, uint32_t version, uint32_t flags, const Bytes& body) {
  return box(type, Fields().u8(version).u24(flags).append(body).bytes);
}

Bytes large_box(std::string_view type, const Bytes& body, uint64_t claimed_size) {
  const uint64_t size = claimed_size == 0 ? body.size() + 16 : claimed_size;
  return Fields().u32(1).text(type).u64(size).append(body).bytes;
}

Bytes with_size(Bytes box, uint32_t claimed_size) {
  store_be32(box, 0, claimed_size);
  return box;
}

Bytes ftyp(std::string_view brand, uint32_t minor_version, const std::vector<std::string_view>& compatible) {
  Fields body;
  body.text(brand).u32(minor_version);
  for (const std::string_view each : compatible) body.text(each);
  return box("ftyp", body.bytes);
}

Bytes mvhd(const MovieHeader& fields) {
  Fields body = times(fields.version, fields.creation_time, fields.modification_time);
  body.u32(fields.time_scale).number(fields.duration, fields.version == 1 ? 8 : 4);
  body.u32(fields.rate).u16(fields.volume).zeros(10).append(unity_matrix()).zeros(24).u32(2);
  return full_box("mvhd", fields.version, 0, body.bytes);
}

Bytes tkhd(const TrackHeader& fields) {
  Fields body = times(fields.version, fields.creation_time, fields.modification_time);
  body.u32(fields.track_id).zeros(4).number(fields.duration, fields.version == 1 ? 8 : 4).zeros(8);
  body.u16(fields.layer).u16(fields.alternate_group).u16(fields.volume).zeros(2).append(unity_matrix());
  body.u16(fields.width).zeros(2).u16(fields.height).zeros(2);
  return full_box("tkhd", fields.version, 3, body.bytes);
}

Bytes mdhd(const MediaHeader& fields) {
  Fields body = times(fields.version, fields.creation_time, fields.modification_time);
  body.u32(fields.time_scale).number(fields.duration, fields.version == 1 ? 8 : 4);
  return full_box("mdhd", fields.version, 0, body.u16(fields.language).zeros(2).bytes);
}

Bytes hdlr(std::string_view handler_type, std::string_view name) {
  return full_box("hdlr", 0, 0, Fields().zeros(4).text(handler_type).zeros(12).text(name).u8(0).bytes);
}

Bytes elst(const std::vector<Edit>& edits, uint32_t version) {
  Fields body;
  body.u32(edits.size());
  const int width = version == 1 ? 8 : 4;
  for (const Edit& edit : edits) {
    body.number(edit.segment_duration, width).number(static_cast<uint64_t>(edit.media_time), width);
    body.u16(edit.rate_integer).u16(edit.rate_fraction);
  }
  return full_box("elst", version, 0, body.bytes);
}

Bytes vmhd() {
  return full_box("vmhd", 0, 1, Fields().zeros(8).bytes);
}
Bytes smhd() {
  return full_box("smhd", 0, 0, Fields().zeros(4).bytes);
}

Bytes hmhd(uint16_t max_pdu_size, uint16_t average_pdu_size, uint32_t max_bitrate, uint32_t average_bitrate) {
  Fields body;
  body.u16(max_pdu_size).u16(average_pdu_size).u32(max_bitrate).u32(average_bitrate).zeros(4);
  return full_box("hmhd", 0, 0, body.bytes);
}

Bytes url(bool self_contained, const Bytes& location) {
  return full_box("url ", 0, self_contained ? 1 : 0, location);
}

Bytes urn(bool self_contained, const Bytes& name_and_location) {
  return full_box("urn ", 0, self_contained ? 1 : 0, name_and_location);
}

Bytes dref(const std::vector<Bytes>& entries, int64_t claimed_count) {
  return table("dref", entries.size(), claimed_count, concat(entries));
}

Bytes dinf() {
  return box("dinf", dref({url(true)}));
}

Bytes stts(const Runs& runs, int64_t claimed_count) {
  return runs_table("stts", runs, claimed_count);
}
Bytes ctts(const Runs& runs, int64_t claimed_count) {
  return runs_table("ctts", runs, claimed_count);
}

Bytes stss(const std::vector<uint32_t>& samples, int64_t claimed_count) {
  Fields entries;
  for (const uint32_t sample : samples) entries.u32(sample);
  return table("stss", samples.size(), claimed_count, entries.bytes);
}

Bytes stsc(const std::vector<ChunkRun>& runs, int64_t claimed_count) {
  Fields entries;
  for (const ChunkRun& run : runs)
    entries.u32(run.first_chunk).u32(run.samples_per_chunk).u32(run.description_index);
  return table("stsc", runs.size(), claimed_count, entries.bytes);
}

Bytes stsz(const std::vector<uint32_t>& sizes, int64_t claimed_count) {
  const uint64_t count = claimed_count < 0 ? sizes.size() : static_cast<uint64_t>(claimed_count);
  Fields body;
  body.u32(0).u32(count);
  for (const uint32_t size : sizes) body.u32(size);
  return full_box("stsz", 0, 0, body.bytes);
}

Bytes constant_stsz(uint32_t size, uint32_t sample_count) {
  return full_box("stsz", 0, 0, Fields().u32(size).u32(sample_count).bytes);
}

Bytes stco(const std::vector<uint64_t>& offsets, int64_t claimed_count) {
  Fields entries;
  for (const uint64_t offset : offsets) entries.u32(offset);
  return table("stco", offsets.size(), claimed_count, entries.bytes);
}

Bytes co64(const std::vector<uint64_t>& offsets, int64_t claimed_count) {
  Fields entries;
  for (const uint64_t offset : offsets) entries.u64(offset);
  return table("co64", offsets.size(), claimed_count, entries.bytes);
}

Bytes stsd(const std::vector<Bytes>& entries, int64_t claimed_count) {
  return table("stsd", entries.size(), claimed_count, concat(entries));
}

}  // namespace zdr::test
