// Measuring a frame and learning from it what the configuration doesn't tell: channel count, SBR, parametric
// stereo.
#pragma once

#include <cstdint>
#include <span>

#include "aacdec/zd_aac_dec.h"

namespace zdr::aacdec {

// Parses the raw_data_block at the start of `data` without producing sound. True: it is whole, `frame_bytes`
// is its length, and `config` tells what it showed. False: `frame_bytes` is unchanged, `config` may be
// changed in part.
bool probe_frame(std::span<const uint8_t> data, Zd_AAC_Dec_Config& config, int32_t& frame_bytes);

}  // namespace zdr::aacdec
