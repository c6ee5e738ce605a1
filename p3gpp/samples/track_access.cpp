// Walks from a file or a track down to the sample tables, with a status for each missing box.
#include "p3gpp/samples/track_access.h"

#include "p3gpp/boxes/header_boxes.h"
#include "p3gpp/boxes/leaf_boxes.h"
#include "p3gpp/boxes/sample_entries.h"
#include "p3gpp/boxes/sample_tables.h"

namespace zdr::p3gpp {
namespace {

Status walk_to_media(const BoxNode* trak, TrackPath& path, MdiaPayload*& mdia) {
  path.trak = payload_of<TrakPayload>(trak);
  if (path.trak == nullptr) return P3GPP_ERR_NO_TRAK_PAYLOAD;
  path.tkhd = payload_of<TkhdPayload>(path.trak->tkhd);
  if (path.tkhd == nullptr) return P3GPP_ERR_NO_TKHD;
  if (!path.trak->mdia) return P3GPP_ERR_NO_MDIA;
  mdia = payload_of<MdiaPayload>(path.trak->mdia);
  return mdia == nullptr ? P3GPP_ERR_NO_MDIA_PAYLOAD : P3GPP_OK;
}

}  // namespace

Status walk_to_tables(const BoxNode* trak, TrackPath& path) {
  MdiaPayload* mdia = nullptr;
  const Status status = walk_to_media(trak, path, mdia);
  if (status != P3GPP_OK) return status;
  path.mdhd = payload_of<MdhdPayload>(mdia->mdhd);
  path.hdlr = payload_of<HdlrPayload>(mdia->hdlr);
  if (path.mdhd == nullptr || path.hdlr == nullptr) return P3GPP_ERR_NO_MDHD_OR_HDLR;
  if (!mdia->minf) return P3GPP_ERR_NO_MINF;
  const auto* minf = payload_of<MinfPayload>(mdia->minf);
  if (minf == nullptr) return P3GPP_ERR_NO_MINF_PAYLOAD;
  if (!minf->stbl) return P3GPP_ERR_NO_STBL;
  path.stbl = payload_of<StblPayload>(minf->stbl);
  return path.stbl == nullptr ? P3GPP_ERR_NO_STBL_PAYLOAD : P3GPP_OK;
}

Status require_descriptions_and_sizes(const TrackPath& path) {
  const bool complete = payload_of<StsdPayload>(path.stbl->stsd) != nullptr &&
                        payload_of<StszPayload>(path.stbl->stsz) != nullptr;
  return complete ? P3GPP_OK : P3GPP_ERR_NO_TABLE;
}

Status movie_of(const P3gppFile& file, MoovPayload*& moov) {
  if (!file.moov) return P3GPP_ERR_NO_MOOV;
  moov = payload_of<MoovPayload>(file.moov);
  return moov == nullptr ? P3GPP_ERR_NO_MOOV_PAYLOAD : P3GPP_OK;
}

Status find_track(const P3gppFile& file, uint32_t track_id, BoxNode*& trak) {
  MoovPayload* moov = nullptr;
  const Status status = movie_of(file, moov);
  if (status != P3GPP_OK) return status;
  for (const BoxSlot& candidate : moov->traks) {
    const auto* payload = payload_of<TrakPayload>(candidate);
    const auto* tkhd = payload == nullptr ? nullptr : payload_of<TkhdPayload>(payload->tkhd);
    if (tkhd == nullptr || tkhd->track_id != track_id) continue;
    trak = candidate.get();
    return P3GPP_OK;
  }
  return P3GPP_ERR_NO_TRACK;
}

Status find_tables(const P3gppFile& file, uint32_t track_id, TrackPath& path) {
  BoxNode* trak = nullptr;
  Status status = find_track(file, track_id, trak);
  if (status == P3GPP_OK) status = walk_to_tables(trak, path);
  return status == P3GPP_OK ? require_descriptions_and_sizes(path) : status;
}

}  // namespace zdr::p3gpp
