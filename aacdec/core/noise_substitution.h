// Perceptual noise substitution (PNS; ISO/IEC 14496-3, 4.6.13): fills bands that transmit an energy instead
// of lines.
#pragma once

#include <cstdint>

#include "aacdec/syntax/channel_data.h"
#include "aacdec/syntax/scale_factor_bands.h"

namespace zdr::aacdec {

// Fills a run of lines with noise whose norm is 2^((noise_energy + 12) / 4): the standard's level in the
// scale of the spectrum. `state` advances by one step per line.
void substitute_noise(uint32_t& state, int noise_energy, int32_t* lines, int count);

// Fills the noise bands of a channel, each window separately, and switches LTP off in them.
void substitute_noise_bands(ChannelStream& channel, const ScaleFactorBands& bands, uint32_t& state,
                            int32_t* spectrum);

}  // namespace zdr::aacdec
