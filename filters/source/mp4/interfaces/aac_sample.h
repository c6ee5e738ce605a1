// The layout of AAC on a pin of an ISO media file (subtype kSubtypeAac): of its media samples, and of the
// format block of its media type. The pin of an AAC file delivers PCM instead.
//
// A media sample holds up to ten access units (raw_data_block, without headers), without gaps, and ends with
// a table of their ten sizes:
//
//      0  access unit 1, access unit 2, ...
//   n-20  size of access unit 1, of access unit 2, ... of access unit 10
//
// where n is GetActualDataLength(). A size is the number of bytes, 16 bits, low byte first; 0 for a unit that
// is missing or empty. Only the last sample of a track has fewer than ten units, and one before a unit that
// cannot be read. The sizes of the units and 20 add up to n, unless a unit of 64 KiB or more is among them:
// its size is modulo 65536. The start time of the sample is that of its first unit; each further unit starts
// 1024 samples later, at the rate of the core.
//
// The format block (FORMAT_WaveFormatEx) has what a decoder needs to start:
//
//      0  WAVEFORMATEX, 18 bytes; nSamplesPerSec is the rate of the core, even if SBR doubles it
//     18  c, the size of the configuration, 8 bits; three bytes 0
//     22  u, the size of the first access unit of the track, 16 bits, low byte first; two bytes 0
//     26  the configuration (AudioSpecificConfig, ISO/IEC 14496-3, 1.6.2.1), c bytes
//   26+c  the first access unit, u bytes, which shows SBR that the configuration does not signal
#pragma once

#include <cstddef>

namespace zdr::mp4source {

inline constexpr std::size_t kAacUnitsPerSample = 10;
inline constexpr std::size_t kAacSizeTableBytes = 2 * kAacUnitsPerSample;

inline constexpr std::size_t kAacConfigSizeOffset = 18;
inline constexpr std::size_t kAacUnitSizeOffset = 22;
inline constexpr std::size_t kAacConfigOffset = 26;

}  // namespace zdr::mp4source
