// Parses an individual_channel_stream (ISO/IEC 14496-3, 4.4.2.7): ics_info (window
// sequence and window shape), section_data, scale_factor_data, the side data of the tools, spectral_data.
#pragma once

#include <cstdint>
#include <span>

#include "aacdec/syntax/bit_reader.h"
#include "aacdec/syntax/channel_data.h"

namespace zdr::aacdec {

// Reads ics_info. `second_ltp`, unless null (common_window), receives the LTP data of the second channel,
// which follow those of the first. False for damaged or unsupported data; `ics` is written on success only.
bool parse_ics_info(BitReader& reader, const StreamFormat& format, IcsInfo& ics, LtpData& ltp,
                    LtpData* second_ltp);

// Reads everything before the spectral data. With `common_window` the caller has filled channel.ics. Without
// `keep_values`, the arrays indexed by band are not filled. False for damaged or unsupported data.
bool parse_channel_side_info(BitReader& reader, const StreamFormat& format, bool common_window,
                             bool keep_values, ChannelStream& channel);

// Reads spectral_data. `quantised` receives kFrameLength values, zeros and pulses included. False for damaged
// data.
bool parse_spectral_data(BitReader& reader, const StreamFormat& format, ChannelStream& channel,
                         std::span<int16_t> quantised);
// The same without storing values.
bool skip_spectral_data(BitReader& reader, const StreamFormat& format, const ChannelStream& channel);

}  // namespace zdr::aacdec
