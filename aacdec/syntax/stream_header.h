// The headers of AAC elementary streams: adts_fixed_header and adts_variable_header, and adif_header, of
// ISO/IEC 14496-3.
#pragma once

#include <cstdint>
#include <optional>

#include "aacdec/syntax/bit_reader.h"
#include "aacdec/syntax/program_config.h"

namespace zdr::aacdec {

// Bytes that must be there before a header is looked for.
inline constexpr int kMinHeaderBytes = 8;

inline constexpr int kAdtsSyncBits = 12;
inline constexpr uint32_t kAdtsSyncword = 0xFFF;

struct AdtsHeader {
  int layer = 0;
  int profile = 0;                // 0 to 3
  int sampling_index = 0;         // 0 to 15
  int channel_configuration = 0;  // 0 to 7
  int frame_length = 0;           // bytes, header included
  int raw_data_blocks = 0;        // number_of_raw_data_blocks_in_frame: blocks of the frame minus one

  // A stream that the decoder can be configured for, the channels aside.
  bool is_accepted() const;
};

// Reads the header behind its syncword. The check word is passed over.
AdtsHeader parse_adts_header(BitReader& reader);

// Reads adif_header from its id on. Nothing unless it holds exactly one program_config_element that is
// supported.
std::optional<ProgramConfig> parse_adif_header(BitReader& reader);

enum class StreamHeaderKind { kNone, kAdts, kAdif };
// What the bits at the reader's position begin with.
StreamHeaderKind find_stream_header(const BitReader& reader);

}  // namespace zdr::aacdec
