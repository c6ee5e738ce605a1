// raw_data_block of ISO/IEC 14496-3: the elements of one frame. Measuring a frame and decoding it run the
// same parser; measuring only leaves the values out.
//
// How a decoder uses it: keep one BlockContext for the stream with `keep_values` set and `sbr` pointing at
// its own SbrParser (null while SBR is off), one or two Frame records, and a BitReader on the access unit.
// After a successful parse the reader stands behind END; align it to the next byte. To parse a frame a second
// time for concealment, set `sbr` to null for that call: the payloads are then passed over and frame.sbr
// keeps what it holds.
#pragma once

#include <optional>

#include "aacdec/syntax/bit_reader.h"
#include "aacdec/syntax/block_context.h"
#include "aacdec/syntax/frame.h"

namespace zdr::aacdec {

// Reads one block. Returns its number of channels, 1 or 2 (also kept in frame.channel_count), or nothing when
// it is damaged, cut or not supported. After a failure frame.channel_count is that of the frame before and
// every field is in range: with silence for spectra the record may be synthesised as it is.
std::optional<int> parse_raw_data_block(BitReader& reader, BlockContext& context, Frame& frame);

}  // namespace zdr::aacdec
