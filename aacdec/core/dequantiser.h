// Dequantisation and scaling of one channel (ISO/IEC 14496-3, 4.6.1 and 4.6.2), and reordering from stream
// order to line order, window by window (4.6.3).
#pragma once

#include <cstdint>

#include "aacdec/syntax/channel_data.h"
#include "aacdec/syntax/scale_factor_bands.h"

namespace zdr::aacdec {

inline constexpr int kMaxQuantised = 8191;

// Returns sign(q) |q|^(4/3) 2^14 2^((scale_factor - 144) / 4), truncated towards zero, saturating. |q| is at
// most kMaxQuantised.
int32_t dequantise_value(int q, int scale_factor);

// Fills `spectrum`, kFrameLength lines; bands without a spectral codebook are 0. False if a magnitude exceeds
// kMaxQuantised; `spectrum` is then incomplete.
bool dequantise(const ChannelStream& channel, const ScaleFactorBands& bands, const int16_t* quantised,
                int32_t* spectrum);

}  // namespace zdr::aacdec
