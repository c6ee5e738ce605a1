// High frequency generation (ISO/IEC 14496-3, 4.6.18.6): the low bands are copied up, patch by patch, through
// a filter that takes out as much of their tonality as the stream asks for.
#pragma once

#include <cstdint>

#include "aacdec/sbr/sbr_qmf.h"
#include "aacdec/syntax/sbr_payload.h"

namespace zdr::aacdec {

struct SbrChannelState;

// How the samples of a generated row are to be read: each row has a scale of its own, so that neither loud
// nor quiet ones lose precision.
struct RowScale {
  int8_t exponent = 0;  // samples * 2^exponent are steps of 16-bit PCM
  uint8_t bits = 0;     // every sample of the row is below 2^bits; at most 28
};

// Fills rows bands.kx to bands.kx + bands.m - 1, from slot kLeadSlots on, from the rows below bands.k0.
// `scales` is written at the same indices. Advances the whitening state.
void generate_high_bands(const SbrChannelFrame& frame, SbrChannelState& state, QmfMatrix& bands,
                         RowScale (&scales)[kQmfBands]);

}  // namespace zdr::aacdec
