// Parses a raw_data_block (ISO/IEC 14496-3, 4.4.2.1), the elements of one frame: single_channel_element
// (SCE), channel_pair_element (CPE), data_stream_element (DSE), program_config_element (PCE), fill_element
// (FIL); coupling_channel_element (CCE) and lfe_channel_element (LFE) are refused. Decoding and measuring
// share this parser; measuring stores no values.
//
// A decoder keeps one BlockContext per stream, with `keep_values` set and `sbr` pointing to its own SbrParser
// (null while SBR is off), one or two Frame records, and a BitReader on the access unit. After a successful
// parse the reader is just after ID_END; the caller aligns it to the next byte. To parse a frame again for
// concealment, set `sbr` to null for that call: SBR payloads are then skipped and frame.sbr is unchanged.
#pragma once

#include <optional>

#include "aacdec/syntax/bit_reader.h"
#include "aacdec/syntax/block_context.h"
#include "aacdec/syntax/frame.h"

namespace zdr::aacdec {

// Reads one block. Returns its number of channels, 1 or 2 (also stored in frame.channel_count), or nothing if
// it is damaged, truncated or not supported. After a failure frame.channel_count is unchanged and every field
// is in range: with silent spectra the frame can be synthesised.
std::optional<int> parse_raw_data_block(BitReader& reader, BlockContext& context, Frame& frame);

}  // namespace zdr::aacdec
