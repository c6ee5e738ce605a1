// The media types that a pin offers and accepts for its track. The caller holds the mutex of the track's
// source.
#pragma once

#include <streams.h>

#include <algorithm>
#include <cstring>
#include <span>

#include "filters/source/mp4/readers/iso_track.h"

namespace zdr::mp4source {

// Kept: failures that are not HRESULTs of the platform, but negative like them.
inline constexpr HRESULT kTypeNotBuilt = -1;    // no type for this codec, or its first sample cannot be read
inline constexpr HRESULT kNoSpeechFormat = -2;  // no memory for the format block of a speech type

struct TypeRequest {
  IsoTrack& track;
  double frame_rate;  // frames per second; 0 if unknown
};
using TypeBuilder = HRESULT (*)(const TypeRequest& request, CMediaType& type);

// Builds the type of the track's codec. kTypeNotBuilt for a codec without a builder.
HRESULT build_track_type(const TypeRequest& request, CMediaType& type);

// The builders, in a file for each kind of media.
HRESULT build_mpeg4_visual_type(const TypeRequest& request, CMediaType& type);
HRESULT build_h263_type(const TypeRequest& request, CMediaType& type);
HRESULT build_avc_type(const TypeRequest& request, CMediaType& type);
HRESULT build_aac_type(const TypeRequest& request, CMediaType& type);
HRESULT build_amr_type(const TypeRequest& request, CMediaType& type);
HRESULT build_amr_wb_type(const TypeRequest& request, CMediaType& type);
HRESULT build_qcelp_type(const TypeRequest& request, CMediaType& type);
HRESULT build_evrc_type(const TypeRequest& request, CMediaType& type);
HRESULT build_ac3_type(const TypeRequest& request, CMediaType& type);

// Speech of one band, in a track or in a speech file.
HRESULT build_amr_type_of_band(bool wide_band, std::span<const uint8_t> configuration, CMediaType& type);

bool accepts_media_type(const IsoTrack& track, const CMediaType& type);

// Gives the type a new, zero-filled format block. Null if memory runs out.
BYTE* new_format_block(CMediaType& type, uint32_t size);

void set_audio_type(const GUID& subtype, const GUID& format_type, CMediaType& type);

// Fills a block from front to back and cuts off what does not fit: some blocks are smaller than their
// content.
class BlockWriter {
 public:
  explicit BlockWriter(std::span<BYTE> block) : rest_(block) {}
  void append(std::span<const uint8_t> bytes) {
    const size_t count = std::min(bytes.size(), rest_.size());
    if (count > 0) std::memcpy(rest_.data(), bytes.data(), count);
    rest_ = rest_.subspan(count);
  }

 private:
  std::span<BYTE> rest_;
};

}  // namespace zdr::mp4source
