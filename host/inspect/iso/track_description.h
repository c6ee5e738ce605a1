// What the headers of an ISO media file say about one of its tracks.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/inspect/iso/movie_records.h"

namespace zdr::host {

// How the samples of pictures are coded. Colours are code points of ISO/IEC 23091-2.
struct PictureFormat {
  using Number = std::optional<uint64_t>;

  std::string chroma;  // "4:2:0"; empty if it is not stated
  Number bit_depth;    // of luma
  Number reference_frames;
  std::optional<bool> has_frames_only;  // false: there may be fields, or frames of fields
  std::optional<bool> is_full_range;
  Number primaries;
  Number transfer;
  Number matrix;
};

// Numbers that the file does not state are absent.
struct TrackDescription {
  using Number = std::optional<uint64_t>;

  uint32_t number = 0;  // among all tracks of the file, from 1
  Number id;
  std::string handler;   // four bytes
  std::string language;  // "eng"; empty without a media header
  Number time_scale;     // units per second
  Number duration;       // of the media, in these units
  Number samples;
  Number sync_samples;  // none without a table of them: all are sync samples
  EditRecord edits;

  // Of the first sample description
  std::string entry_type;  // four bytes
  std::string codec;       // "AVC"; empty if the type is not known
  std::string profile;     // "High"; empty if the configuration does not state it or it has no name
  std::string level;       // "3.1"
  Number width;            // pixels
  Number height;
  Number rotation_degrees;  // clockwise
  Number h_spacing;         // width and height of a pixel
  Number v_spacing;
  PictureFormat format;
  Number channels;
  std::string channel_layout;  // "5.1"; empty if it is not known
  Number sample_rate;          // Hz, of the decoded sound
  Number core_rate;            // Hz, of AAC with SBR

  // Filled in after the headers have been read
  Number media_bytes;    // the sizes of all samples together, as the tables claim
  Number skipped_start;  // of the media, by its only edit, in units of the track
  Number skipped_end;
  std::optional<int64_t> start_100ns;  // when the presentation of the track begins
  Number peak_bit_rate;                // bit/s in the second with most bytes
  std::string pin;                     // that plays the track; empty if none does
  std::string not_played;              // the reason; empty if it is played

  bool has_duration() const { return time_scale.value_or(0) != 0 && duration.value_or(0) != 0; }
  Number bit_rate() const;  // average, bit/s
  uint64_t key_frames() const { return sync_samples.value_or(samples.value_or(0)); }
};

// "video", "audio", "text" ...; the four characters of a handler without a name.
std::string kind_of(std::string_view handler);

}  // namespace zdr::host
