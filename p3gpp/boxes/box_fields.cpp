// The fields of the boxes that playing needs, by name.
#include "p3gpp/parse/box_fields.h"

#include <algorithm>

#include "p3gpp/boxes/codec_boxes.h"
#include "p3gpp/boxes/sample_tables.h"

namespace zdr::p3gpp {

// ---- File, movie, track -----------------------------------------------------------------------------------

void FtypPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.text("major_brand", {major_brand.data(), major_brand.size()});
  fields.number("minor_version", load_be32(minor_version.data()));
  fields.text("compatible_brands", {compatible_brands.data(), compatible_brands.size()});
}

void MvhdPayload::describe(const BoxNode& node, BoxFields& fields) const {
  fields.time("creation_time", creation_time, node.version);
  fields.time("modification_time", modification_time, node.version);
  fields.number("time_scale", time_scale);
  fields.time("duration", duration, node.version);
  fields.fixed("rate", rate);
  fields.fixed("volume", uint32_t{volume} << 8);
}

void IodsPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.bytes("object_descriptor", bytes);
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

void TrefPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.bytes("references", bytes);
}

void ElstPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("entry_count", entries.size());
  for (const ElstEntry& entry : entries) {
    fields.next_entry();
    fields.number("segment_duration", entry.segment_duration);
    fields.integer("media_time", static_cast<int32_t>(entry.media_time));  // -1: an empty edit
    fields.fixed("media_rate", uint32_t{entry.media_rate_integer} << 16 | entry.media_rate_fraction);
  }
}

void MdhdPayload::describe(const BoxNode& node, BoxFields& fields) const {
  fields.time("creation_time", creation_time, node.version);
  fields.time("modification_time", modification_time, node.version);
  fields.number("time_scale", time_scale);
  fields.time("duration", duration, node.version);
  fields.language(language);
}

void HdlrPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.type("handler_type", handler_type);
}

void HmhdPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("max_pdu_size", max_pdu_size);
  fields.number("average_pdu_size", average_pdu_size);
  fields.number("max_bitrate", max_bitrate);
  fields.number("average_bitrate", average_bitrate);
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

// ---- Sample tables ----------------------------------------------------------------------------------------

void AnyTablePayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("entry_count", cursor.entry_count());
}

void StszPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("default_size", default_size);
  fields.number("sample_count", sample_count);
}

void StsdPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("entry_count", entry_count);
}

// ---- Codec configurations ---------------------------------------------------------------------------------

void EsdsPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.bytes("descriptors", descriptors);
}

void AvccPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("profile", profile);
  fields.number("profile_compatibility", profile_compatibility);
  fields.number("level", level);
  fields.number("nal_length_size", nal_length_size_minus_one + 1U);
  fields.bytes("parameter_sets", parameter_sets);
}

void D263Payload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("vendor", vendor);
  fields.number("decoder_version", decoder_version);
  fields.number("level", level);
  fields.number("profile", profile);
  fields.number("average_bitrate", average_bitrate);
  fields.number("max_bitrate", max_bitrate);
}

void AmrPayload::describe(const BoxNode& node, BoxFields& fields) const {
  fields.number("vendor", vendor);
  fields.number("decoder_version", decoder_version);
  fields.number("mode_set", mode_set);
  fields.number(node.is("dvmr") ? "media_sampling_frequency" : "mode_change_period", mode_change_period);
  fields.number("frames_per_sample", frames_per_sample);
}

void AmrWbPlusPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("vendor", vendor);
  fields.number("decoder_version", decoder_version);
}

void Speech3gpp2Payload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("vendor", vendor);
  fields.number("decoder_version", decoder_version);
  fields.number("frames_per_sample", frames_per_sample);
}

namespace {

// What AC-3 and each substream of E-AC-3 tell alike.
template <typename Stream>
void describe_ac3_stream(const Stream& stream, BoxFields& fields) {
  fields.number("fscod", stream.fscod);
  fields.number("bsid", stream.bsid);
  fields.number("bsmod", stream.bsmod);
  fields.number("acmod", stream.acmod);
  fields.number("lfeon", stream.lfeon);
}

}  // namespace

void Ac3Payload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  describe_ac3_stream(*this, fields);
  fields.number("bit_rate_code", bit_rate_code);
  fields.number("bit_rate_kbps", bit_rate_kbps);
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
