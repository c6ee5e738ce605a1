// The SBR payload of a fill element (ISO/IEC 14496-3, sbr_extension_data): header, grid, envelopes, noise
// floors, sinusoids and parametric stereo data, decoded to integers.
//
// Two kinds of data come out. `SbrParserState` is what the parser itself remembers from frame to frame for
// one channel: header, band tables, previous values of the delta coding. `SbrChannelFrame` is a value:
// everything the synthesis of one channel of one frame needs, band tables included, so that two frames can be
// in hand at once. The synthesis keeps its own state (delay lines, smoothing history, the last borders) and
// never looks into the parser's.
#pragma once

#include <cstdint>

#include "aacdec/syntax/bit_reader.h"
#include "aacdec/syntax/ps_payload.h"
#include "aacdec/syntax/sbr_bands.h"
#include "aacdec/syntax/sbr_grid.h"

namespace zdr::aacdec {

enum class SbrStatus : uint8_t {
  kNone,      // the frame carries no SBR data for this channel
  kNoHeader,  // it does, but no header has come yet
  kParsed
};

struct SbrChannelFrame {
  SbrStatus status = SbrStatus::kNone;  // everything below is valid only with kParsed
  // Counts the times that the band tables were built anew. A synthesis that meets another number than in the
  // frame it made before resets, also when frames between them were lost.
  uint32_t bands_generation = 0;
  SbrHeader header;
  SbrBandTables bands;

  SbrGrid grid;
  // Of this frame: 0 (1.5 dB) for a FIXFIX frame with one envelope, else the header's. Both channels of a
  // coupled pair have that of the first.
  uint8_t amp_res = 0;
  // The first channel has levels and this one balances, which are coded at half their range and doubled here.
  // Set in the second channel of a coupled pair only.
  bool coupled = false;
  uint8_t invf_mode[kMaxNoiseBands] = {};
  // Sums of the delta coding, by envelope and band of its resolution. A sane stream keeps levels in 0..127
  // and balances in 0..48; others are kept as they are, within 16 bits: clamp before use as an index or
  // exponent.
  int16_t envelope[kMaxEnvelopes][kMaxSbrBands] = {};
  // By noise floor and noise band; 0..30 in a sane stream.
  int16_t noise[kMaxNoiseFloors][kMaxNoiseBands] = {};
  uint8_t add_harmonic[kMaxSbrBands] = {};  // 0 or 1, by band of the high resolution table

  PsFrame ps;  // single channel elements only
};

struct SbrFrame {
  SbrChannelFrame channel[2];
};

struct SbrParserState {
  bool header_missing = true;
  uint32_t bands_generation = 0;
  SbrHeader header;
  SbrBandTables bands;
  // Last envelope and noise floor, references of time differences. They change with a parsed frame only.
  bool high_resolution = false;
  int16_t envelope[kMaxSbrBands] = {};
  int16_t noise[kMaxNoiseBands] = {};
  PsState ps;
};

// The parser states of both channels; a pair keeps its header in the first.
struct SbrParser {
  explicit SbrParser(int32_t core_rate_hz) : sbr_rate_hz(2 * core_rate_hz) {}

  int32_t sbr_rate_hz;
  SbrParserState channel[2];
};

enum class SbrResult {
  kParsed = 0,
  kInvalid = -1,
  kInvalidBands = -3,  // the header describes no valid band tables; it is forgotten
  kNoHeader = 12       // no error: the frame is decoded without SBR
};

// What carries the payload: a single channel element decoded into channel 0 or 1, or a pair.
struct SbrElement {
  int first_channel = 0;
  bool pair = false;
};

// Reads the payload behind its 4-bit extension type, up to the end of sbr_extension_data's own fields; the
// caller skips what is left of the fill element. `frame.channel[..]` of the element is written. A payload
// that is invalid, or goes on behind the element's end, is damaged and may have changed what the parser
// remembers: the caller then restores it. `ps_signalled` becomes true when a single channel element carries
// parametric stereo data that this decoder knows, also ahead of their header.
SbrResult parse_sbr_payload(BitReader& reader, bool with_crc, SbrElement element, SbrParser& parser,
                            SbrFrame& frame, bool& ps_signalled);

}  // namespace zdr::aacdec
