// Sizes of the frames of both bands by their type, with the TOC byte (3GPP TS 26.101 and TS 26.201).
#pragma once

#include <array>
#include <cstdint>

namespace zdr::amrf {

// 4.75 to 12.2 kbit/s, SID; 9 to 14 are reserved in this format, 15 has no data.
inline constexpr std::array<uint8_t, 16> kNarrowBandFrameSizes = {13, 14, 16, 18, 20, 21, 27, 32,
                                                                  6,  1,  1,  1,  1,  1,  1,  1};

// 6.60 to 23.85 kbit/s, SID; 14 is a lost frame, 15 has no data.
// Kept: the reserved type 10 has the size of SID, and the reserved types 11 to 13 have size 0.
inline constexpr std::array<uint8_t, 16> kWideBandFrameSizes = {18, 24, 33, 37, 41, 47, 51, 59,
                                                                61, 6,  6,  0,  0,  0,  1,  1};

// The top bit (F) and the quality bit (Q) do not affect the size.
constexpr uint32_t frame_type(uint8_t toc) {
  return (toc & 0x78u) >> 3;
}

}  // namespace zdr::amrf
