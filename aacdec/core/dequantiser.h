// Dequantisation and scaling of one channel's values, and their order: from the order of the stream to that
// of the lines, window after window.
#pragma once

#include <cstdint>

#include "aacdec/syntax/channel_data.h"
#include "aacdec/syntax/scale_factor_bands.h"

namespace zdr::aacdec {

inline constexpr int kMaxQuantised = 8191;

// sign(q) |q|^(4/3) 2^14 2^((scale_factor - 144) / 4), cut towards zero, saturating. |q| is at most
// kMaxQuantised.
int32_t dequantise_value(int q, int scale_factor);

// Fills `spectrum` (kFrameLength lines): bands without a spectral codebook are 0. False when a value is
// beyond kMaxQuantised; `spectrum` is incomplete then.
bool dequantise(const ChannelStream& channel, const ScaleFactorBands& bands, const int16_t* quantised,
                int32_t* spectrum);

}  // namespace zdr::aacdec
