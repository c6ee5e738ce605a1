// The time grid of an SBR frame, sbr_grid (ISO/IEC 14496-3, 4.6.18.3.3): how the frame is divided into
// envelopes and noise floors.
//
// Borders are in time slots of two QMF slots, from the start of the frame. A frame has 16 of them, and its
// last border may be up to 3 slots into the next frame.
#pragma once

#include <cstdint>

#include "aacdec/syntax/bit_reader.h"

namespace zdr::aacdec {

inline constexpr int kSbrTimeSlots = 16;
inline constexpr int kMaxEnvelopes = 5;
inline constexpr int kMaxNoiseFloors = 2;

enum class FrameClass : uint8_t { kFixFix = 0, kFixVar = 1, kVarFix = 2, kVarVar = 3 };

struct SbrGrid {
  FrameClass frame_class = FrameClass::kFixFix;
  uint8_t envelope_count = 0;  // 1 to 5
  uint8_t noise_count = 0;     // 1 with a single envelope, else 2
  // Strictly ascending. After lost frames, border[0] need not continue the previous frame.
  uint8_t border[kMaxEnvelopes + 1] = {};
  // Borders of the noise floors, a subset of `border`; the common border of two floors may be an outer one.
  uint8_t noise_border[kMaxNoiseFloors + 1] = {};
  bool high_resolution[kMaxEnvelopes] = {};
  // The envelope that begins with a transient; -1: none; envelope_count: the first one of the next frame.
  int8_t transient = -1;
};

// Reads sbr_grid of one channel. False for more than five envelopes, borders that are not ascending, or a
// transient pointer past the envelopes.
bool parse_sbr_grid(BitReader& reader, SbrGrid& grid);

}  // namespace zdr::aacdec
