// One track of an ISO media file as a pin plays it: its description, its position, and reading from it.
//
// Threads: the description (stream() to is_aac()) does not change after open() and may be read by any thread.
// Everything below it is not thread-safe, because a track handle has cursors and caches: the caller holds the
// mutex of its source.
#pragma once

#include <windows.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "filters/source/mp4/core/stream_kind.h"
#include "filters/source/mp4/interfaces/aac_sample.h"
#include "filters/source/mp4/readers/owned_handles.h"
#include "p3gpp/p3gpp.h"

namespace zdr::mp4source {

// Access units of speech and AAC audio are small, so ten of them share one media sample. The units of an AAC
// group are followed by a table of their sizes.
inline constexpr uint32_t kUnitsPerGroup = kAacUnitsPerSample;
inline constexpr uint32_t kSizeTableBytes = kAacSizeTableBytes;

// The content of one media sample.
struct AccessUnits {
  uint32_t number = 0;         // of the first unit
  uint32_t decoding_time = 0;  // of the first unit, media time
  uint32_t size = 0;           // bytes in the buffer, including the size table of AAC
};

struct FrameTiming {
  bool is_sync = false;
  REFERENCE_TIME duration = 1;      // stop time - start time
  std::optional<uint32_t> next_ms;  // decoding time of the next frame, whole milliseconds
};

struct OwnedSample {
  std::unique_ptr<uint8_t[]> bytes;
  uint32_t size = 0;
  std::span<const uint8_t> span() const { return {bytes.get(), size}; }
};
enum class ReadResult { kOk, kNoMemory, kFailed };

// The length field of an AVC record, low byte first. It precedes the parameter sets wherever a decoder gets
// them.
inline std::array<uint8_t, 2> nal_length_field(const P3gppAvcInfo& avc) {
  return {static_cast<uint8_t>(avc.nal_length_size_minus_one),
          static_cast<uint8_t>(avc.nal_length_size_minus_one >> 8)};
}

class IsoTrack {
 public:
  IsoTrack() = default;
  IsoTrack(const IsoTrack&) = delete;
  IsoTrack& operator=(const IsoTrack&) = delete;

  // False if the track cannot be described or opened; it is unusable then. `file` outlives this object.
  // `file_size` limits the largest sample that the tables claim.
  bool open(P3gppFile* file, uint32_t track_id, StreamKind stream, uint64_t file_size);

  StreamKind stream() const { return stream_; }
  // Null before open().
  const P3gppTrackInfo* info() const { return info_.get(); }
  const P3gppDecoderInfo* decoder() const { return decoder_.get(); }
  uint8_t object_type() const { return decoder_ ? decoder_->object_type : uint8_t{0}; }
  uint32_t time_scale() const { return info_ ? info_->time_scale : 0; }
  uint32_t duration_ms() const;
  bool is_aac() const { return is_aac_; }

  // The first call of each reads the whole table of sizes. Programs that only describe a track avoid it
  // unless its media type needs the value. A read that fails is tried again by the next call. Without memory
  // they throw bad_alloc.
  uint32_t largest_sample();  // bytes; 0 if unknown
  float average_bitrate();    // bits per second; 0 if unknown

  // The decoder configuration that media types carry: the bytes of a systems record; empty for other codecs.
  std::span<const uint8_t> configuration() const;
  // Called after an AAC configuration was parsed, with the number of bytes that the parser consumed.
  void shorten_configuration(uint32_t length) { configuration_length_ = length; }
  // Bytes that follow the header in the offered video type.
  uint32_t format_extra_length() const { return format_extra_length_; }
  void set_format_extra_length(uint32_t length) { format_extra_length_ = length; }

  // Reads sample 1. Playback does not move, although both use the same cursors. May throw bad_alloc.
  ReadResult read_first_sample(OwnedSample& sample);

  // Moves to the sync sample at or before the time; read_next() then reads that sample. False if there is
  // none.
  bool seek(REFERENCE_TIME target);
  // Reads the next unit, or for packed codecs the next ten, into `buffer` of `capacity` bytes. Empty if the
  // track has ended, the read failed, or the first unit does not fit.
  std::optional<AccessUnits> read_next(uint8_t* buffer, uint32_t capacity);
  void skip_next() { ++counter_; }

  // Video: classifies the frame just read and measures the time to the next frame and the next sync sample.
  FrameTiming describe_frame(const AccessUnits& frame, double frame_rate);
  // Video: skips to the next sync sample if the renderer is late by more than the time to it.
  void skip_if_late(REFERENCE_TIME lateness);

 private:
  bool packs_groups() const;
  bool read_unit(uint32_t number, P3gppSample& sample, uint8_t* buffer, uint32_t capacity);
  std::optional<AccessUnits> read_group(uint8_t* buffer, uint32_t capacity);
  bool is_sync_sample(uint32_t number);
  std::optional<uint32_t> decoding_time_of(uint32_t number, uint32_t fallback);
  uint32_t next_sync_sample(uint32_t number);

  StreamKind stream_ = StreamKind::kVideo;
  TrackInfoPointer info_;
  DecoderInfoPointer decoder_;
  bool is_aac_ = false;
  uint64_t file_size_ = 0;

  IsoTrackPointer track_;
  std::optional<uint32_t> largest_sample_;
  std::optional<float> average_bitrate_;
  uint32_t configuration_length_ = 0;
  uint32_t format_extra_length_ = 0;
  // Kept: one record for all reads. Where the time table ends early, a sample gets the time of the sample
  // before it, to which the parser adds the edit shift each time.
  P3gppSample sample_{};
  // Kept: a stop does not reset it, so the track plays on after the last sample read, whose number this is.
  uint32_t counter_ = 0;
  REFERENCE_TIME time_to_next_sync_ = 0;
};

}  // namespace zdr::mp4source
