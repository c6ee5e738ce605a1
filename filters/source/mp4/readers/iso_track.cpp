// Describes, reads and times one track.
#include "filters/source/mp4/readers/iso_track.h"

#include <algorithm>
#include <new>

#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/readers/iso_file.h"

namespace zdr::mp4source {
namespace {

// Bytes shared by the caches of a track's sample tables.
constexpr uint32_t kVideoCacheBudget = 24576;
constexpr uint32_t kAudioCacheBudget = 8192;

constexpr uint32_t kFirstSample = 1;

// Frames are skipped only if the renderer is later than the time to the next sync sample less this margin.
constexpr REFERENCE_TIME kLatenessMargin = 100000;

uint32_t configuration_length_of(const P3gppDecoderInfo& decoder) {
  if (decoder.kind == P3GPP_KIND_SYSTEMS) return decoder.u.systems.decoder_specific_info_length;
  if (decoder.kind == P3GPP_KIND_CODEC && decoder.object_type == P3GPP_OTI_AVC) {
    return uint32_t{decoder.u.avc.sps_list_length} + decoder.u.avc.pps_list_length;
  }
  return 0;
}

void store_le16(uint8_t* out, uint16_t value) {
  out[0] = static_cast<uint8_t>(value);
  out[1] = static_cast<uint8_t>(value >> 8);
}

}  // namespace

bool IsoTrack::open(P3gppFile* file, uint32_t track_id, StreamKind stream, uint64_t file_size) {
  stream_ = stream;
  info_ = read_track_info(file, track_id);
  if (!info_) return false;
  decoder_ = read_decoder_info(file, track_id);
  if (!decoder_) return false;
  is_aac_ = object_type() == P3GPP_OTI_AAC || object_type() == P3GPP_OTI_MPEG2_AAC_LC;
  configuration_length_ = configuration_length_of(*decoder_);
  format_extra_length_ = configuration_length_;

  P3gppTrack* track = nullptr;
  const uint32_t cache_budget = stream == StreamKind::kVideo ? kVideoCacheBudget : kAudioCacheBudget;
  const int32_t status = with_memory(P3GPP_OpenTrack(file, &track, track_id, cache_budget));
  if (status == P3GPP_ERR_OPEN) throw FileNotOpened();
  if (status != P3GPP_OK) return false;
  track_.reset(track);
  file_size_ = file_size;
  return true;
}

// This query and the next may fail: without a size no buffer is allocated, without a bitrate the media type
// has 0.
uint32_t IsoTrack::largest_sample() {
  if (largest_sample_) return *largest_sample_;
  uint32_t size = 0;
  if (with_memory(P3GPP_GetMaxSampleSize(track_.get(), &size)) != P3GPP_OK) return 0;
  largest_sample_ = static_cast<uint32_t>(std::min<uint64_t>(size, file_size_));
  return *largest_sample_;
}

float IsoTrack::average_bitrate() {
  if (average_bitrate_) return *average_bitrate_;
  float bitrate = 0;
  if (with_memory(P3GPP_GetBitrate(track_.get(), &bitrate)) != P3GPP_OK) return 0;
  average_bitrate_ = bitrate;
  return bitrate;
}

uint32_t IsoTrack::duration_ms() const {
  if (!info_) return 0;
  // Kept: a media duration of 0 is replaced by the track duration, which is in units of the movie's time
  // scale but is divided by the track's.
  const uint32_t duration = info_->media_duration != 0 ? info_->media_duration : info_->track_duration;
  // Kept: an edit shift is not included, so the stop position cuts off the tail of a shifted track.
  return media_time_to_whole_ms(duration, info_->time_scale);
}

std::span<const uint8_t> IsoTrack::configuration() const {
  if (!decoder_ || decoder_->kind != P3GPP_KIND_SYSTEMS) return {};
  const P3gppSystemsInfo& systems = decoder_->u.systems;
  if (systems.decoder_specific_info == nullptr) return {};
  return {systems.decoder_specific_info,
          std::min(configuration_length_, systems.decoder_specific_info_length)};
}

// Kept: QCELP and EVRC are delivered one unit a sample.
bool IsoTrack::packs_groups() const {
  if (stream_ == StreamKind::kVideo) return false;
  switch (object_type()) {
    case P3GPP_OTI_AAC:
    case P3GPP_OTI_MPEG2_AAC_LC:
    case P3GPP_OTI_AMR:
    case P3GPP_OTI_AMR_WB:
    case P3GPP_OTI_AC3:
    case P3GPP_OTI_EAC3:
      return true;
    default:
      return false;
  }
}

// Reading a sample that does not fit fails.
bool IsoTrack::read_unit(uint32_t number, P3gppSample& sample, uint8_t* buffer, uint32_t capacity) {
  sample.number = number;
  sample.buffer = buffer;
  return with_memory(P3GPP_ReadSampleBounded(track_.get(), &sample, capacity)) == P3GPP_OK;
}

ReadResult IsoTrack::read_first_sample(OwnedSample& sample) {
  const uint32_t capacity = largest_sample();
  sample.bytes.reset(new (std::nothrow) uint8_t[capacity]);
  if (!sample.bytes) return ReadResult::kNoMemory;
  P3gppSample request{};
  if (!read_unit(kFirstSample, request, sample.bytes.get(), capacity)) return ReadResult::kFailed;
  sample.size = request.size;
  return ReadResult::kOk;
}

bool IsoTrack::seek(REFERENCE_TIME target) {
  uint32_t media_time = seek_media_time(target, time_scale());
  uint32_t number = 0;
  if (with_memory(P3GPP_TimeToSample(track_.get(), &media_time, &number)) != P3GPP_OK) return false;
  if (with_memory(P3GPP_FindSyncSample(track_.get(), &number, P3GPP_SYNC_BACKWARD)) != P3GPP_OK) return false;
  counter_ = number - 1;
  return true;
}

std::optional<AccessUnits> IsoTrack::read_next(uint8_t* buffer, uint32_t capacity) {
  ++counter_;
  if (packs_groups()) return read_group(buffer, capacity);
  if (!read_unit(counter_, sample_, buffer, capacity)) return std::nullopt;
  return AccessUnits{counter_, sample_.decoding_time, sample_.size};
}

std::optional<AccessUnits> IsoTrack::read_group(uint8_t* buffer, uint32_t capacity) {
  const uint32_t table_bytes = is_aac_ ? kSizeTableBytes : 0;
  const uint32_t unit_capacity = capacity - std::min(capacity, table_bytes);
  AccessUnits units{.number = counter_};
  uint16_t sizes[kUnitsPerGroup] = {};
  // Kept: a failed read leaves the counter on the failed unit, so that the next group skips it.
  for (uint32_t i = 0; i < kUnitsPerGroup; ++i) {
    if (i > 0) ++counter_;
    if (!read_unit(counter_, sample_, buffer + units.size, unit_capacity - units.size)) break;
    if (i == 0) units.decoding_time = sample_.decoding_time;
    sizes[i] = static_cast<uint16_t>(sample_.size);  // Kept: an entry has 16 bits, even for larger units.
    units.size += sample_.size;
  }
  if (units.size == 0) return std::nullopt;
  if (is_aac_) {
    for (const uint16_t size : sizes) {
      store_le16(buffer + units.size, size);
      units.size += 2;
    }
  }
  return units;
}

// False if the query fails.
bool IsoTrack::is_sync_sample(uint32_t number) {
  int32_t is_sync = 0;
  return with_memory(P3GPP_IsSyncSample(track_.get(), number, &is_sync)) == P3GPP_OK && is_sync != 0;
}

std::optional<uint32_t> IsoTrack::decoding_time_of(uint32_t number, uint32_t fallback) {
  uint32_t decoding_time = fallback;
  uint32_t composition_time = fallback;
  if (with_memory(P3GPP_GetSampleTime(track_.get(), number, &decoding_time, &composition_time)) != P3GPP_OK) {
    return std::nullopt;
  }
  return decoding_time;
}

// The first sync sample after `number`; 0, which is not a sample number, when there is none.
uint32_t IsoTrack::next_sync_sample(uint32_t number) {
  uint32_t next = number + 1;
  int32_t is_sync = 0;
  if (with_memory(P3GPP_IsSyncSample(track_.get(), next, &is_sync)) != P3GPP_OK || is_sync != 0) return next;
  return with_memory(P3GPP_FindSyncSample(track_.get(), &next, P3GPP_SYNC_FORWARD)) == P3GPP_OK ? next : 0;
}

// The queries use the cursors of the reads, so their results depend on their order.
FrameTiming IsoTrack::describe_frame(const AccessUnits& frame, double frame_rate) {
  FrameTiming timing;
  const double frame_ms = media_time_to_ms(frame.decoding_time, time_scale());
  timing.is_sync = is_sync_sample(frame.number);
  if (timing.is_sync) {
    time_to_next_sync_ = 0;
    const auto sync_time = decoding_time_of(next_sync_sample(frame.number), frame.decoding_time);
    if (sync_time) {
      time_to_next_sync_ = ms_span_to_reference_time(media_time_to_ms(*sync_time, time_scale()) - frame_ms);
    }
  }
  if (const auto next_time = decoding_time_of(frame.number + 1, frame.decoding_time)) {
    const double next_ms = media_time_to_ms(*next_time, time_scale());
    timing.duration = ms_span_to_reference_time(next_ms - frame_ms);
    timing.next_ms = trunc_to_u32(next_ms);
  } else if (frame_rate != 0) {
    timing.duration = ms_to_reference_time(trunc_to_u32(1000.0 / frame_rate));
  }
  // Kept: without a later sync sample the time runs below 0, and any lateness then requests a skip.
  time_to_next_sync_ = wrapping_sub(time_to_next_sync_, timing.duration);
  return timing;
}

void IsoTrack::skip_if_late(REFERENCE_TIME lateness) {
  if (time_to_next_sync_ == 0 || lateness <= wrapping_sub(time_to_next_sync_, kLatenessMargin)) return;
  uint32_t number = counter_ + 1;
  int32_t is_sync = 0;
  if (with_memory(P3GPP_IsSyncSample(track_.get(), number, &is_sync)) != P3GPP_OK || is_sync != 0) return;
  if (with_memory(P3GPP_FindSyncSample(track_.get(), &number, P3GPP_SYNC_FORWARD)) == P3GPP_OK)
    counter_ = number - 1;
}

}  // namespace zdr::mp4source
