// The program_config_element of ISO/IEC 14496-3, as far as the decoder supports what it announces.
#pragma once

#include <optional>

#include "aacdec/syntax/bit_reader.h"

namespace zdr::aacdec {

struct ProgramConfig {
  int profile = 0;         // object_type, 0 to 3
  int sampling_index = 0;  // 0 to 15
  int channels = 0;        // 1 or 2
};

// Reads the element behind its id. Nothing for a layout other than mono or stereo of at most two front, two
// side and one back elements, for LFE and for coupling elements. Its byte alignment counts from the start of
// the reader's data.
std::optional<ProgramConfig> parse_program_config(BitReader& reader);

}  // namespace zdr::aacdec
