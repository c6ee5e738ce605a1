// The state that the SBR parser carries from frame to frame: headers, band tables, and the values that delta
// coding along time refers to. The synthesis has its own state and reads none of this.
#pragma once

#include <cstdint>

#include "aacdec/syntax/ps_payload.h"
#include "aacdec/syntax/sbr_band_tables.h"

namespace zdr::aacdec {

struct SbrParserState {
  bool header_missing = true;
  uint32_t bands_generation = 0;
  SbrHeader header;
  SbrBandTables bands;
  // The last envelope and noise floor, which time differences refer to. Only a successfully parsed frame
  // changes them.
  bool high_resolution = false;
  int16_t envelope[kMaxSbrBands] = {};
  int16_t noise[kMaxNoiseBands] = {};
  PsParserState ps;
};

// Both channels; the header of a pair is in channel[0].
struct SbrParser {
  explicit SbrParser(int32_t core_rate_hz) : sbr_rate_hz(2 * core_rate_hz) {}

  int32_t sbr_rate_hz;
  SbrParserState channel[2];
};

}  // namespace zdr::aacdec
