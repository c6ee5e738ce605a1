// fill_element of ISO/IEC 14496-3 with its one extension payload.
#pragma once

#include <optional>

#include "aacdec/syntax/bit_reader.h"
#include "aacdec/syntax/block_context.h"
#include "aacdec/syntax/frame.h"
#include "aacdec/syntax/sbr_payload.h"

namespace zdr::aacdec {

// Reads the element behind its id. `element` is the channel element that SBR data belong to, nothing ahead of
// the first. False makes the block invalid.
bool parse_fill_element(BitReader& reader, std::optional<SbrElement> element, BlockContext& context,
                        Frame& frame);

}  // namespace zdr::aacdec
