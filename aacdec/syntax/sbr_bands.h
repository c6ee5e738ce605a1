// Builds the frequency band tables of SBR (ISO/IEC 14496-3, 4.6.18.3.2): master, high, low, noise and limiter
// bands, and the source of each patch. They are rebuilt when a header changes a field that they depend on.
//
// Integer arithmetic only, so that every machine computes the same tables.
#pragma once

#include <cstdint>

#include "aacdec/syntax/sbr_band_tables.h"

namespace zdr::aacdec {

// Builds everything except the limiter table. `sbr_rate_hz` is twice the core rate. False if the header does
// not describe valid tables; `tables` is unspecified then.
bool build_sbr_bands(const SbrHeader& header, int32_t sbr_rate_hz, SbrBandTables& tables);

// Builds the limiter table from the low table and the patches.
void build_limiter_bands(const SbrHeader& header, SbrBandTables& tables);

}  // namespace zdr::aacdec
