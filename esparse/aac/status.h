// Statuses that only the inside of the reader knows; the others are those of aacf.h.
#pragma once

#include <cstdint>

#include "esparse/aac/aacf.h"

namespace zdr::aacf {

// Kept: a header in the last bytes of the data is answered with the 16-bit form of AACF_ERR_NEED_MORE_DATA.
// It is positive, and so taken for a success that leaves the frame length as it was.
inline constexpr int32_t kHeaderCutOff = 55435;
static_assert(kHeaderCutOff == static_cast<uint16_t>(AACF_ERR_NEED_MORE_DATA));

}  // namespace zdr::aacf
