// Perceptual noise substitution (ISO/IEC 14496-3, 4.6.13): bands that carry an energy instead of lines.
#pragma once

#include <cstdint>

#include "aacdec/syntax/channel_data.h"
#include "aacdec/syntax/scale_factor_bands.h"

namespace zdr::aacdec {

// Fills a run of lines with noise of 2^((noise_energy + 12) / 4) times a vector of length 1: the standard's
// level in the scale of the spectrum. `state` moves on by one step a line.
void substitute_noise(uint32_t& state, int noise_energy, int32_t* lines, int count);

// Fills the noise bands of a channel, each window apart. Each channel draws from its own generator, whether
// or not the pair says that a band's noise is common. Prediction leaves such bands alone afterwards.
void substitute_noise_bands(ChannelStream& channel, const ScaleFactorBands& bands, uint32_t& state,
                            int32_t* spectrum);

}  // namespace zdr::aacdec
