// Records that HF generation, adjustment and mixing pass on: the scale of each generated row, and the levels
// of one envelope by band.
#pragma once

#include <cstdint>

#include "aacdec/fixed/magnitude.h"
#include "aacdec/sbr/qmf_data.h"

namespace zdr::aacdec {

// Each generated row has a scale of its own, so that neither loud nor quiet ones lose precision.
struct RowScale {
  int8_t exponent = 0;  // samples * 2^exponent are steps of 16-bit PCM
  uint8_t bits = 0;     // every sample of the row is below 2^bits; at most 28
};

// By band from kx on. Energies, until the adjustment replaces gain, noise and sine by their square roots for
// the mixing.
struct SbrLevels {
  Magnitude wanted[kQmfBands];   // energy that the stream transmits
  Magnitude present[kQmfBands];  // energy of the copied signal
  Magnitude gain[kQmfBands];
  Magnitude noise[kQmfBands];
  Magnitude sine[kQmfBands];
  bool has_sine[kQmfBands];
};

}  // namespace zdr::aacdec
