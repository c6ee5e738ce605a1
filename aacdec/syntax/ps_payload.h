// The parametric stereo data of an SBR payload (ISO/IEC 14496-3, subpart 8), decoded to what the stereo tool
// applies: index arrays on 20 parameter bands and borders in QMF slots, whatever resolution was sent.
#pragma once

#include <cstdint>

#include "aacdec/syntax/bit_reader.h"

namespace zdr::aacdec {

inline constexpr int kPsBands = 20;
inline constexpr int kMaxPsSentBands = 34;
inline constexpr int kMaxPsEnvelopes = 5;  // four sent and one that fills the frame
inline constexpr int kPsSlots = 32;

// The parameters of one frame, complete: the last envelope always ends with the frame.
struct PsFrame {
  bool present = false;   // false: no usable data in this frame, the parameters of the frame before go on
  bool fine_iid = false;  // indices of the fine quantiser, -15 to 15, else of the coarse one, -7 to 7
  uint8_t envelope_count = 0;
  // End of each envelope in slots, 1 to 32, never falling: the parameters of envelope e are reached at slot
  // border[e] - 1. One that ends where it begins is reached at once.
  uint8_t border[kMaxPsEnvelopes] = {};
  int8_t iid[kMaxPsEnvelopes][kPsBands] = {};
  int8_t icc[kMaxPsEnvelopes][kPsBands] = {};  // 0 to 7
};

// What the parser remembers between frames.
struct PsParserState {
  bool header_seen = false;
  bool enable_iid = false;
  bool enable_icc = false;
  bool enable_extension = false;
  uint8_t iid_mode = 0;  // 0 to 2 coarse, 3 to 5 fine, with 10, 20 and 34 bands; 6 and 7 reserved
  uint8_t icc_mode = 0;  // bands likewise
  // The last envelope, at the resolution it was sent in: what differences along time add to.
  int8_t iid[kMaxPsSentBands] = {};
  int8_t icc[kMaxPsSentBands] = {};
  // The same as it was applied: what a frame without envelopes repeats, whatever its header says by then.
  bool held_fine_iid = false;
  int8_t held_iid[kPsBands] = {};
  int8_t held_icc[kPsBands] = {};
};

enum class PsResult {
  kParsed,
  kNoHeader,  // data before the first header: they can't be read
  kUnusable   // reserved modes, borders out of order, data behind the end of their container
};

// The length of an extension, of SBR or of parametric stereo.
inline uint64_t read_extension_bytes(BitReader& reader) {
  const uint64_t bytes = reader.read(4);
  return bytes == 15 ? bytes + reader.read(8) : bytes;
}

// Reads ps_data of at most `bits` bits. Where it ends doesn't matter to the caller, whose container has a
// length of its own. `state` changes with kParsed only: a header counts together with its data or not at all.
// `frame.present` says the same as kParsed.
PsResult parse_ps_data(BitReader& reader, uint64_t bits, PsParserState& state, PsFrame& frame);

}  // namespace zdr::aacdec
