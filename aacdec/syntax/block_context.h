// The state that the parser carries from one raw_data_block to the next.
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
  // True if decoding: quantised values are stored. False if measuring: the syntax is parsed, but no
  // values are stored.
  bool keep_values = false;
  // The element_instance_tag bound to output channel 0 and 1 by the first single channel element decoded into
  // each. A new stream begins with kNoTag.
  uint8_t tags[kMaxChannels] = {kNoTag, kNoTag};
  // DRC: 0 in a new instance; a new stream keeps the value of the previous one.
  uint8_t program_reference_level = 0;
  // Borrowed. If null, SBR payloads are skipped, except when measuring: the first payload then constructs the
  // parser in `scratch`.
  SbrParser* sbr = nullptr;
  // Measuring only: at least kSbrScratchBytes, with the alignment of operator new.
  std::span<std::byte> scratch;
  // True once any block of the stream has carried such data.
  bool sbr_signalled = false;
  bool ps_signalled = false;
};

}  // namespace zdr::aacdec
