// High frequency generation (ISO/IEC 14496-3, 4.6.18.6): the low bands are copied up, patch by patch, through
// a filter that takes out as much of their tonality as the stream asks for.
#pragma once

#include "aacdec/sbr/qmf_data.h"
#include "aacdec/sbr/sbr_channel_state.h"
#include "aacdec/sbr/sbr_levels.h"
#include "aacdec/syntax/sbr_frame.h"

namespace zdr::aacdec {

// Fills rows bands.kx to bands.kx + bands.m - 1, from slot kLeadSlots on, from the rows below bands.k0.
// `scales` is written at the same indices. Advances the whitening state.
void generate_high_bands(const SbrChannelFrame& frame, SbrChannelState& state, QmfMatrix& bands,
                         RowScale (&scales)[kQmfBands]);

}  // namespace zdr::aacdec
