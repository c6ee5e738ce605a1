// Sample entries and codec configuration boxes of box_builder.h.
#include "tests/support/box_builder.h"

namespace zdr::test {

Bytes video_entry(std::string_view type, uint16_t width, uint16_t height, const Bytes& children) {
  Fields body;
  body.zeros(6).u16(1).zeros(16).u16(width).u16(height);
  body.u32(0x480000).u32(0x480000).zeros(4).u16(1).zeros(32).u16(24).u16(0xFFFF);
  return box(type, body.append(children).bytes);
}

Bytes audio_entry(std::string_view type, uint16_t channels, uint32_t sample_rate, const Bytes& children,
                  uint16_t sample_size) {
  Fields body;
  body.zeros(6).u16(1).zeros(8).u16(channels).u16(sample_size).zeros(4).u16(sample_rate).u16(0);
  return box(type, body.append(children).bytes);
}

Bytes plain_entry(std::string_view type, const Bytes& children) {
  return box(type, Fields().zeros(6).u16(1).append(children).bytes);
}

Bytes descriptor(uint8_t tag, const Bytes& body, int size_bytes) {
  Fields fields;
  fields.u8(tag);
  for (int i = size_bytes - 1; i >= 0; --i) fields.u8((body.size() >> (7 * i) & 0x7F) | (i > 0 ? 0x80u : 0u));
  return fields.append(body).bytes;
}

Bytes es_descriptor(const ElementaryStream& stream) {
  Fields config;
  config.u8(stream.object_type).u8(stream.stream_type * 4u + 1).u24(0);
  config.u32(stream.max_bitrate).u32(stream.average_bitrate);
  if (!stream.decoder_specific_info.empty()) config.append(descriptor(5, stream.decoder_specific_info));
  Fields body;
  body.u16(stream.es_id).u8(stream.flags).append(stream.optional_fields).append(descriptor(4, config.bytes));
  if (!stream.sl_config.empty()) body.append(descriptor(6, stream.sl_config));
  return descriptor(3, body.bytes);
}

Bytes esds_of(const Bytes& descriptor_bytes) {
  return full_box("esds", 0, 0, descriptor_bytes);
}
Bytes esds(const ElementaryStream& stream) {
  return esds_of(es_descriptor(stream));
}

Bytes avcc(const AvcConfiguration& configuration) {
  Fields body;
  body.u8(1).u8(configuration.profile).u8(configuration.profile_compatibility).u8(configuration.level);
  body.u8(0xFCu | configuration.nal_length_size_minus_one).u8(0xE0 | configuration.sps.size());
  for (const Bytes& unit : configuration.sps) body.u16(unit.size()).append(unit);
  body.u8(configuration.pps.size());
  for (const Bytes& unit : configuration.pps) body.u16(unit.size()).append(unit);
  return box("avcC", body.bytes);
}

Bytes d263(uint32_t vendor, uint8_t decoder_version, uint8_t level, uint8_t profile, const Bytes& children) {
  return box("d263", Fields().u32(vendor).u8(decoder_version).u8(level).u8(profile).append(children).bytes);
}

Bytes bitr(uint32_t average_bitrate, uint32_t max_bitrate) {
  return box("bitr", Fields().u32(average_bitrate).u32(max_bitrate).bytes);
}

Bytes damr(uint32_t vendor, uint8_t decoder_version, uint16_t mode_set, uint8_t mode_change_period,
           uint8_t frames_per_sample, std::string_view type) {
  Fields body;
  body.u32(vendor).u8(decoder_version).u16(mode_set).u8(mode_change_period).u8(frames_per_sample);
  return box(type, body.bytes);
}

Bytes dawp(uint32_t vendor, uint8_t decoder_version) {
  return box("dawp", Fields().u32(vendor).u8(decoder_version).bytes);
}

Bytes speech_configuration(std::string_view type, uint32_t vendor, uint8_t decoder_version,
                           uint8_t frames_per_sample) {
  return box(type, Fields().u32(vendor).u8(decoder_version).u8(frames_per_sample).bytes);
}

Bytes dac3(const Ac3Configuration& configuration) {
  uint32_t bits = configuration.fscod;
  bits = bits << 5 | configuration.bsid;
  bits = bits << 3 | configuration.bsmod;
  bits = bits << 3 | configuration.acmod;
  bits = bits << 1 | configuration.lfeon;
  bits = bits << 5 | configuration.bit_rate_code;
  return box("dac3", Fields().u24(bits << 5).bytes);
}

Bytes dec3(uint16_t data_rate, const std::vector<Eac3Substream>& substreams, int claimed_field) {
  const size_t field = claimed_field < 0 ? substreams.size() - 1 : static_cast<size_t>(claimed_field);
  Fields body;
  body.u16(static_cast<size_t>(data_rate) << 3 | field);
  for (const Eac3Substream& each : substreams) {
    uint32_t bits = each.fscod;
    bits = bits << 5 | each.bsid;
    bits = bits << 5 | each.bsmod;
    bits = bits << 3 | each.acmod;
    body.u16(bits << 1 | each.lfeon);
    const uint32_t location_top_bit = each.num_dep_sub != 0 ? each.channel_location >> 8 & 1u : 0u;
    body.u8(uint32_t{each.num_dep_sub} << 1 | location_top_bit);
    if (each.num_dep_sub != 0) body.u8(each.channel_location & 0xFF);
  }
  return box("dec3", body.bytes);
}

}  // namespace zdr::test
