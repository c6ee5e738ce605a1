// What the parser remembers of a stream from one raw_data_block to the next.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "aacdec/syntax/sbr_parser.h"
#include "aacdec/syntax/stream_format.h"

namespace zdr::aacdec {

inline constexpr uint8_t kNoTag = 255;
inline constexpr size_t kSbrScratchBytes = 4096;

struct BlockContext {
  StreamFormat format;
  // True when decoding: quantised values are stored. False when measuring: only the syntax is followed.
  bool keep_values = false;
  // The element_instance_tag bound to output channel 0 and 1 by the first single channel element decoded into
  // each. A new stream begins with kNoTag.
  uint8_t tags[kMaxChannels] = {kNoTag, kNoTag};
  // DRC: 0 in a new instance; a new stream keeps the value of the one before.
  uint8_t program_reference_level = 0;
  // Borrowed. Null: SBR payloads are skipped, or when measuring, the parser is constructed in `scratch` at
  // the first payload.
  SbrParser* sbr = nullptr;
  // Measuring only: at least kSbrScratchBytes, with the alignment of operator new.
  std::span<std::byte> scratch;
  // True once any block of the stream carried such data.
  bool sbr_signalled = false;
  bool ps_signalled = false;
};

}  // namespace zdr::aacdec
