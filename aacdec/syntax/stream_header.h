// Parses the headers of AAC elementary streams (ISO/IEC 14496-3, 1.A): ADTS (adts_fixed_header,
// adts_variable_header) and ADIF (adif_header).
#pragma once

#include <cstdint>
#include <optional>

#include "aacdec/syntax/bit_reader.h"
#include "aacdec/syntax/program_config.h"

namespace zdr::aacdec {

// The minimum number of bytes in which a header is searched for.
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

  // True if the decoder supports the stream, apart from the channel configuration.
  bool is_accepted() const;
};

// Reads the header from the bits after its syncword. The check word is skipped.
AdtsHeader parse_adts_header(BitReader& reader);

// Reads adif_header from its id on. Returns nothing unless it has exactly one program_config_element, which
// is supported.
std::optional<ProgramConfig> parse_adif_header(BitReader& reader);

enum class StreamHeaderKind { kNone, kAdts, kAdif };
// The kind of header at the reader's position.
StreamHeaderKind find_stream_header(const BitReader& reader);

}  // namespace zdr::aacdec
