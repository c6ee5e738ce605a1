// Records that HF generation, adjustment and mixing share: the scale of each generated row, and the levels of
// one envelope by band.
#pragma once

#include <cstdint>

#include "aacdec/fixed/magnitude.h"
#include "aacdec/sbr/qmf_data.h"

namespace zdr::aacdec {

// Each generated row has its own scale, so that neither loud nor quiet rows lose precision.
struct RowScale {
  int8_t exponent = 0;  // samples * 2^exponent are steps of 16-bit PCM
  uint8_t bits = 0;     // every sample of the row is below 2^bits; at most 28
};

// By band from kx on. Gain, noise and sine are energies until the adjustment replaces them by their square
// roots for mixing.
struct SbrLevels {
  Magnitude target[kQmfBands];   // transmitted energy
  Magnitude present[kQmfBands];  // energy of the copied signal
  Magnitude gain[kQmfBands];
  Magnitude noise[kQmfBands];
  Magnitude sine[kQmfBands];
  bool has_sine[kQmfBands];
};

}  // namespace zdr::aacdec
