// HF generation of SBR (patching and inverse filtering; ISO/IEC 14496-3, 4.6.18.6): copies the low bands up,
// patch by patch, through an inverse filter that removes as much of their tonality as the stream requests.
#pragma once

#include "aacdec/sbr/qmf_data.h"
#include "aacdec/sbr/sbr_channel_state.h"
#include "aacdec/sbr/sbr_levels.h"
#include "aacdec/syntax/sbr_frame.h"

namespace zdr::aacdec {

// Fills rows frame.bands.kx to kx + m - 1, from slot kLeadSlots on, from the rows below frame.bands.k0, and
// `scales` at the same indices. Advances the inverse filtering state.
void generate_high_bands(const SbrChannelFrame& frame, SbrChannelState& state, QmfMatrix& bands,
                         RowScale (&scales)[kQmfBands]);

}  // namespace zdr::aacdec
