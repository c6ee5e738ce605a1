// Writes ISO base media boxes for tests: raw nesting for the odd cases, and one typed helper per box.
//
// Everything is a value: a box is the bytes it occupies, so boxes nest by concatenation and a test can damage
// any of them. movie_builder.h makes whole files from a description of their tracks.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <utility>
#include <vector>

namespace zdr::test {

using Bytes = std::vector<uint8_t>;

// Appends big-endian fields: Fields().u32(1).u16(2).bytes.
struct Fields {
  Bytes bytes;
  Fields& u8(uint64_t value) { return number(value, 1); }
  Fields& u16(uint64_t value) { return number(value, 2); }
  Fields& u24(uint64_t value) { return number(value, 3); }
  Fields& u32(uint64_t value) { return number(value, 4); }
  Fields& u64(uint64_t value) { return number(value, 8); }
  Fields& zeros(size_t count) { return append(Bytes(count)); }
  Fields& text(std::string_view text) { return append({text.begin(), text.end()}); }  // without terminator
  Fields& append(const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
    return *this;
  }
  Fields& number(uint64_t value, int byte_count) {
    for (int i = byte_count - 1; i >= 0; --i) bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
    return *this;
  }
};

// Fields of the given widths in bytes: numbers("412", {vendor, version, mode_set}).
inline Bytes numbers(std::string_view widths, const std::vector<uint64_t>& values) {
  Fields fields;
  for (size_t i = 0; i < widths.size(); ++i) fields.number(values.at(i), widths[i] - '0');
  return fields.bytes;
}

// Bit fields of one number, as pairs of width and value, the most significant first.
inline uint32_t bits(std::initializer_list<std::pair<int, uint32_t>> fields) {
  uint32_t all = 0;
  for (const auto& [width, value] : fields) all = all << width | value;
  return all;
}

inline Bytes concat(const std::vector<Bytes>& parts) {
  Fields all;
  for (const Bytes& part : parts) all.append(part);
  return all.bytes;
}

inline void store_be32(Bytes& bytes, size_t at, uint32_t value) {
  for (size_t i = 0; i < 4; ++i) bytes.at(at + i) = static_cast<uint8_t>(value >> (24 - 8 * i));
}

inline uint32_t load_be32(const Bytes& bytes, size_t at) {
  uint32_t value = 0;
  for (size_t i = 0; i < 4; ++i) value = value << 8 | bytes.at(at + i);
  return value;
}

// --- Raw boxes ---

inline Bytes box(std::string_view type, const Bytes& body = {}) {
  return Fields().u32(body.size() + 8).text(type).append(body).bytes;
}

inline Bytes box(std::string_view type, const std::vector<Bytes>& children) {
  return box(type, concat(children));
}

inline Bytes full_box(std::string_view type, uint32_t version, uint32_t flags, const Bytes& body = {}) {
  return box(type, Fields().u8(version).u24(flags).append(body).bytes);
}

// The 64-bit size form; a `claimed_size` of 0 means the true size.
inline Bytes large_box(std::string_view type, const Bytes& body, uint64_t claimed_size = 0) {
  const uint64_t size = claimed_size == 0 ? body.size() + 16 : claimed_size;
  return Fields().u32(1).text(type).u64(size).append(body).bytes;
}

// Returns the same bytes with another size in the header.
inline Bytes with_size(Bytes box, size_t claimed_size) {
  store_be32(box, 0, static_cast<uint32_t>(claimed_size));
  return box;
}

// A box header alone.
inline Bytes header(uint32_t size, std::string_view type) {
  return Fields().u32(size).text(type).bytes;
}

// --- File, movie and track level ---

inline Bytes ftyp(std::string_view brand = "isom", uint32_t minor_version = 512,
                  const std::vector<std::string_view>& compatible = {"isom"}) {
  Fields body;
  body.text(brand).u32(minor_version);
  for (const std::string_view each : compatible) body.text(each);
  return box("ftyp", body.bytes);
}

inline Bytes unity_matrix() {
  return Fields().u32(0x10000).zeros(12).u32(0x10000).zeros(12).u32(0x40000000).bytes;
}

// The fields of mvhd, tkhd and mdhd; each box has those that it knows. Version 1 writes times and durations
// as 64 bits.
struct HeaderFields {
  uint32_t version = 0;
  uint64_t creation_time = 0;
  uint64_t modification_time = 0;
  uint32_t track_id = 1;
  uint32_t time_scale = 1000;
  uint64_t duration = 0;
  uint32_t rate = 0x10000;
  uint16_t volume = 0x100;
  uint16_t language = 0x55C4;  // "und"
  uint16_t layer = 0;
  uint16_t alternate_group = 0;
  uint16_t width = 0;
  uint16_t height = 0;
};
inline Bytes header_box(std::string_view type, const HeaderFields& h, const Bytes& before_duration,
                        const Bytes& after_duration) {
  const int width = h.version == 1 ? 8 : 4;
  Fields body;
  body.number(h.creation_time, width).number(h.modification_time, width).append(before_duration);
  body.number(h.duration, width).append(after_duration);
  return full_box(type, h.version, type == "tkhd" ? 3 : 0, body.bytes);
}

inline Bytes mvhd(const HeaderFields& h = {}) {
  const Fields rest = Fields().u32(h.rate).u16(h.volume).zeros(10).append(unity_matrix()).zeros(24).u32(2);
  return header_box("mvhd", h, numbers("4", {h.time_scale}), rest.bytes);
}

inline Bytes tkhd(const HeaderFields& h = {}) {
  Fields rest;
  rest.zeros(8).u16(h.layer).u16(h.alternate_group).u16(h.volume).zeros(2).append(unity_matrix());
  rest.u16(h.width).zeros(2).u16(h.height).zeros(2);
  return header_box("tkhd", h, numbers("44", {h.track_id, 0}), rest.bytes);
}

inline Bytes mdhd(const HeaderFields& h = {}) {
  return header_box("mdhd", h, numbers("4", {h.time_scale}), numbers("22", {h.language, 0}));
}

inline Bytes hdlr(std::string_view handler_type, std::string_view name = "") {
  return full_box("hdlr", 0, 0, Fields().zeros(4).text(handler_type).zeros(12).text(name).u8(0).bytes);
}

struct Edit {
  uint64_t segment_duration = 0;
  int64_t media_time = 0;  // -1: an empty edit
};
inline Bytes elst(const std::vector<Edit>& edits, uint32_t version = 0) {
  Fields body;
  body.u32(edits.size());
  const int width = version == 1 ? 8 : 4;
  for (const Edit& edit : edits) {
    body.number(edit.segment_duration, width).number(static_cast<uint64_t>(edit.media_time), width);
    body.u32(0x10000);  // the rate
  }
  return full_box("elst", version, 0, body.bytes);
}

inline Bytes hmhd(uint16_t max_pdu_size, uint16_t average_pdu_size, uint32_t max_bitrate,
                  uint32_t average_bitrate) {
  return full_box("hmhd", 0, 0,
                  numbers("22444", {max_pdu_size, average_pdu_size, max_bitrate, average_bitrate, 0}));
}

inline Bytes url(bool self_contained, const Bytes& location = {}) {
  return full_box("url ", 0, self_contained ? 1 : 0, location);
}

inline Bytes urn(bool self_contained, const Bytes& name_and_location) {
  return full_box("urn ", 0, self_contained ? 1 : 0, name_and_location);
}

inline Bytes counted_table(std::string_view type, size_t true_count, const Bytes& entries,
                           int64_t claimed_count = -1) {
  const uint64_t count = claimed_count < 0 ? true_count : static_cast<uint64_t>(claimed_count);
  return full_box(type, 0, 0, Fields().u32(count).append(entries).bytes);
}

inline Bytes dref(const std::vector<Bytes>& entries, int64_t claimed_count = -1) {
  return counted_table("dref", entries.size(), concat(entries), claimed_count);
}

// With one self-contained reference.
inline Bytes dinf() {
  return box("dinf", dref({url(true)}));
}

// --- Sample tables ---
// A claimed count of -1 is the true one.

using Runs = std::vector<std::pair<uint32_t, uint32_t>>;  // (sample count, delta or offset)
struct ChunkRun {
  uint32_t first_chunk;
  uint32_t samples_per_chunk;
  uint32_t description_index = 1;
};
inline Bytes runs_table(std::string_view type, const Runs& runs, int64_t claimed_count) {
  Fields entries;
  for (const auto& [count, value] : runs) entries.u32(count).u32(value);
  return counted_table(type, runs.size(), entries.bytes, claimed_count);
}

inline Bytes stts(const Runs& runs, int64_t claimed_count = -1) {
  return runs_table("stts", runs, claimed_count);
}

inline Bytes ctts(const Runs& runs) {
  return runs_table("ctts", runs, -1);
}

template <typename Number>
Bytes number_table(std::string_view type, const std::vector<Number>& values, int width) {
  Fields entries;
  for (const Number value : values) entries.number(value, width);
  return counted_table(type, values.size(), entries.bytes);
}

inline Bytes stss(const std::vector<uint32_t>& samples) {
  return number_table("stss", samples, 4);
}

inline Bytes stco(const std::vector<uint64_t>& offsets) {
  return number_table("stco", offsets, 4);
}

inline Bytes co64(const std::vector<uint64_t>& offsets) {
  return number_table("co64", offsets, 8);
}

inline Bytes stsc(const std::vector<ChunkRun>& runs) {
  Fields entries;
  for (const auto& [first_chunk, samples, description] : runs)
    entries.u32(first_chunk).u32(samples).u32(description);
  return counted_table("stsc", runs.size(), entries.bytes);
}

inline Bytes stsz(const std::vector<uint32_t>& sizes, int64_t claimed_count = -1) {
  const uint64_t count = claimed_count < 0 ? sizes.size() : static_cast<uint64_t>(claimed_count);
  Fields body;
  body.u32(0).u32(count);
  for (const uint32_t size : sizes) body.u32(size);
  return full_box("stsz", 0, 0, body.bytes);
}

inline Bytes constant_stsz(uint32_t size, uint32_t sample_count) {
  return full_box("stsz", 0, 0, Fields().u32(size).u32(sample_count).bytes);
}

inline Bytes stsd(const std::vector<Bytes>& entries, int64_t claimed_count = -1) {
  return counted_table("stsd", entries.size(), concat(entries), claimed_count);
}

// --- Sample entries and codec configurations ---

inline Bytes video_entry(std::string_view type, uint16_t width, uint16_t height, const Bytes& children = {}) {
  Fields body;
  body.zeros(6).u16(1).zeros(16).u16(width).u16(height);
  body.u32(0x480000).u32(0x480000).zeros(4).u16(1).zeros(32).u16(24).u16(0xFFFF);
  return box(type, body.append(children).bytes);
}

// `sample_rate` in Hz; its upper half is lost in the 16.16 field, as in real files.
inline Bytes audio_entry(std::string_view type, uint16_t channels, uint32_t sample_rate,
                         const Bytes& children = {}, uint16_t sample_size = 16) {
  Fields body;
  body.zeros(6).u16(1).zeros(8).u16(channels).u16(sample_size).zeros(4).u16(sample_rate).u16(0);
  return box(type, body.append(children).bytes);
}

// For mp4s, text and rtp.
inline Bytes plain_entry(std::string_view type, const Bytes& children = {}) {
  return box(type, Fields().zeros(6).u16(1).append(children).bytes);
}

// Descriptor tag and size in one byte (or `size_bytes` of them), then the body.
inline Bytes descriptor(uint8_t tag, const Bytes& body, int size_bytes = 1) {
  Fields fields;
  fields.u8(tag);
  for (int i = size_bytes - 1; i >= 0; --i) fields.u8((body.size() >> (7 * i) & 0x7F) | (i > 0 ? 0x80u : 0u));
  return fields.append(body).bytes;
}

struct ElementaryStream {
  uint16_t es_id = 1;
  uint8_t flags = 0;
  Bytes optional_fields = {};  // what the flags announce
  uint8_t object_type = 0x40;
  uint8_t stream_type = 5;
  uint32_t max_bitrate = 0;
  uint32_t average_bitrate = 0;
  Bytes decoder_specific_info = {};  // empty: no such descriptor
  Bytes sl_config = {2};             // empty: no such descriptor
};
inline Bytes es_descriptor(const ElementaryStream& stream = {}) {
  Fields config;
  config.u8(stream.object_type).u8(stream.stream_type * 4u + 1).u24(0);
  config.u32(stream.max_bitrate).u32(stream.average_bitrate);
  if (!stream.decoder_specific_info.empty()) config.append(descriptor(5, stream.decoder_specific_info));
  Fields body;
  body.u16(stream.es_id).u8(stream.flags).append(stream.optional_fields).append(descriptor(4, config.bytes));
  if (!stream.sl_config.empty()) body.append(descriptor(6, stream.sl_config));
  return descriptor(3, body.bytes);
}

inline Bytes esds(const ElementaryStream& stream = {}) {
  return full_box("esds", 0, 0, es_descriptor(stream));
}

struct AvcConfiguration {
  uint8_t profile = 66;
  uint8_t profile_compatibility = 0xC0;
  uint8_t level = 30;
  uint8_t nal_length_size_minus_one = 3;
  std::vector<Bytes> sps = {};
  std::vector<Bytes> pps = {};
};
inline Bytes avcc(const AvcConfiguration& configuration) {
  Fields body;
  body.u8(1).u8(configuration.profile).u8(configuration.profile_compatibility).u8(configuration.level);
  body.u8(0xFCu | configuration.nal_length_size_minus_one).u8(0xE0 | configuration.sps.size());
  for (const Bytes& unit : configuration.sps) body.u16(unit.size()).append(unit);
  body.u8(configuration.pps.size());
  for (const Bytes& unit : configuration.pps) body.u16(unit.size()).append(unit);
  return box("avcC", body.bytes);
}

inline Bytes d263(uint32_t vendor, uint8_t decoder_version, uint8_t level, uint8_t profile,
                  const Bytes& children = {}) {
  return box("d263", {numbers("4111", {vendor, decoder_version, level, profile}), children});
}

inline Bytes bitr(uint32_t average_bitrate, uint32_t max_bitrate) {
  return box("bitr", numbers("44", {average_bitrate, max_bitrate}));
}

// damr; dvmr with its sampling frequency in place of the mode change period.
inline Bytes damr(uint32_t vendor, uint8_t decoder_version, uint16_t mode_set, uint8_t mode_change_period,
                  uint8_t frames_per_sample, std::string_view type = "damr") {
  return box(type,
             numbers("41211", {vendor, decoder_version, mode_set, mode_change_period, frames_per_sample}));
}

inline Bytes dawp(uint32_t vendor, uint8_t decoder_version) {
  return box("dawp", numbers("41", {vendor, decoder_version}));
}

// devc, decb, decw, dqcp, dsmv.
inline Bytes speech_configuration(std::string_view type, uint32_t vendor, uint8_t decoder_version,
                                  uint8_t frames_per_sample) {
  return box(type, numbers("411", {vendor, decoder_version, frames_per_sample}));
}

// fscod, bsid, bsmod, acmod, lfeon, bit_rate_code.
inline Bytes dac3(const std::array<uint32_t, 6>& f = {0, 8, 0, 2, 0, 10}) {
  return box(
      "dac3",
      numbers("3", {bits({{2, f[0]}, {5, f[1]}, {3, f[2]}, {3, f[3]}, {1, f[4]}, {5, f[5]}, {5, 0}})}));
}

struct Eac3Substream {
  uint8_t fscod = 0;
  uint8_t bsid = 16;
  uint8_t bsmod = 0;  // five bits
  uint8_t acmod = 2;
  uint8_t lfeon = 0;
  uint8_t num_dep_sub = 0;
  uint16_t channel_location = 0;  // nine bits
};
// A `claimed_field` of -1 means the number of substreams minus 1.
inline Bytes dec3(uint16_t data_rate, const std::vector<Eac3Substream>& substreams, int claimed_field = -1) {
  const size_t field = claimed_field < 0 ? substreams.size() - 1 : static_cast<size_t>(claimed_field);
  Fields body;
  body.u16(static_cast<size_t>(data_rate) << 3 | field);
  for (const Eac3Substream& s : substreams) {
    body.u16(bits({{2, s.fscod}, {5, s.bsid}, {5, s.bsmod}, {3, s.acmod}, {1, s.lfeon}}));
    const bool has_location = s.num_dep_sub != 0;
    body.u8(bits({{7, s.num_dep_sub}, {1, has_location ? s.channel_location >> 8 & 1u : 0u}}));
    if (has_location) body.u8(s.channel_location & 0xFF);
  }
  return box("dec3", body.bytes);
}

}  // namespace zdr::test
