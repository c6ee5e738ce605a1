// raw_data_block of ISO/IEC 14496-3: the elements of one frame. Measuring a frame and decoding it run the
// same parser; measuring only leaves the values out.
//
// How a decoder uses it: keep one BlockContext for the stream with `keep_values` set and `sbr` pointing at
// its own SbrParser (null while SBR is off), one or two Frame records, and a BitReader on the access unit.
// After a successful parse the reader stands behind END; align it to the next byte. To parse a frame a second
// time for concealment, set `sbr` to null for that call: the payloads are then passed over and frame.sbr
// keeps what it holds.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "aacdec/syntax/bit_reader.h"
#include "aacdec/syntax/channel_stream.h"
#include "aacdec/syntax/frame.h"
#include "aacdec/syntax/sbr_payload.h"

namespace zdr::aacdec {

inline constexpr uint8_t kNoTag = 255;

// What the parser knows of a stream beside the frame at hand.
struct BlockContext {
  StreamFormat format;
  // Decode: quantised values are kept. Measure: the syntax alone is followed, and SBR state is made in
  // `scratch` when the first payload comes.
  bool keep_values = false;
  // element_instance_tags that the first single channel elements bound to output channel 0 and 1. Reset to
  // kNoTag when a stream begins anew.
  uint8_t tags[kMaxChannels] = {kNoTag, kNoTag};
  // 0 at creation; kept when a stream begins anew.
  uint8_t program_reference_level = 0;
  SbrParser* sbr = nullptr;
  // Measuring only; at least kSbrScratchBytes, aligned as new memory is.
  std::span<std::byte> scratch;
  // Met in any block so far.
  bool sbr_signalled = false;
  bool ps_signalled = false;
};

inline constexpr size_t kSbrScratchBytes = 4096;

// Reads one block. Returns its number of channels, 1 or 2 (also kept in frame.channel_count), or nothing when
// it is damaged, cut or not supported. After a failure frame.channel_count is that of the frame before and
// every field is in range: with silence for spectra the record may be synthesised as it is.
std::optional<int> parse_raw_data_block(BitReader& reader, BlockContext& context, Frame& frame);

}  // namespace zdr::aacdec
