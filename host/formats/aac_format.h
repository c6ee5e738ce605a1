// Parses the filter's format block for AAC access units, and the media samples with them.
#pragma once

#include <dshow.h>

#include <optional>
#include <span>
#include <vector>

#include "aacdec/zd_aac_dec.h"
#include "filters/source/mp4/interfaces/aac_sample.h"
#include "host/formats/adts_header.h"
#include "host/text/bytes.h"

namespace zdr::host {

using mp4source::kAacSizeTableBytes;
using mp4source::kAacUnitsPerSample;

bool is_aac_access_units(const AM_MEDIA_TYPE& type);

// Both point into the media type, and are empty if its format block is too short for them.
struct AacFormat {
  Bytes config;  // AudioSpecificConfig
  Bytes first_unit;
};
AacFormat read_aac_format(const AM_MEDIA_TYPE& type);

// Lets the decoder parse a configuration. The first access unit, if not empty, reveals SBR and parametric
// stereo that the configuration does not signal. Returns nothing if the decoder rejects the configuration.
std::optional<Zd_AAC_Dec_Config> read_aac_config(Bytes config, Bytes first_unit);

// True if the unit has an ADTS header.
bool begins_with_syncword(Bytes unit);

// In bytes. Longer ones are damaged: one or two channels have at most a fifth of it, and an ADTS frame has no
// room for more.
inline constexpr size_t kLongestAacUnit = AdtsHeader::kLargestFrame - AdtsHeader::kBytes;
// True if the unit can be parsed as a raw data block of a stream of this configuration.
bool is_aac_unit(const Zd_AAC_Dec_Config& stream, Bytes unit);

// Returns the access units of one media sample; none if the size table does not fit the sample.
std::vector<Bytes> split_aac_sample(Bytes sample);
// Its first access unit; empty if it has none.
Bytes first_aac_unit(Bytes sample);

// What is wrong with a sample or a unit that cannot be decoded.
inline constexpr const char* kAacTableDamage = "size table does not match its sample";
inline constexpr const char* kAacUnitDamage = "cannot be decoded";

// The media sample of up to kAacUnitsPerSample units.
std::vector<uint8_t> join_aac_units(std::span<const Bytes> units);

}  // namespace zdr::host
