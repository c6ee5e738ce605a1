// Builds the master frequency band table of SBR (ISO/IEC 14496-3, 4.6.18.3.2.1).
#pragma once

#include <cstdint>

#include "aacdec/syntax/sbr_band_tables.h"

namespace zdr::aacdec {

// Sets k0, k2, kx and the master table; the master table is empty if the header leaves no room above the
// core. False if the header does not describe a valid table.
bool build_master_bands(const SbrHeader& header, int32_t sbr_rate_hz, SbrBandTables& tables);

}  // namespace zdr::aacdec
