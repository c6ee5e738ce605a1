// P3GPP_GetDecoderInfo.
#include "p3gpp/api/decoder_info.h"
#include "p3gpp/samples/track_access.h"

namespace zdr::p3gpp {
namespace {

// P3GPP_ERR_NO_TABLE for an index that the box does not have and for an entry of unknown type.
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
  status = describe_decoder({*entry, *path.hdlr, *path.tkhd}, *info, keep_record);
  if (status == P3GPP_OK || keep_record) result = std::move(info);
  return status;
}

}  // namespace
}  // namespace zdr::p3gpp

extern "C" int32_t P3GPP_GetDecoderInfo(P3gppFile* file, uint32_t track_id, P3gppDecoderInfo** info,
                                        uint32_t description_index) noexcept {
  namespace p3gpp = zdr::p3gpp;
  if (info != nullptr) *info = nullptr;
  if (file == nullptr || info == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  p3gpp::OwnedDecoderInfo result;
  const p3gpp::Status status =
      p3gpp::guarded([&] { return p3gpp::get_decoder_info(*file, track_id, description_index, result); });
  *info = result.release();
  return status;
}
