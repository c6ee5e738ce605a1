// Scale factor bands: the groups of spectral lines that share a codebook and a scale factor.
#pragma once

#include <cstdint>

#include "aacdec/tables/band_offsets.h"

namespace zdr::aacdec {

// The bands of one window: band b covers lines offsets[b] to offsets[b + 1] - 1.
struct ScaleFactorBands {
  const uint16_t* offsets = nullptr;  // count + 1 entries of a static table
  int count = 0;
};

// `sampling_index` is 0 to 11.
inline ScaleFactorBands scale_factor_bands(int sampling_index, bool short_windows) {
  if (short_windows) return {kShortOffsets[sampling_index], kShortBandCounts[sampling_index]};
  return {kLongOffsets[sampling_index], kLongBandCounts[sampling_index]};
}

}  // namespace zdr::aacdec
