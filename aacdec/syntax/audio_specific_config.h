// AudioSpecificConfig of ISO/IEC 14496-3 (1.6.2.1) for the object types that the decoder supports.
#pragma once

#include "aacdec/syntax/bit_reader.h"
#include "aacdec/zd_aac_dec.h"

namespace zdr::aacdec {

// Reads the configuration into `config`. False if it is malformed or not supported. Bits past the end of the
// data read as zeros.
bool parse_audio_specific_config(BitReader& reader, Zd_AAC_Dec_Config& config);

}  // namespace zdr::aacdec
