// The public operations that inspect an open file: tags, hint information, boxes. They use no stream.
#include <cstring>

#include "p3gpp/metadata/hint_boxes.h"
#include "p3gpp/metadata/movie_meta.h"
#include "p3gpp/metadata/tag_slots.h"
#include "p3gpp/parse/box_fields.h"
#include "p3gpp/parse/box_view.h"
#include "p3gpp/samples/track_access.h"

namespace zdr::p3gpp {
namespace {

Status get_tag(const P3gppFile& file, uint32_t code, P3gppTag& tag) {
  MoovPayload* moov = nullptr;
  const Status status = movie_of(file, moov);
  if (status != P3GPP_OK) return status;
  const auto* udta = payload_of<MovieUdtaPayload>(moov->udta);
  const BoxNode* node = udta == nullptr ? nullptr : udta->tags[code - 1].get();
  if (node == nullptr) return P3GPP_ERR_NO_TAG;
  tag.tag = code;
  node->type_name().copy(tag.type, 4);
  tag.size = node->size;
  tag.offset = node->offset;
  const auto* payload = payload_of<TagPayload>(node);
  tag.language = payload->language;
  payload->fill(tag);
  return P3GPP_OK;
}

Status get_id3_location(const P3gppFile& file, P3gppId3Location& location) {
  MoovPayload* moov = nullptr;
  const Status status = movie_of(file, moov);
  if (status != P3GPP_OK) return status;
  const auto* meta = payload_of<MovieMetaPayload>(moov->meta);
  const auto* id32 = meta == nullptr ? nullptr : payload_of<Id32Payload>(meta->id32);
  if (id32 == nullptr) return P3GPP_ERR_NO_TAG;
  location = {{id32->language[0], id32->language[1]}, id32->data_offset, id32->data_size};
  return P3GPP_OK;
}

void fill_statistics(const HinfPayload& hinf, P3gppHintInfo& info) {
  for (uint32_t i = 0; i < P3GPP_HINT_COUNT; ++i) {
    if (!hinf.statistics[i]) continue;
    info.present |= uint32_t{1} << i;
    if (i == P3GPP_HINT_PAYT) {
      info.payload_type = bytes_of(payload_of<PaytPayload>(hinf.statistics[i])->body);
      continue;
    }
    const auto* number = payload_of<HintNumberPayload>(hinf.statistics[i]);
    info.value[i] = number->value;
    if (i == P3GPP_HINT_MAXR) info.max_rate_bytes = number->max_rate_bytes;
  }
}

Status get_hint_info(const P3gppFile& file, uint32_t track_id, P3gppHintInfo& info) {
  BoxNode* track = nullptr;
  const Status status = find_track(file, track_id, track);
  if (status != P3GPP_OK) return status;
  const auto* udta = payload_of<TrackUdtaPayload>(payload_of<TrakPayload>(track)->udta);
  if (udta == nullptr) return P3GPP_ERR_NO_TAG;
  const auto* hnti = payload_of<HntiPayload>(udta->hnti);
  const auto* sdp = hnti == nullptr ? nullptr : payload_of<SdpPayload>(hnti->sdp);
  if (sdp != nullptr) info.sdp = bytes_of(sdp->text);
  const auto* hinf = payload_of<HinfPayload>(udta->hinf);
  if (hinf != nullptr) fill_statistics(*hinf, info);
  return sdp != nullptr || info.present != 0 ? P3GPP_OK : P3GPP_ERR_NO_TAG;
}

}  // namespace
}  // namespace zdr::p3gpp

using namespace zdr::p3gpp;

int32_t P3GPP_GetTag(P3gppFile* file, uint32_t tag_code, P3gppTag* tag) noexcept {
  if (tag == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  // Assigning {} might clear only the first member of the union.
  std::memset(tag, 0, sizeof *tag);
  if (file == nullptr || tag_code == 0 || tag_code > P3GPP_TAG_COUNT) return P3GPP_ERR_BAD_ARGUMENT;
  return get_tag(*file, tag_code, *tag);
}

int32_t P3GPP_GetId3Location(P3gppFile* file, P3gppId3Location* location) noexcept {
  if (location == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  *location = {};
  if (file == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  return get_id3_location(*file, *location);
}

int32_t P3GPP_GetHintInfo(P3gppFile* file, uint32_t track_id, P3gppHintInfo* info) noexcept {
  if (info == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  *info = {};
  if (file == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  return get_hint_info(*file, track_id, *info);
}

int32_t P3GPP_WalkBoxes(P3gppFile* file, const P3gppBoxVisitor* visitor) noexcept {
  if (file == nullptr || visitor == nullptr || visitor->box == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  return guarded([&] {
    for (const BoxSlot* top : {&file->ftyp, &file->moof, &file->moov}) {
      if (*top) walk_boxes(**top, *visitor);
    }
    return Status{P3GPP_OK};
  });
}
