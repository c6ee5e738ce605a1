// The first byte of a frame in the storage format of AMR and AMR-WB (RFC 4867, 5.3).
#pragma once

#include <algorithm>
#include <cstdint>

#include "esparse/amr/amrf.h"
#include "host/text/bytes.h"

namespace zdr::host {

// What is wrong with bytes that do not hold a frame.
inline constexpr const char* kAmrFrameDamage = "speech frame of an invalid type or size";
inline constexpr const char* kBlankAmrFrame = "speech frame of zeros only";

// Returns the size of the frame, including this byte; 0 if no frame begins with it: the bits around the type
// are not 0, or the type is one of those that are reserved.
inline uint32_t amr_frame_size(uint8_t first, bool is_wide_band) {
  constexpr unsigned kZeroBits = 0x83;
  const unsigned type = first >> 3 & 15u;
  const bool is_reserved = is_wide_band ? type >= 10 && type <= 13 : type >= 12 && type <= 14;
  if ((first & kZeroBits) != 0 || is_reserved) return 0;
  return is_wide_band ? AMRF_FrameSizeWB(first) : AMRF_FrameSizeNB(first);
}

// True if the frame was never written, as in the reserved space of an unfinished download. By its first byte
// it would be a frame of the lowest rate that is marked as bad.
inline bool is_blank_amr_frame(Bytes frame) {
  return std::ranges::all_of(frame, [](uint8_t byte) { return byte == 0; });
}

}  // namespace zdr::host
