// The header of a frame of AC-3 or E-AC-3 (ETSI TS 102 366).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "host/text/bytes.h"

namespace zdr::host {

// True for the header of a frame of E-AC-3, whose bitstream identification (bsid) is above 10 (annex E).
inline bool is_eac3_frame(Bytes frame) {
  return frame.size() > 5 && frame[5] >> 3 > 10;
}

// Returns the size that the header of the frame states; 0 if no valid header begins here.
inline size_t ac3_frame_size(Bytes frame) {
  constexpr size_t kHeaderBytes = 6;
  if (frame.size() < kHeaderBytes || frame[0] != 0x0B || frame[1] != 0x77) return 0;
  constexpr size_t kWordBytes = 2;
  if (is_eac3_frame(frame)) return kWordBytes * ((size_t{frame[2]} & 7) * 256 + frame[3] + 1);
  constexpr std::array<size_t, 19> kKilobits = {32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                                                192, 224, 256, 320, 384, 448, 512, 576, 640};
  const unsigned rate = frame[4] >> 6;         // fscod
  const unsigned size_code = frame[4] & 0x3F;  // frmsizecod
  if (rate > 2 || size_code / 2 >= kKilobits.size()) return 0;
  const size_t kilobits = kKilobits[size_code / 2];
  if (rate == 0) return kWordBytes * kilobits * 2;  // 48 kHz
  if (rate == 2) return kWordBytes * kilobits * 3;  // 32 kHz
  constexpr size_t kFrameSamples = 1536;
  return kWordBytes * (kilobits * 1000 * kFrameSamples / 44100 / 16 + size_code % 2);
}

}  // namespace zdr::host
