// Measures a frame and detects what the configuration may not announce: channel count, SBR, parametric
// stereo.
#pragma once

#include <cstdint>
#include <span>

#include "aacdec/zd_aac_dec.h"

namespace zdr::aacdec {

// Parses the raw_data_block at the start of `data` without decoding it. Returns true if it is complete;
// `frame_bytes` is then its length, and `config` is updated. Otherwise `frame_bytes` is unchanged, and
// `config` may be partly updated.
bool probe_frame(std::span<const uint8_t> data, Zd_AAC_Dec_Config& config, int32_t& frame_bytes);

}  // namespace zdr::aacdec
