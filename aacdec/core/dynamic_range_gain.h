// Dynamic range control on the spectrum.
#pragma once

#include <cstdint>

#include "aacdec/syntax/dynamic_range.h"

namespace zdr::aacdec {

// Multiplies the lines of each band by its gain, saturating. `spectrum` holds kSpectrumLines: the default
// band ends behind the frame.
void apply_dynamic_range(const DynamicRange& range, int32_t* spectrum);

}  // namespace zdr::aacdec
