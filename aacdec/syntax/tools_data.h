// Parses the side data of three tools in a channel stream (ISO/IEC 14496-3, 4.4.2.7): pulse data
// (pulse_data), temporal noise shaping (tns_data, TNS) and long term prediction (ltp_data, LTP).
#pragma once

#include <cstdint>
#include <span>

#include "aacdec/syntax/bit_reader.h"
#include "aacdec/syntax/channel_data.h"
#include "aacdec/syntax/scale_factor_bands.h"

namespace zdr::aacdec {

// Reads pulse_data. False in a short block, for a start band beyond those of the window, or for a pulse past
// the last line.
bool parse_pulse_data(BitReader& reader, const ScaleFactorBands& bands, const IcsInfo& ics, PulseData& pulse);

// Adds the pulses to the magnitudes of the values at their lines; a zero becomes negative.
void add_pulses(const PulseData& pulse, const ScaleFactorBands& bands, std::span<int16_t> quantised);

// Reads tns_data. False for an order that the profile does not allow.
bool parse_tns_data(BitReader& reader, const IcsInfo& ics, TnsData& tns);

// Reads ltp_data_present and ltp_data of a long window.
void parse_ltp_data(BitReader& reader, int max_sfb, LtpData& ltp);

}  // namespace zdr::aacdec
