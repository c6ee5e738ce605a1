// One track of an ISO media file as a pin plays it: its description, its position, and what is read from it.
//
// Threads: not thread-safe. The description (stream() to average_bitrate()) does not change after open() and
// may be read by anyone; for everything below the pin's mutex is held, since a track handle carries cursors
// and caches.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "filters/source/mp4/readers/owned_handles.h"
#include "filters/source/mp4/sync/seek_sync.h"
#include "p3gpp/p3gpp.h"

namespace zdr::mp4source {

// Access units of speech and AAC audio are small, so ten of them share one media sample.
inline constexpr uint32_t kUnitsPerGroup = 10;
// Behind the units of an AAC group stands the table of their sizes, 16 bits each, little-endian.
inline constexpr uint32_t kSizeTableBytes = 2 * kUnitsPerGroup;

// What one media sample was filled with.
struct AccessUnits {
  uint32_t number = 0;         // of the first unit
  uint32_t decoding_time = 0;  // of the first unit, media time
  uint32_t size = 0;           // bytes in the buffer, with the size table where there is one
};

struct FrameTiming {
  bool is_sync = false;
  REFERENCE_TIME duration = 1;      // stop time - start time
  std::optional<uint32_t> next_ms;  // decoding time of the next frame, whole milliseconds
};

// A sample in memory of its own.
struct OwnedSample {
  std::unique_ptr<uint8_t[]> bytes;
  uint32_t size = 0;
  std::span<const uint8_t> span() const { return {bytes.get(), size}; }
};
enum class ReadResult { kOk, kNoMemory, kFailed };

class IsoTrack {
 public:
  IsoTrack() = default;
  IsoTrack(const IsoTrack&) = delete;
  IsoTrack& operator=(const IsoTrack&) = delete;

  // False when the track cannot be described or opened; it then stays unusable. `file` outlives this object.
  // No sample can be larger than `file_size`, whatever the tables claim.
  bool open(P3gppFile* file, uint32_t track_id, Stream stream, uint64_t file_size);

  Stream stream() const { return stream_; }
  // Null until open() has got that far.
  const P3gppTrackInfo* info() const { return info_.get(); }
  const P3gppDecoderInfo* decoder() const { return decoder_.get(); }
  uint8_t object_type() const { return decoder_ ? decoder_->object_type : uint8_t{0}; }
  uint32_t time_scale() const { return info_ ? info_->time_scale : 0; }
  uint32_t duration_ms() const;
  bool is_aac() const { return is_aac_; }
  uint32_t largest_sample() const { return largest_sample_; }  // bytes; 0 when unknown
  float average_bitrate() const { return average_bitrate_; }   // of video, bits per second

  // The decoder configuration that media types carry: the bytes of a systems record, none for other codecs.
  std::span<const uint8_t> configuration() const;
  // After an AAC configuration was parsed only the bytes that the parser consumed count.
  void shorten_configuration(uint32_t length) { configuration_length_ = length; }
  // Bytes that the offered video type carries behind its header.
  uint32_t format_extra_length() const { return format_extra_length_; }
  void set_format_extra_length(uint32_t length) { format_extra_length_ = length; }

  // Reads sample 1 apart from playback, though through the same cursors.
  ReadResult read_first_sample(OwnedSample& sample);

  // Goes to the sync sample at or before the time, so that read_next() reads it.
  bool seek(REFERENCE_TIME target);
  // Reads the next unit, or for speech and AAC the next ten, into `buffer` of `room` bytes. Nothing when the
  // track has ended, the read failed, or the first unit does not fit.
  std::optional<AccessUnits> read_next(uint8_t* buffer, uint32_t room);
  void skip_next() { ++counter_; }

  // Video: what the frame just read is, and how long until the next frame and the next sync sample.
  FrameTiming describe_frame(const AccessUnits& frame, double frame_rate);
  // Video: skips to the next sync sample if the renderer is later than that sample would be early.
  void skip_if_late(REFERENCE_TIME lateness);

 private:
  bool packs_groups() const;
  bool read_unit(uint32_t number, P3gppSample& sample, uint8_t* buffer, uint32_t room);
  std::optional<AccessUnits> read_group(uint8_t* buffer, uint32_t room);
  bool is_sync_sample(uint32_t number);
  std::optional<uint32_t> decoding_time_of(uint32_t number, uint32_t unless_known);
  uint32_t next_sync_sample(uint32_t number);

  Stream stream_ = Stream::kVideo;
  TrackInfoPointer info_;
  DecoderInfoPointer decoder_;
  bool is_aac_ = false;
  uint32_t largest_sample_ = 0;
  float average_bitrate_ = 0;

  IsoTrackPointer track_;
  uint32_t configuration_length_ = 0;
  uint32_t format_extra_length_ = 0;
  // Kept from read to read: where the time table ends early, a sample goes by the time of the one before.
  P3gppSample sample_{};
  uint32_t counter_ = 0;  // number of the last sample read
  REFERENCE_TIME time_to_next_sync_ = 0;
};

}  // namespace zdr::mp4source
