// The stereo tools of a channel pair: mid/side and intensity (ISO/IEC 14496-3, 4.6.8).
#pragma once

#include "aacdec/syntax/frame.h"
#include "aacdec/syntax/scale_factor_bands.h"

namespace zdr::aacdec {

// Both work on frame.spectrum of a pair, whose lines are dequantised and whose noise bands are filled.
// Mid/side leaves noise and intensity bands alone. Intensity makes the second channel's bands with its two
// codebooks from the first channel.
void apply_mid_side(Frame& frame, const ScaleFactorBands& bands);
void apply_intensity(Frame& frame, const ScaleFactorBands& bands);

}  // namespace zdr::aacdec
