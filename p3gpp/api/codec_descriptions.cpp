// Fills the codec's part of a decoder description: MPEG-4 systems, codecs with their own configuration box,
// compressed audio.
#include "p3gpp/api/codec_descriptions.h"

#include <algorithm>
#include <span>

#include "p3gpp/api/es_descriptor.h"
#include "p3gpp/boxes/codec_boxes.h"
#include "p3gpp/parse/big_endian.h"

namespace zdr::p3gpp {
namespace {

void copy_bytes(std::span<const uint8_t> bytes, uint8_t*& copy, uint32_t& length) {
  if (bytes.empty()) return;
  copy = new uint8_t[bytes.size()];
  std::copy(bytes.begin(), bytes.end(), copy);
  length = static_cast<uint32_t>(bytes.size());
}

// Moves `count` (16-bit length, NAL unit) pairs from the front of `bytes` to `list`. False if `bytes` is too
// short.
bool take_nal_list(std::span<const uint8_t>& bytes, uint32_t count, std::span<const uint8_t>& list) {
  size_t length = 0;
  for (uint32_t i = 0; i < count; ++i) {
    if (bytes.size() - length < 2) return false;
    length += 2u + load_be16(bytes.data() + length);
    if (length > bytes.size()) return false;
  }
  list = bytes.first(length);
  bytes = bytes.subspan(length);
  return true;
}

}  // namespace

// --- MPEG-4 systems ---

Status fill_systems(DescribedEntry& entry, P3gppDecoderInfo& info) {
  EsDescriptor descriptor;
  const Status status = read_es_descriptor(entry.configuration<EsdsPayload>()->descriptors, descriptor);
  entry.keep_record = descriptor.lacks_visual_config;
  if (status != P3GPP_OK && !entry.keep_record) return status;
  P3gppSystemsInfo& systems = info.u.systems;
  info.object_type = descriptor.object_type;
  systems.es_id = descriptor.es_id;
  systems.stream_type = descriptor.stream_type;
  systems.max_bitrate = descriptor.max_bitrate;
  systems.average_bitrate = descriptor.average_bitrate;
  copy_bytes(descriptor.decoder_specific_info, systems.decoder_specific_info,
             systems.decoder_specific_info_length);
  copy_bytes(descriptor.sl_config, systems.sl_config, systems.sl_config_length);
  return status;
}

Status fill_mp4v(DescribedEntry& entry, P3gppDecoderInfo& info) {
  P3gppSystemsInfo& systems = info.u.systems;
  systems.width = entry.record.width;
  systems.height = entry.record.height;
  if (systems.width == 0 || systems.height == 0) {
    // Kept: width and height are taken from the track header, swapped.
    systems.width = entry.tkhd.height;
    systems.height = entry.tkhd.width;
  }
  return fill_systems(entry, info);
}

Status fill_mp4a(DescribedEntry& entry, P3gppDecoderInfo& info) {
  info.u.systems.channel_count = entry.record.channel_count;
  info.u.systems.sample_rate = entry.record.sample_rate;
  return fill_systems(entry, info);
}

// Kept: the caller gets the empty description together with the error.
Status fill_text(DescribedEntry& entry, P3gppDecoderInfo&) {
  entry.keep_record = true;
  return P3GPP_ERR_NO_ENTRY_PAYLOAD;
}

// --- Codecs with their own configuration box ---

Status fill_amr(DescribedEntry& entry, P3gppDecoderInfo& info) {
  const auto& damr = *entry.configuration<AmrPayload>();
  info.u.amr = {.vendor = damr.vendor,
                .decoder_version = damr.decoder_version,
                .mode_set = damr.mode_set,
                .mode_change_period = damr.mode_change_period,
                .frames_per_sample = damr.frames_per_sample};
  return P3GPP_OK;
}

Status fill_amr_wb_plus(DescribedEntry& entry, P3gppDecoderInfo& info) {
  const auto& dawp = *entry.configuration<AmrWbPlusPayload>();
  info.u.amr_wb_plus = {.sample_rate = entry.record.sample_rate,
                        .vendor = dawp.vendor,
                        .decoder_version = dawp.decoder_version};
  return P3GPP_OK;
}

Status fill_vmr(DescribedEntry& entry, P3gppDecoderInfo& info) {
  constexpr uint8_t kSamplingFrequency8000 = 255;
  const auto& dvmr = *entry.configuration<AmrPayload>();
  info.u.vmr = {.vendor = dvmr.vendor,
                .decoder_version = dvmr.decoder_version,
                .mode_set = dvmr.mode_set,
                .sample_rate = dvmr.mode_change_period == kSamplingFrequency8000 ? 8000u : 16000u,
                .frames_per_sample = dvmr.frames_per_sample};
  return P3GPP_OK;
}

// Kept: H263 and h263 entries report only their dimensions, even if they have a configuration.
Status fill_h263_dimensions(DescribedEntry& entry, P3gppDecoderInfo& info) {
  info.u.h263.width = entry.record.width;
  info.u.h263.height = entry.record.height;
  return P3GPP_OK;
}

Status fill_s263(DescribedEntry& entry, P3gppDecoderInfo& info) {
  const auto* d263 = entry.configuration<D263Payload>();
  if (d263 == nullptr) return P3GPP_ERR_DECODER_CONFIG;
  info.u.h263 = {.vendor = d263->vendor,
                 .decoder_version = d263->decoder_version,
                 .level = d263->level,
                 .profile = d263->profile,
                 .width = entry.record.width,
                 .height = entry.record.height,
                 .average_bitrate = d263->average_bitrate,
                 .max_bitrate = d263->max_bitrate};
  return P3GPP_OK;
}

Status fill_avc(DescribedEntry& entry, P3gppDecoderInfo& info) {
  const auto* avcc = entry.configuration<AvccPayload>();
  if (avcc == nullptr || avcc->parameter_sets.empty()) return P3GPP_ERR_DECODER_CONFIG;
  std::span<const uint8_t> bytes(avcc->parameter_sets);
  std::span<const uint8_t> sps;
  std::span<const uint8_t> pps;
  const uint8_t sps_count = bytes[0] & 31;
  bytes = bytes.subspan(1);
  if (!take_nal_list(bytes, sps_count, sps) || bytes.empty()) return P3GPP_ERR_DECODER_CONFIG;
  const uint8_t pps_count = bytes[0];
  bytes = bytes.subspan(1);
  if (!take_nal_list(bytes, pps_count, pps)) return P3GPP_ERR_DECODER_CONFIG;
  info.u.avc = {.profile = avcc->profile,
                .profile_compatibility = avcc->profile_compatibility,
                .level = avcc->level,
                .nal_length_size_minus_one = avcc->nal_length_size_minus_one,
                .width = entry.record.width,
                .height = entry.record.height,
                .sps_count = sps_count,
                .sps_list = sps.data(),
                .sps_list_length = static_cast<uint16_t>(sps.size()),
                .pps_count = pps_count,
                .pps_list = pps.data(),
                .pps_list_length = static_cast<uint16_t>(pps.size())};
  return P3GPP_OK;
}

Status fill_speech_3gpp2(DescribedEntry& entry, P3gppDecoderInfo& info) {
  const auto& speech = *entry.configuration<Speech3gpp2Payload>();
  info.u.speech = {.vendor = speech.vendor,
                   .decoder_version = speech.decoder_version,
                   .frames_per_sample = speech.frames_per_sample};
  return P3GPP_OK;
}

// --- Compressed audio ---

Status fill_ac3(DescribedEntry& entry, P3gppDecoderInfo& info) {
  const auto& dac3 = *entry.configuration<Ac3Payload>();
  info.u.ac3 = {.data_reference_index = entry.record.data_reference_index,
                .channel_count = entry.record.channel_count,
                .sample_size = entry.record.sample_size,
                .sample_rate = entry.record.sample_rate,
                .bit_rate_kbps = dac3.bit_rate_kbps,
                .fscod = dac3.fscod,
                .bsid = dac3.bsid,
                .bsmod = dac3.bsmod,
                .acmod = dac3.acmod,
                .lfeon = dac3.lfeon,
                .bit_rate_code = dac3.bit_rate_code};
  return P3GPP_OK;
}

Status fill_eac3(DescribedEntry& entry, P3gppDecoderInfo& info) {
  const auto& dec3 = *entry.configuration<Eac3Payload>();
  info.u.eac3 = {.data_reference_index = entry.record.data_reference_index,
                 .channel_count = entry.record.channel_count,
                 .sample_size = entry.record.sample_size,
                 .sample_rate = entry.record.sample_rate,
                 .data_rate = dec3.data_rate,
                 .independent_substreams = dec3.independent_substreams,
                 .substreams = dec3.substreams.data()};
  return P3GPP_OK;
}

Status fill_mp3(DescribedEntry& entry, P3gppDecoderInfo& info) {
  info.u.mp3 = {.channel_count = entry.record.channel_count, .sample_rate = entry.record.sample_rate};
  return P3GPP_OK;
}

}  // namespace zdr::p3gpp
