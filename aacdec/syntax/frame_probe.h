// Measures a frame and finds out what the configuration may not say: channel count, SBR, parametric stereo.
#pragma once

#include <cstdint>
#include <span>

#include "aacdec/zd_aac_dec.h"

namespace zdr::aacdec {

// Parses the raw_data_block at the start of `data` without decoding it. True if it is complete: `frame_bytes`
// is its length, and `config` is updated. On false `frame_bytes` is unchanged, but `config` may be partly
// updated.
bool probe_frame(std::span<const uint8_t> data, Zd_AAC_Dec_Config& config, int32_t& frame_bytes);

}  // namespace zdr::aacdec
