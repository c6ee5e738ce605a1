// Delta-coded SBR values: envelopes (sbr_envelope) and noise floors (sbr_noise) of ISO/IEC 14496-3, 4.4.2.8,
// and the flags that select the direction of their differences (sbr_dtdf).
#pragma once

#include "aacdec/syntax/bit_reader.h"
#include "aacdec/syntax/sbr_frame.h"
#include "aacdec/syntax/sbr_parser.h"

namespace zdr::aacdec {

// True: differences along time, to the previous envelope or noise floor; false: along frequency, to the band
// below.
struct DeltaDirections {
  bool envelope[kMaxEnvelopes] = {};
  bool noise[kMaxNoiseFloors] = {};
};

DeltaDirections parse_delta_directions(BitReader& reader, const SbrGrid& grid);

// Both read the values that the grid, resolution and coupling of the channel determine, and store the sums in
// `channel`. `state` has the last values of the previous frame and is not changed.
void parse_envelopes(BitReader& reader, const DeltaDirections& directions, const SbrParserState& state,
                     SbrChannelFrame& channel);
void parse_noise_floors(BitReader& reader, const DeltaDirections& directions, const SbrParserState& state,
                        SbrChannelFrame& channel);

}  // namespace zdr::aacdec
