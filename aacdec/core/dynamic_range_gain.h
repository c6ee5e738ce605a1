// Dynamic range control (DRC; ISO/IEC 14496-3, 4.5.2.7) of the spectrum.
#pragma once

#include <cstdint>

#include "aacdec/syntax/dynamic_range.h"

namespace zdr::aacdec {

// Multiplies the lines of each band by its gain, saturating. `spectrum` holds kSpectrumLines, because the
// default band ends past the frame.
void apply_dynamic_range(const DynamicRange& range, int32_t* spectrum);

}  // namespace zdr::aacdec
