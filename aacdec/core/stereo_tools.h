// Stereo tools of a channel pair (ISO/IEC 14496-3, 4.6.8): mid/side (M/S) and intensity stereo. They work on
// frame.spectrum after dequantisation and PNS.
#pragma once

#include "aacdec/syntax/frame.h"
#include "aacdec/syntax/scale_factor_bands.h"

namespace zdr::aacdec {

// Decodes left and right from mid and side, except in noise and intensity bands.
void apply_mid_side(Frame& frame, const ScaleFactorBands& bands);
// Computes the intensity bands of the second channel from the first one.
void apply_intensity(Frame& frame, const ScaleFactorBands& bands);

}  // namespace zdr::aacdec
