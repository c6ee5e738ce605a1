// Parses the SBR payload of a fill element, sbr_extension_data (ISO/IEC 14496-3, 4.4.2.8): header, grid,
// envelopes, noise floors, sinusoids, and the parametric stereo (PS) data in its extended data.
#pragma once

#include "aacdec/syntax/bit_reader.h"
#include "aacdec/syntax/sbr_frame.h"
#include "aacdec/syntax/sbr_parser.h"

namespace zdr::aacdec {

enum class SbrResult {
  kParsed = 0,
  kInvalid = -1,
  kInvalidBands = -3,  // the header describes no valid band tables and is ignored
  kNoHeader = 12       // not an error: the frame is decoded without SBR
};

// The element that the payload belongs to: a single channel element decoded into channel 0 or 1, or a pair.
struct SbrElement {
  int first_channel = 0;
  bool pair = false;
};

// Reads the payload from the bits after its 4-bit extension type to the last field of sbr_extension_data; the
// caller skips the rest of the fill element. Writes the element's frame.channel[..].
//
// A payload that is invalid or extends past its fill element is damaged and may have changed `parser`; the
// caller restores it.
//
// Sets `ps_signalled` when a single channel element carries supported PS data, even before their header;
// never clears it.
SbrResult parse_sbr_payload(BitReader& reader, bool with_crc, SbrElement element, SbrParser& parser,
                            SbrFrame& frame, bool& ps_signalled);

}  // namespace zdr::aacdec
