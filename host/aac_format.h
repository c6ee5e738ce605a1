// The filter's format block for AAC access units, and the layout of a media sample with them.
#pragma once

#include <dshow.h>

#include <optional>
#include <vector>

#include "aacdec/zd_aac_dec.h"
#include "host/bytes.h"

namespace zdr::host {

// Media samples hold up to ten access units and end in a table of ten 16-bit little-endian sizes.
constexpr size_t kAacUnitsPerSample = 10;
constexpr size_t kAacSizeTableBytes = 2 * kAacUnitsPerSample;

bool is_aac_access_units(const AM_MEDIA_TYPE& type);

// Both borrow from the media type; empty where its block is too short.
struct AacFormat {
  Bytes config;  // AudioSpecificConfig
  Bytes first_unit;
};
AacFormat read_aac_format(const AM_MEDIA_TYPE& type);

// The decoder's reading of a configuration. The first access unit, if there is one, shows SBR and parametric
// stereo that the configuration does not signal. Nothing if the decoder refuses it.
std::optional<Zd_AAC_Dec_Config> read_aac_config(Bytes config, Bytes first_unit);

// The access units of one media sample; empty if the table does not fit the sample.
std::vector<Bytes> split_aac_sample(Bytes sample);

}  // namespace zdr::host
