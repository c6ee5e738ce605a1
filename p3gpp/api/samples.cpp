// The public operations on one track: opening it, its samples and times.
#include <limits>

#include "p3gpp/boxes/header_boxes.h"
#include "p3gpp/boxes/sample_tables.h"
#include "p3gpp/samples/open_track.h"
#include "p3gpp/samples/sample_lookup.h"
#include "p3gpp/samples/sample_reading.h"
#include "p3gpp/samples/sample_walk.h"
#include "p3gpp/samples/track_access.h"

namespace zdr::p3gpp {
namespace {

// Runs `query(path)` on an open track. A closed track returns the status of its first missing box, else
// P3GPP_ERR_GENERIC.
template <typename Query>
Status on_track(P3gppTrack* track, Query&& query) noexcept {
  return guarded([&]() -> Status {
    const auto* trak = payload_of<TrakPayload>(to_node(track));
    if (trak != nullptr && trak->open_path.stbl != nullptr) return query(trak->open_path);
    TrackPath path;
    const Status status = walk_to_tables(to_node(track), path);
    return status != P3GPP_OK ? status : Status{P3GPP_ERR_GENERIC};
  });
}

// The same for queries that need sample descriptions and sizes.
template <typename Query>
Status on_complete_track(P3gppTrack* track, Query&& query) noexcept {
  return on_track(track, [&](const TrackPath& path) {
    const Status status = require_descriptions_and_sizes(path);
    return status == P3GPP_OK ? query(path) : status;
  });
}

// Kept: the last sample is not counted, and a track shorter than one second has no bitrate.
Status average_bitrate(const TrackPath& path, float& bits_per_second) {
  const auto* stsz = payload_of<StszPayload>(path.stbl->stsz);
  const uint32_t duration = path.mdhd->duration.first;
  const uint32_t time_scale = path.mdhd->time_scale;
  if (time_scale == 0) return P3GPP_ERR_GENERIC;
  if (duration / time_scale == 0) return P3GPP_ERR_GENERIC;
  uint64_t bytes = 0;
  const uint32_t counted = stsz->sample_count == 0 ? 0 : stsz->sample_count - 1;
  const Status status = bytes_of_first(*stsz, counted, bytes);
  if (status != P3GPP_OK) return status;
  const double seconds = static_cast<double>(duration) / time_scale;
  bits_per_second = static_cast<float>(static_cast<double>(bytes) / seconds * 8);
  return P3GPP_OK;
}

}  // namespace
}  // namespace zdr::p3gpp

using namespace zdr::p3gpp;

int32_t P3GPP_OpenTrack(P3gppFile* file, P3gppTrack** track, uint32_t track_id,
                        uint32_t cache_budget) noexcept {
  if (file == nullptr || track == nullptr || cache_budget == 0) return P3GPP_ERR_BAD_ARGUMENT;
  *track = nullptr;
  return guarded([&] {
    BoxNode* trak = nullptr;
    const Status status = open_track(*file, track_id, cache_budget, trak);
    if (status == P3GPP_OK) *track = to_handle(trak);
    return status;
  });
}

int32_t P3GPP_CloseTrack(P3gppTrack* track) noexcept {
  if (track == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  return on_track(track, [](const TrackPath& path) {
    close_track(path);
    return P3GPP_OK;
  });
}

int32_t P3GPP_GetMaxSampleSize(P3gppTrack* track, uint32_t* size) noexcept {
  if (track == nullptr || size == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  return on_complete_track(track, [&](const TrackPath& path) {
    return largest_sample_size(*payload_of<StszPayload>(path.stbl->stsz), *size);
  });
}

int32_t P3GPP_GetTotalSampleSize(P3gppTrack* track, uint64_t* bytes) noexcept {
  if (track == nullptr || bytes == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  return on_complete_track(track, [&](const TrackPath& path) {
    const auto* stsz = payload_of<StszPayload>(path.stbl->stsz);
    return bytes_of_first(*stsz, stsz->sample_count, *bytes);
  });
}

int32_t P3GPP_GetBitrate(P3gppTrack* track, float* bits_per_second) noexcept {
  if (bits_per_second == nullptr) return P3GPP_ERR_GENERIC;
  *bits_per_second = 0;
  if (track == nullptr) return P3GPP_ERR_GENERIC;
  const Status status = on_complete_track(
      track, [&](const TrackPath& path) { return average_bitrate(path, *bits_per_second); });
  return status == P3GPP_OK || status == P3GPP_ERR_NO_MEMORY ? status : P3GPP_ERR_GENERIC;
}

int32_t P3GPP_ReadSample(P3gppTrack* track, P3gppSample* sample) noexcept {
  return P3GPP_ReadSampleBounded(track, sample, std::numeric_limits<uint32_t>::max());
}

int32_t P3GPP_ReadSampleBounded(P3gppTrack* track, P3gppSample* sample, uint32_t capacity) noexcept {
  if (track == nullptr || sample == nullptr || !to_node(track)->payload) {
    return P3GPP_ERR_BAD_ARGUMENT;
  }
  return on_track(track, [&](const TrackPath& path) { return read_sample(path, *sample, capacity); });
}

int32_t P3GPP_LocateSamples(P3gppTrack* track, P3gppSample* samples, uint32_t count,
                            uint32_t* located) noexcept {
  if (track == nullptr || samples == nullptr || count == 0 || located == nullptr)
    return P3GPP_ERR_BAD_ARGUMENT;
  *located = 0;
  return on_track(track, [&](const TrackPath& path) {
    return locate_samples(path, {samples, count}, *located);
  });
}

int32_t P3GPP_GetSampleTime(P3gppTrack* track, uint32_t number, uint32_t* decoding_time,
                            uint32_t* composition_time) noexcept {
  if (track == nullptr || decoding_time == nullptr || composition_time == nullptr) {
    return P3GPP_ERR_BAD_ARGUMENT;
  }
  return on_track(track, [&](const TrackPath& path) {
    const Status status = sample_times(*path.stbl, number, *decoding_time, *composition_time);
    if (status == P3GPP_OK) *decoding_time += path.trak->edit_shift;
    return status;
  });
}

int32_t P3GPP_TimeToSample(P3gppTrack* track, uint32_t* time, uint32_t* number) noexcept {
  if (track == nullptr || time == nullptr || number == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  return on_complete_track(track, [&](const TrackPath& path) {
    TimedSample sample;
    const Status status = time_to_sample(*path.stbl, *time, sample);
    if (status != P3GPP_OK) return status;
    *time = sample.time;
    *number = sample.number;
    return Status{P3GPP_OK};
  });
}

int32_t P3GPP_FindSyncSample(P3gppTrack* track, uint32_t* number, int32_t direction) noexcept {
  if (track == nullptr || number == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  const SyncDirection towards =
      direction == P3GPP_SYNC_FORWARD ? SyncDirection::kForward : SyncDirection::kBackward;
  return on_complete_track(
      track, [&](const TrackPath& path) { return find_sync_sample(*path.stbl, *number, towards, *number); });
}

int32_t P3GPP_IsSyncSample(P3gppTrack* track, uint32_t number, int32_t* is_sync) noexcept {
  if (track == nullptr || is_sync == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  return on_complete_track(track, [&](const TrackPath& path) {
    bool answer = false;
    const Status status = is_sync_sample(*path.stbl, number, answer);
    if (status == P3GPP_OK) *is_sync = answer ? 1 : 0;
    return status;
  });
}

int32_t P3GPP_GetAllSyncCount(P3gppTrack* track, uint32_t* count) noexcept {
  if (track == nullptr || count == nullptr) return P3GPP_ERR_BAD_ARGUMENT;
  return on_complete_track(track, [&](const TrackPath& path) {
    const bool has_table = payload_of<StssPayload>(path.stbl->stss) != nullptr;
    *count = has_table ? 0 : payload_of<StszPayload>(path.stbl->stsz)->sample_count;
    return Status{P3GPP_OK};
  });
}
