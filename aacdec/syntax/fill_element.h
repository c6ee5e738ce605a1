// Parses a fill_element and its extension payload (ISO/IEC 14496-3, 4.4.2.1 and 4.4.2.7): DRC or SBR data.
#pragma once

#include <optional>

#include "aacdec/syntax/bit_reader.h"
#include "aacdec/syntax/block_context.h"
#include "aacdec/syntax/frame.h"
#include "aacdec/syntax/sbr_payload.h"

namespace zdr::aacdec {

// Reads the element from the bits after its id. `element` is the preceding channel element, to which SBR data
// belong; empty before the first one. False means that the block is invalid.
bool parse_fill_element(BitReader& reader, std::optional<SbrElement> element, BlockContext& context,
                        Frame& frame);

}  // namespace zdr::aacdec
