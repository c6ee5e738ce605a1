// The SBR data of one frame as parsed: a value with everything that SBR synthesis needs, band tables
// included, so that the decoder can hold two frames at once.
#pragma once

#include <cstdint>

#include "aacdec/syntax/ps_payload.h"
#include "aacdec/syntax/sbr_band_tables.h"
#include "aacdec/syntax/sbr_grid.h"

namespace zdr::aacdec {

enum class SbrStatus : uint8_t {
  kNone,      // the frame carries no SBR data for this channel
  kNoHeader,  // the frame carries SBR data, but no header has arrived yet
  kParsed
};

struct SbrChannelFrame {
  SbrStatus status = SbrStatus::kNone;  // everything below is valid only with kParsed
  // Incremented each time the parser rebuilds the band tables. When it differs from that of the frame
  // synthesised last, the synthesis resets, even if frames in between were lost.
  uint32_t bands_generation = 0;
  SbrHeader header;
  SbrBandTables bands;

  SbrGrid grid;
  // The value that applies in this frame: 0 (1.5 dB) for a FIXFIX frame with one envelope, else that of the
  // header. Both channels of a coupled pair have that of the first.
  uint8_t amp_res = 0;
  // Set in the second channel of a coupled pair only: the first channel has levels and this one balances,
  // which are coded at half their range and doubled here.
  bool coupled = false;
  uint8_t invf_mode[kMaxNoiseBands] = {};
  // Sums of the delta coding, by envelope and band of its resolution. Valid streams keep levels in 0..127 and
  // balances in 0..48. Other values are stored unchanged, within 16 bits: clamp them before using them as an
  // index or exponent.
  int16_t envelope[kMaxEnvelopes][kMaxSbrBands];
  // By noise floor and noise band; 0..30 in a valid stream.
  int16_t noise[kMaxNoiseFloors][kMaxNoiseBands];
  uint8_t add_harmonic[kMaxSbrBands];  // 0 or 1, by band of the high resolution table

  PsFrame ps;  // single channel elements only
};

struct SbrFrame {
  SbrChannelFrame channel[2];
};

}  // namespace zdr::aacdec
