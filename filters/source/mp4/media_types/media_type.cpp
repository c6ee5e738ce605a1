// The builder of each codec's type, and the helpers that all builders share.
#include "filters/source/mp4/media_types/media_type.h"

#include "filters/source/mp4/interfaces/played_codecs.h"

namespace zdr::mp4source {
namespace {

struct TypeRow {
  StreamKind stream;
  uint8_t object_type;
  TypeBuilder build;
};

constexpr TypeRow kTypes[] = {
    {StreamKind::kVideo, P3GPP_OTI_MPEG4_VISUAL, build_mpeg4_visual_type},
    {StreamKind::kVideo, P3GPP_OTI_H263, build_h263_type},
    {StreamKind::kVideo, P3GPP_OTI_AVC, build_avc_type},
    {StreamKind::kAudio, P3GPP_OTI_AAC, build_aac_type},
    {StreamKind::kAudio, P3GPP_OTI_MPEG2_AAC_LC, build_aac_type},
    {StreamKind::kAudio, P3GPP_OTI_AMR, build_amr_type},
    {StreamKind::kAudio, P3GPP_OTI_AMR_WB, build_amr_wb_type},
    {StreamKind::kAudio, P3GPP_OTI_QCELP, build_qcelp_type},
    {StreamKind::kAudio, P3GPP_OTI_EVRC, build_evrc_type},
    {StreamKind::kAudio, P3GPP_OTI_AC3, build_ac3_type},
    {StreamKind::kAudio, P3GPP_OTI_EAC3, build_ac3_type},
};
static_assert(std::ranges::is_permutation(kTypes, kPlayedCodecs, {}, &TypeRow::object_type,
                                          &PlayedCodec::object_type),
              "a codec that is played has a row in both tables");

}  // namespace

HRESULT build_track_type(const TypeRequest& request, CMediaType& type) {
  if (request.track.decoder() == nullptr) return kTypeNotBuilt;
  for (const TypeRow& row : kTypes) {
    if (row.stream == request.track.stream() && row.object_type == request.track.object_type()) {
      return row.build(request, type);
    }
  }
  return kTypeNotBuilt;
}

BYTE* new_format_block(CMediaType& type, uint32_t size) {
  // AllocFormatBuffer would return an existing block with its old content.
  type.ResetFormatBuffer();
  BYTE* const block = type.AllocFormatBuffer(size);
  if (block != nullptr) std::memset(block, 0, size);
  return block;
}

void set_audio_type(const GUID& subtype, const GUID& format_type, CMediaType& type) {
  type.SetType(&MEDIATYPE_Audio);
  type.SetSubtype(&subtype);
  type.SetFormatType(&format_type);
  type.SetTemporalCompression(FALSE);
}

}  // namespace zdr::mp4source
