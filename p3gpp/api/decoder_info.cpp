// The codec table: sample entry type and handler type to kind, object type code and the function that fills
// in.
#include "p3gpp/api/decoder_info.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>

#include "p3gpp/api/es_descriptor.h"
#include "p3gpp/boxes/codec_boxes.h"
#include "p3gpp/parse/box_reader.h"

namespace zdr::p3gpp {
namespace {

// The sample entry that is described. The fill functions of the codecs that need one run only with a record.
struct Entry {
  const SampleEntryPayload& record;
  const TkhdPayload& tkhd;
  bool keep_record = false;  // set by a fill function that fails: the caller gets what was filled in

  template <typename Payload>
  const Payload* configuration() const {
    return payload_of<Payload>(record.configuration);
  }
};

// ---- MPEG-4 systems -------------------------------------------------------------------------------------

void copy_bytes(std::span<const uint8_t> bytes, uint8_t*& copy, uint32_t& length) {
  if (bytes.empty()) return;
  copy = new uint8_t[bytes.size()];
  std::copy(bytes.begin(), bytes.end(), copy);
  length = static_cast<uint32_t>(bytes.size());
}

Status fill_systems(Entry& entry, P3gppDecoderInfo& info) {
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

Status fill_mp4v(Entry& entry, P3gppDecoderInfo& info) {
  P3gppSystemsInfo& systems = info.u.systems;
  systems.width = entry.record.width;
  systems.height = entry.record.height;
  if (systems.width == 0 || systems.height == 0) {
    // Kept on purpose: the track's dimensions come in crosswise.
    systems.width = entry.tkhd.height;
    systems.height = entry.tkhd.width;
  }
  return fill_systems(entry, info);
}

Status fill_mp4a(Entry& entry, P3gppDecoderInfo& info) {
  info.u.systems.channel_count = entry.record.channel_count;
  info.u.systems.sample_rate = entry.record.sample_rate;
  return fill_systems(entry, info);
}

// Kept on purpose: the caller gets the empty description together with the error.
Status fill_text(Entry& entry, P3gppDecoderInfo&) {
  entry.keep_record = true;
  return P3GPP_ERR_NO_ENTRY_PAYLOAD;
}

// ---- Codecs with a configuration of their own -------------------------------------------------------------

Status fill_amr(Entry& entry, P3gppDecoderInfo& info) {
  const auto& damr = *entry.configuration<AmrPayload>();
  info.u.amr = {.vendor = damr.vendor,
                .decoder_version = damr.decoder_version,
                .mode_set = damr.mode_set,
                .mode_change_period = damr.mode_change_period,
                .frames_per_sample = damr.frames_per_sample};
  return P3GPP_OK;
}

Status fill_amr_wb_plus(Entry& entry, P3gppDecoderInfo& info) {
  const auto& dawp = *entry.configuration<AmrWbPlusPayload>();
  info.u.amr_wb_plus = {.sample_rate = entry.record.sample_rate,
                        .vendor = dawp.vendor,
                        .decoder_version = dawp.decoder_version};
  return P3GPP_OK;
}

Status fill_vmr(Entry& entry, P3gppDecoderInfo& info) {
  constexpr uint8_t kSamplingFrequency8000 = 255;
  const auto& dvmr = *entry.configuration<AmrPayload>();
  info.u.vmr = {.vendor = dvmr.vendor,
                .decoder_version = dvmr.decoder_version,
                .mode_set = dvmr.mode_set,
                .sample_rate = dvmr.mode_change_period == kSamplingFrequency8000 ? 8000u : 16000u,
                .frames_per_sample = dvmr.frames_per_sample};
  return P3GPP_OK;
}

// Kept on purpose: H263 and h263 report the dimensions alone, also when their configuration was read.
Status fill_h263_dimensions(Entry& entry, P3gppDecoderInfo& info) {
  info.u.h263.width = entry.record.width;
  info.u.h263.height = entry.record.height;
  return P3GPP_OK;
}

Status fill_s263(Entry& entry, P3gppDecoderInfo& info) {
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

// Takes `count` (16-bit length, NAL unit) pairs off the front of `bytes`; false when they run out.
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

Status fill_avc(Entry& entry, P3gppDecoderInfo& info) {
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

Status fill_speech_3gpp2(Entry& entry, P3gppDecoderInfo& info) {
  const auto& speech = *entry.configuration<Speech3gpp2Payload>();
  info.u.speech = {.vendor = speech.vendor,
                   .decoder_version = speech.decoder_version,
                   .frames_per_sample = speech.frames_per_sample};
  return P3GPP_OK;
}

// ---- Compressed audio -------------------------------------------------------------------------------------

Status fill_ac3(Entry& entry, P3gppDecoderInfo& info) {
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

Status fill_eac3(Entry& entry, P3gppDecoderInfo& info) {
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

Status fill_mp3(Entry& entry, P3gppDecoderInfo& info) {
  info.u.mp3 = {.channel_count = entry.record.channel_count, .sample_rate = entry.record.sample_rate};
  return P3GPP_OK;
}

// ---- The table --------------------------------------------------------------------------------------------

// What an entry without a record amounts to.
enum class WithoutRecord : uint8_t {
  kError,
  kBareDescription,  // kept on purpose: kind and object type alone, and no error
  kNeverHasOne,
};

struct DecoderRule {
  std::string_view entry_type;
  std::string_view handler_type;  // empty: any (kept so for s263 and H263)
  uint8_t kind;
  uint8_t object_type;  // 0: from the ES descriptor
  Status (*fill)(Entry& entry, P3gppDecoderInfo& info);
  WithoutRecord without_record = WithoutRecord::kError;
};

constexpr std::array kDecoderRules{
    DecoderRule{"mp4v", "vide", P3GPP_KIND_SYSTEMS, 0, fill_mp4v},
    DecoderRule{"text", "text", P3GPP_KIND_SYSTEMS, P3GPP_OTI_TEXT, fill_text, WithoutRecord::kNeverHasOne},
    DecoderRule{"mp4a", "soun", P3GPP_KIND_SYSTEMS, 0, fill_mp4a},
    DecoderRule{"mp4s", "soun", P3GPP_KIND_SYSTEMS, 0, fill_systems},
    DecoderRule{"samr", "soun", P3GPP_KIND_CODEC, P3GPP_OTI_AMR, fill_amr, WithoutRecord::kBareDescription},
    DecoderRule{"sawb", "soun", P3GPP_KIND_CODEC, P3GPP_OTI_AMR_WB, fill_amr,
                WithoutRecord::kBareDescription},
    DecoderRule{"sawp", "soun", P3GPP_KIND_CODEC, P3GPP_OTI_AMR_WB_PLUS, fill_amr_wb_plus},
    DecoderRule{"svmr", "soun", P3GPP_KIND_CODEC, P3GPP_OTI_VMR, fill_vmr},
    DecoderRule{"s263", "", P3GPP_KIND_CODEC, P3GPP_OTI_H263, fill_s263},
    DecoderRule{"H263", "", P3GPP_KIND_CODEC, P3GPP_OTI_H263, fill_h263_dimensions},
    DecoderRule{"h263", "vide", P3GPP_KIND_CODEC, P3GPP_OTI_H263, fill_h263_dimensions},
    DecoderRule{"avc1", "vide", P3GPP_KIND_CODEC, P3GPP_OTI_AVC, fill_avc},
    DecoderRule{"sevc", "soun", P3GPP_KIND_SPEECH_3GPP2, P3GPP_OTI_EVRC, fill_speech_3gpp2},
    DecoderRule{"sqcp", "soun", P3GPP_KIND_SPEECH_3GPP2, P3GPP_OTI_QCELP, fill_speech_3gpp2},
    DecoderRule{"ssmv", "soun", P3GPP_KIND_SPEECH_3GPP2, P3GPP_OTI_SMV, fill_speech_3gpp2},
    DecoderRule{"secb", "soun", P3GPP_KIND_SPEECH_3GPP2, P3GPP_OTI_EVRC_B, fill_speech_3gpp2},
    DecoderRule{"secw", "soun", P3GPP_KIND_SPEECH_3GPP2, P3GPP_OTI_EVRC_WB, fill_speech_3gpp2},
    DecoderRule{"ec-3", "soun", P3GPP_KIND_COMPRESSED_AUDIO, P3GPP_OTI_EAC3, fill_eac3,
                WithoutRecord::kBareDescription},
    DecoderRule{"ac-3", "soun", P3GPP_KIND_COMPRESSED_AUDIO, P3GPP_OTI_AC3, fill_ac3,
                WithoutRecord::kBareDescription},
    DecoderRule{".mp3", "soun", P3GPP_KIND_COMPRESSED_AUDIO, P3GPP_OTI_MP3, fill_mp3},
};

const DecoderRule* find_rule(const DecoderInfoSource& source) {
  const auto* rule = std::find_if(kDecoderRules.begin(), kDecoderRules.end(), [&](const DecoderRule& each) {
    return source.entry.is(each.entry_type) &&
           (each.handler_type.empty() || source.hdlr.is(each.handler_type));
  });
  return rule == kDecoderRules.end() ? nullptr : rule;
}

void release_decoder_info(P3gppDecoderInfo* info) {
  if (info == nullptr) return;
  if (info->kind == P3GPP_KIND_SYSTEMS) {
    delete[] info->u.systems.decoder_specific_info;
    delete[] info->u.systems.sl_config;
  }
  delete info;
}

}  // namespace

OwnedDecoderInfo make_decoder_info() {
  auto* info = new P3gppDecoderInfo;
  std::memset(info, 0, sizeof *info);  // all members of the union
  info->release = release_decoder_info;
  return OwnedDecoderInfo(info);
}

Status describe_decoder(const DecoderInfoSource& source, P3gppDecoderInfo& info, bool& keep_record) {
  if (source.entry.is("rtp ")) return P3GPP_ERR_RTP_ENTRY;
  const DecoderRule* rule = find_rule(source);
  if (rule == nullptr) return P3GPP_ERR_ENTRY_NOT_HANDLED;
  info.kind = rule->kind;
  info.object_type = rule->object_type;
  const SampleEntryPayload none;
  const auto* record = payload_of<SampleEntryPayload>(&source.entry);
  if (record == nullptr && rule->without_record == WithoutRecord::kError) return P3GPP_ERR_NO_ENTRY_PAYLOAD;
  if (record == nullptr && rule->without_record == WithoutRecord::kBareDescription) return P3GPP_OK;
  Entry entry{record == nullptr ? none : *record, source.tkhd};
  const Status status = rule->fill(entry, info);
  keep_record = entry.keep_record;
  return status;
}

}  // namespace zdr::p3gpp
