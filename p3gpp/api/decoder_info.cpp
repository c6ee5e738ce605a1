// P3GPP_GetDecoderInfo, and the table of codecs: kind, object type code and description by the types of
// sample entry and handler.
#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string_view>

#include "p3gpp/api/codec_descriptions.h"
#include "p3gpp/boxes/leaf_boxes.h"
#include "p3gpp/samples/track_access.h"

namespace zdr::p3gpp {
namespace {

// What to return for an entry without a record.
enum class WithoutRecord : uint8_t {
  kError,
  kBareDescription,  // Kept: success, with only kind and object type filled.
  kNeverHasOne,
};

struct DecoderRule {
  std::string_view entry_type;
  std::string_view handler_type;  // Kept: empty for s263 and H263, which any handler may have.
  uint8_t kind;
  uint8_t object_type;  // 0: from the ES descriptor
  Status (*fill)(DescribedEntry& entry, P3gppDecoderInfo& info);
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

// Returns null if no row matches both types.
const DecoderRule* find_rule(const BoxNode& entry, const HdlrPayload& hdlr) {
  const auto* rule = std::find_if(kDecoderRules.begin(), kDecoderRules.end(), [&](const DecoderRule& each) {
    return entry.is(each.entry_type) && (each.handler_type.empty() || hdlr.is(each.handler_type));
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

struct DecoderInfoReleaser {
  void operator()(P3gppDecoderInfo* info) const noexcept { info->release(info); }
};
using OwnedDecoderInfo = std::unique_ptr<P3gppDecoderInfo, DecoderInfoReleaser>;

// An empty record with its release function.
OwnedDecoderInfo make_decoder_info() {
  auto* info = new P3gppDecoderInfo;
  std::memset(info, 0, sizeof *info);  // all members of the union
  info->release = release_decoder_info;
  return OwnedDecoderInfo(info);
}

// Fills `info`. After a failure, *keep_record says whether the caller of the library gets the partly filled
// record together with the error.
Status describe_decoder(const BoxNode& node, const TrackPath& path, P3gppDecoderInfo& info,
                        bool& keep_record) {
  if (node.is("rtp ")) return P3GPP_ERR_RTP_ENTRY;
  const DecoderRule* rule = find_rule(node, *path.hdlr);
  if (rule == nullptr) return P3GPP_ERR_ENTRY_NOT_HANDLED;
  info.kind = rule->kind;
  info.object_type = rule->object_type;
  const SampleEntryPayload none;
  const auto* record = payload_of<SampleEntryPayload>(&node);
  if (record == nullptr && rule->without_record == WithoutRecord::kError) return P3GPP_ERR_NO_ENTRY_PAYLOAD;
  if (record == nullptr && rule->without_record == WithoutRecord::kBareDescription) return P3GPP_OK;
  DescribedEntry entry{record == nullptr ? none : *record, *path.tkhd};
  const Status status = rule->fill(entry, info);
  keep_record = entry.keep_record;
  return status;
}

// Returns P3GPP_ERR_NO_TABLE for an index out of range and for an entry of unknown type.
Status find_sample_entry(const StblPayload& stbl, uint32_t description_index, const BoxNode*& entry) {
  const auto* stsd = payload_of<StsdPayload>(stbl.stsd);
  if (description_index == 0 || description_index > stsd->entries.size()) return P3GPP_ERR_NO_TABLE;
  entry = stsd->entries[description_index - 1].get();
  return entry == nullptr ? P3GPP_ERR_NO_TABLE : P3GPP_OK;
}

Status get_decoder_info(const P3gppFile& file, uint32_t track_id, uint32_t description_index,
                        OwnedDecoderInfo& result) {
  TrackPath path;
  Status status = find_tables(file, track_id, path);
  if (status != P3GPP_OK) return status;
  const BoxNode* entry = nullptr;
  status = find_sample_entry(*path.stbl, description_index, entry);
  if (status != P3GPP_OK) return status;
  OwnedDecoderInfo info = make_decoder_info();
  bool keep_record = false;
  status = describe_decoder(*entry, path, *info, keep_record);
  if (status == P3GPP_OK || keep_record) result = std::move(info);
  return status;
}

}  // namespace
}  // namespace zdr::p3gpp

using namespace zdr::p3gpp;

int32_t P3GPP_GetDecoderInfo(P3gppFile* file, uint32_t track_id, P3gppDecoderInfo** info,
                             uint32_t description_index) noexcept {
  if (info != nullptr) *info = nullptr;
  if (file == nullptr || info == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  OwnedDecoderInfo result;
  const Status status = guarded([&] { return get_decoder_info(*file, track_id, description_index, result); });
  *info = result.release();
  return status;
}
