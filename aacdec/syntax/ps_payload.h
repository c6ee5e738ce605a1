// Parses the parametric stereo (PS) data of an SBR payload, ps_data (ISO/IEC 14496-3, subpart 8), into the
// form that the stereo tool uses: indices on 20 parameter bands and borders in QMF slots, at any transmitted
// resolution.
#pragma once

#include <cstdint>

#include "aacdec/syntax/bit_reader.h"

namespace zdr::aacdec {

inline constexpr int kPsBands = 20;
inline constexpr int kMaxPsSentBands = 34;
inline constexpr int kMaxPsEnvelopes = 5;  // four transmitted, and one that completes the frame
inline constexpr int kPsSlots = 32;

// The parameters of one frame. The last envelope always ends with the frame.
struct PsFrame {
  bool present = false;  // false: no usable data in this frame; the parameters of the previous frame continue
  bool fine_iid = false;  // indices of the fine quantiser, -15 to 15, else of the coarse one, -7 to 7
  uint8_t envelope_count = 0;
  // End of each envelope in slots, 1 to 32, in ascending order: the parameters of envelope e are reached at
  // slot border[e] - 1, those of an empty envelope immediately.
  uint8_t border[kMaxPsEnvelopes] = {};
  int8_t iid[kMaxPsEnvelopes][kPsBands];
  int8_t icc[kMaxPsEnvelopes][kPsBands];  // 0 to 7
};

// The state that the parser carries from frame to frame.
struct PsParserState {
  bool header_seen = false;
  bool enable_iid = false;
  bool enable_icc = false;
  bool enable_extension = false;
  uint8_t iid_mode = 0;  // 0 to 2 coarse, 3 to 5 fine, with 10, 20 and 34 bands; 6 and 7 reserved
  uint8_t icc_mode = 0;  // bands likewise
  // The last envelope at its transmitted resolution, to which differences along time refer.
  int8_t iid[kMaxPsSentBands] = {};
  int8_t icc[kMaxPsSentBands] = {};
  // The last envelope as applied, which a frame without envelopes repeats, even after a header with other
  // settings.
  bool held_fine_iid = false;
  int8_t held_iid[kPsBands] = {};
  int8_t held_icc[kPsBands] = {};
};

enum class PsResult {
  kParsed,
  kNoHeader,  // the first header has not arrived yet
  kUnusable   // reserved mode, borders out of order, or data longer than their container
};

// Reads the length of an extension of SBR or PS.
inline uint64_t read_extension_bytes(BitReader& reader) {
  const uint64_t bytes = reader.read(4);
  return bytes == 15 ? bytes + reader.read(8) : bytes;
}

// Reads ps_data of at most `bits` bits. The reader's position afterwards is unspecified: the caller knows the
// length of the container. Only kParsed changes `state` and sets `frame.present`: a header takes effect
// together with its data or not at all.
PsResult parse_ps_data(BitReader& reader, uint64_t bits, PsParserState& state, PsFrame& frame);

}  // namespace zdr::aacdec
