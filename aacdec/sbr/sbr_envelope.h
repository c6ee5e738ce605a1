// Dequantisation of SBR envelopes and noise floors (ISO/IEC 14496-3, 4.6.18.3.5), for single channels, pairs,
// and coupled pairs, where balances divide common levels between the channels.
#pragma once

#include "aacdec/fixed/magnitude.h"
#include "aacdec/syntax/sbr_frame.h"

namespace zdr::aacdec {

// Computes the mean energies of a QMF sample in the first `count` bands of an envelope, in squared steps of
// 16-bit PCM.
void envelope_energies(const SbrFrame& frame, int channel, int envelope, int count, Magnitude* energies);

// Returns the energy of the noise floor relative to that of the patched signal.
Magnitude noise_ratio(const SbrFrame& frame, int channel, int floor, int band);

}  // namespace zdr::aacdec
