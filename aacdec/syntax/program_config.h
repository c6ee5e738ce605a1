// Parses a program_config_element (PCE; ISO/IEC 14496-3, 4.4.1.1) of a mono or stereo layout.
#pragma once

#include <optional>

#include "aacdec/syntax/bit_reader.h"

namespace zdr::aacdec {

struct ProgramConfig {
  int profile = 0;         // object_type, 0 to 3
  int sampling_index = 0;  // 0 to 15
  int channels = 0;        // 1 or 2
};

// Reads the element from the bits after its id. Returns nothing unless the layout is mono or stereo, with at
// most two front, two side and one back elements and no LFE or coupling elements. Byte alignment counts from
// the start of the reader's data.
std::optional<ProgramConfig> parse_program_config(BitReader& reader);

}  // namespace zdr::aacdec
