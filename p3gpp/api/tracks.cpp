// The public operations that describe the movie and its tracks, whose kinds are handler types (vide, soun,
// hint, sdsm, odsm, text, meta). They use no stream.
#include <algorithm>
#include <array>
#include <string_view>

#include "p3gpp/boxes/header_boxes.h"
#include "p3gpp/boxes/leaf_boxes.h"
#include "p3gpp/boxes/sample_tables.h"
#include "p3gpp/samples/track_access.h"

namespace zdr::p3gpp {
namespace {

// A kind of track: its handler type (ISO/IEC 14496-12, 8.4.3), the public code, and its counter.
// Kept: text tracks have a code but no counter, and do not count towards the total.
struct TrackKind {
  std::string_view handler_type;
  uint32_t code;
  uint32_t P3gppTrackCounts::*counter;
};
constexpr std::array<TrackKind, 7> kTrackKinds = {{
    {"vide", P3GPP_TRACK_VIDEO, &P3gppTrackCounts::video},
    {"soun", P3GPP_TRACK_AUDIO, &P3gppTrackCounts::audio},
    {"hint", P3GPP_TRACK_HINT, &P3gppTrackCounts::hint},
    {"sdsm", P3GPP_TRACK_SCENE_DESCRIPTION, &P3gppTrackCounts::scene_description},
    {"odsm", P3GPP_TRACK_OBJECT_DESCRIPTOR, &P3gppTrackCounts::object_descriptor},
    {"text", P3GPP_TRACK_TEXT, nullptr},
    {"meta", P3GPP_TRACK_METADATA, &P3gppTrackCounts::metadata},
}};

// Returns null for a handler type without a code.
const TrackKind* kind_of(const HdlrPayload& hdlr) {
  const auto* kind = std::find_if(kTrackKinds.begin(), kTrackKinds.end(),
                                  [&](const TrackKind& each) { return hdlr.is(each.handler_type); });
  return kind == kTrackKinds.end() ? nullptr : kind;
}

const TrackKind* kind_of(const TrakPayload& trak) {
  const auto* mdia = payload_of<MdiaPayload>(trak.mdia);
  const auto* hdlr = mdia == nullptr ? nullptr : payload_of<HdlrPayload>(mdia->hdlr);
  return hdlr == nullptr ? nullptr : kind_of(*hdlr);
}

// Calls `visit(trak, kind)` for every track of a known kind, in file order.
template <typename Visit>
Status for_each_track(const P3gppFile& file, Visit&& visit) {
  MoovPayload* moov = nullptr;
  const Status status = movie_of(file, moov);
  if (status != P3GPP_OK) return status;
  for (const BoxSlot& node : moov->traks) {
    if (!node) return P3GPP_ERR_NO_TRACK;
    const auto* trak = payload_of<TrakPayload>(node);
    const TrackKind* kind = trak == nullptr ? nullptr : kind_of(*trak);
    if (kind != nullptr) visit(*trak, *kind);
  }
  return P3GPP_OK;
}

void release_movie_info(P3gppMovieInfo* info) {
  if (info == nullptr) return;
  delete[] info->iods;
  *info = {};
  info->release = release_movie_info;
}

Status get_movie_info(const P3gppFile& file, P3gppMovieInfo& info) {
  MoovPayload* moov = nullptr;
  const Status status = movie_of(file, moov);
  if (status != P3GPP_OK) return status;
  const auto* mvhd = payload_of<MvhdPayload>(moov->mvhd);
  if (mvhd == nullptr) return P3GPP_ERR_NO_MOOV_PAYLOAD;
  if (moov->iods) {
    const auto* iods = payload_of<IodsPayload>(moov->iods);
    if (iods == nullptr || iods->bytes.empty()) return P3GPP_ERR_NO_IODS_BYTES;
    info.iods = new uint8_t[iods->bytes.size()];
    std::copy(iods->bytes.begin(), iods->bytes.end(), info.iods);
    info.iods_length = static_cast<uint32_t>(iods->bytes.size());
  }
  // Kept: for 64-bit times the high half is reported, here and for tracks.
  info.creation_time = mvhd->creation_time.first;
  info.modification_time = mvhd->modification_time.first;
  info.time_scale = mvhd->time_scale;
  info.duration = mvhd->duration.first;
  return P3GPP_OK;
}

void release_track_info(P3gppTrackInfo* info) {
  delete info;
}

Status get_track_info(const P3gppFile& file, uint32_t track_id, P3gppTrackInfo** info) {
  TrackPath path;
  const Status status = find_tables(file, track_id, path);
  if (status != P3GPP_OK) return status;
  const TrackKind* kind = kind_of(*path.hdlr);
  if (kind == nullptr) return P3GPP_ERR_UNKNOWN_HANDLER;
  *info = new P3gppTrackInfo{
      .release = release_track_info,
      .track_duration = path.tkhd->duration.first,
      .media_duration = path.mdhd->duration.first,
      .time_scale = path.mdhd->time_scale,
      .creation_time = path.tkhd->creation_time.first,
      .modification_time = path.tkhd->modification_time.first,
      .sample_count = payload_of<StszPayload>(path.stbl->stsz)->sample_count,
      .track_type = kind->code,
  };
  return P3GPP_OK;
}

}  // namespace
}  // namespace zdr::p3gpp

using namespace zdr::p3gpp;

int32_t P3GPP_GetMovieInfo(P3gppFile* file, P3gppMovieInfo* info) noexcept {
  if (file == nullptr || info == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  *info = {};
  info->release = release_movie_info;
  return guarded([&] { return get_movie_info(*file, *info); });
}

int32_t P3GPP_GetTrackCounts(P3gppFile* file, P3gppTrackCounts* counts) noexcept {
  if (file == nullptr || counts == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  *counts = {};
  return for_each_track(*file, [&](const TrakPayload&, const TrackKind& kind) {
    if (kind.counter == nullptr) return;
    ++(counts->*kind.counter);
    ++counts->total;
  });
}

int32_t P3GPP_GetTrackIds(P3gppFile* file, uint32_t type, uint32_t* ids, uint32_t* count) noexcept {
  if (file == nullptr || ids == nullptr || count == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  *count = 0;
  return for_each_track(*file, [&](const TrakPayload& trak, const TrackKind& kind) {
    const auto* tkhd = payload_of<TkhdPayload>(trak.tkhd);
    if (kind.code == type && tkhd != nullptr) ids[(*count)++] = tkhd->track_id;
  });
}

int32_t P3GPP_GetTrackInfo(P3gppFile* file, uint32_t track_id, P3gppTrackInfo** info) noexcept {
  if (file == nullptr || info == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  *info = nullptr;
  return guarded([&] { return get_track_info(*file, track_id, info); });
}
