// Parsers of the codec configuration boxes, and the fields that they report.
#include "p3gpp/boxes/codec_boxes.h"

#include <array>

#include "p3gpp/parse/box_fields.h"
#include "p3gpp/parse/child_loop.h"

namespace zdr::p3gpp {
namespace {

// kbit/s by bit rate code (ETSI TS 102 366, table F.4.1).
constexpr std::array<uint16_t, 19> kAc3BitRates = {32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                                                   192, 224, 256, 320, 384, 448, 512, 576, 640};

// Reads a box that follows the fixed fields of d263: the bitrates, if it is bitr.
void read_d263_child(BoxReader& reader, const BoxNode& node, D263Payload& payload) {
  PathStep child;
  if (const Status status = read_child_header(reader, node, child); status != P3GPP_OK) {
    reader.fail(status);
    return;
  }
  if (!child.is("bitr")) {
    reader.fail(skip_child(reader, child));
    return;
  }
  BoxReader body = reader.narrowed(child.size - kBoxHeaderSize);
  const auto bitrates = body.read_array<8>();
  payload.average_bitrate = load_be32(bitrates.data());
  payload.max_bitrate = load_be32(bitrates.data() + 4);
  body.skip_to_end();
  reader.fail(body.status());
}

P3gppEac3Substream read_eac3_substream(BoxReader& reader) {
  const uint16_t bits = reader.u16();
  P3gppEac3Substream substream{};
  substream.fscod = static_cast<uint8_t>(bits >> 14);
  substream.bsid = bits >> 9 & 0x1F;
  substream.bsmod = bits >> 4 & 0x1F;
  substream.acmod = bits >> 1 & 7;
  substream.lfeon = bits & 1;
  const uint8_t dependents = reader.u8();
  substream.num_dep_sub = dependents >> 1 & 0xF;
  if (substream.num_dep_sub != 0) {
    substream.channel_location = static_cast<uint16_t>((dependents & 1) << 8 | reader.u8());
  }
  return substream;
}

// The fields that AC-3 and a substream of E-AC-3 share.
template <typename Stream>
void describe_ac3_stream(const Stream& stream, BoxFields& fields) {
  fields.number("fscod", stream.fscod);
  fields.number("bsid", stream.bsid);
  fields.number("bsmod", stream.bsmod);
  fields.number("acmod", stream.acmod);
  fields.number("lfeon", stream.lfeon);
}

}  // namespace

Status parse_esds(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  auto payload = std::make_unique<EsdsPayload>();
  payload->descriptors = reader.read_bytes(reader.remaining());
  return store_payload(reader, node, std::move(payload));
}

void EsdsPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.bytes("descriptors", descriptors);
}

Status parse_avcc(BoxReader& reader, BoxNode& node) {
  const auto fixed = reader.read_array<5>();  // the first byte is the configuration version
  auto payload = std::make_unique<AvccPayload>();
  payload->profile = fixed[1];
  payload->profile_compatibility = fixed[2];
  payload->level = fixed[3];
  payload->nal_length_size_minus_one = fixed[4] & 3;
  payload->parameter_sets = reader.read_bytes(reader.remaining());
  return store_payload(reader, node, std::move(payload));
}

void AvccPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("profile", profile);
  fields.number("profile_compatibility", profile_compatibility);
  fields.number("level", level);
  fields.number("nal_length_size", nal_length_size_minus_one + 1U);
  fields.bytes("parameter_sets", parameter_sets);
}

Status parse_d263(BoxReader& reader, BoxNode& node) {
  const auto fields = reader.read_array<7>();
  auto payload = std::make_unique<D263Payload>();
  payload->vendor = load_be32(fields.data());
  payload->decoder_version = fields[4];
  payload->level = fields[5];
  payload->profile = fields[6];
  while (reader.status() == P3GPP_OK && reader.remaining() != 0) read_d263_child(reader, node, *payload);
  return store_payload(reader, node, std::move(payload));
}

void D263Payload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("vendor", vendor);
  fields.number("decoder_version", decoder_version);
  fields.number("level", level);
  fields.number("profile", profile);
  fields.number("average_bit_rate", average_bitrate);
  fields.number("max_bit_rate", max_bitrate);
}

Status parse_amr(BoxReader& reader, BoxNode& node) {
  const auto fields = reader.read_array<9>();
  auto payload = std::make_unique<AmrPayload>();
  payload->vendor = load_be32(fields.data());
  payload->decoder_version = fields[4];
  payload->mode_set = load_be16(fields.data() + 5);
  payload->mode_change_period = fields[7];
  payload->frames_per_sample = fields[8];
  return store_payload(reader, node, std::move(payload));
}

void AmrPayload::describe(const BoxNode& node, BoxFields& fields) const {
  fields.number("vendor", vendor);
  fields.number("decoder_version", decoder_version);
  fields.number("mode_set", mode_set);
  fields.number(node.is("dvmr") ? "media_sampling_frequency" : "mode_change_period", mode_change_period);
  fields.number("frames_per_sample", frames_per_sample);
}

Status parse_amr_wb_plus(BoxReader& reader, BoxNode& node) {
  const auto fields = reader.read_array<5>();
  auto payload = std::make_unique<AmrWbPlusPayload>();
  payload->vendor = load_be32(fields.data());
  payload->decoder_version = fields[4];
  return store_payload(reader, node, std::move(payload));
}

void AmrWbPlusPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("vendor", vendor);
  fields.number("decoder_version", decoder_version);
}

Status parse_speech_3gpp2(BoxReader& reader, BoxNode& node) {
  const auto fields = reader.read_array<6>();
  auto payload = std::make_unique<Speech3gpp2Payload>();
  payload->vendor = load_be32(fields.data());
  payload->decoder_version = fields[4];
  payload->frames_per_sample = fields[5];
  return store_payload(reader, node, std::move(payload));
}

void Speech3gpp2Payload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("vendor", vendor);
  fields.number("decoder_version", decoder_version);
  fields.number("frames_per_sample", frames_per_sample);
}

Status parse_dac3(BoxReader& reader, BoxNode& node) {
  const auto bytes = reader.read_array<3>();
  const uint32_t bits = uint32_t{bytes[0]} << 16 | uint32_t{bytes[1]} << 8 | bytes[2];
  auto payload = std::make_unique<Ac3Payload>();
  payload->fscod = bits >> 22 & 3;
  payload->bsid = bits >> 17 & 0x1F;
  payload->bsmod = bits >> 14 & 7;
  payload->acmod = bits >> 11 & 7;
  payload->lfeon = bits >> 10 & 1;
  payload->bit_rate_code = bits >> 5 & 0x1F;
  // Kept: codes without a rate yield 0.
  if (payload->bit_rate_code < kAc3BitRates.size())
    payload->bit_rate_kbps = kAc3BitRates[payload->bit_rate_code];
  return store_payload(reader, node, std::move(payload));
}

void Ac3Payload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  describe_ac3_stream(*this, fields);
  fields.number("bit_rate_code", bit_rate_code);
  fields.number("bit_rate_kbps", bit_rate_kbps);
}

Status parse_dec3(BoxReader& reader, BoxNode& node) {
  const uint16_t bits = reader.u16();
  auto payload = std::make_unique<Eac3Payload>();
  payload->data_rate = static_cast<uint16_t>(bits >> 3);
  payload->independent_substreams = bits & 7;
  const size_t count = payload->independent_substreams + size_t{1};
  while (payload->substreams.size() < count) payload->substreams.push_back(read_eac3_substream(reader));
  return store_payload(reader, node, std::move(payload));
}

void Eac3Payload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("data_rate_kbps", data_rate);
  for (const P3gppEac3Substream& substream : substreams) {
    fields.next_entry();
    describe_ac3_stream(substream, fields);
    fields.number("num_dep_sub", substream.num_dep_sub);
    fields.number("channel_location", substream.channel_location);
  }
}

}  // namespace zdr::p3gpp
