// Builds ADTS frames with any header.
#pragma once

#include <cstdint>

#include "tests/aacdec/adts_file.h"
#include "tests/aacdec/bit_writer.h"

namespace zdr::aacdec::test {

struct AdtsFields {
  uint64_t layer = 0;
  uint64_t protection_absent = 1;
  uint64_t profile = 1;
  uint64_t rate_index = 7;
  uint64_t channels = 2;
  uint64_t further_blocks = 0;
};

// `blocks`: one raw_data_block, or several, of whole bytes each.
inline Bytes adts_frame(const AdtsFields& f, const Bytes& blocks) {
  const uint64_t header_bytes = f.protection_absent != 0 ? 7 : 9;
  BitWriter w;
  w.fields({{0xFFF, 12}, {0, 1}, {f.layer, 2}, {f.protection_absent, 1}, {f.profile, 2}, {f.rate_index, 4}});
  w.fields({{0, 1}, {f.channels, 3}, {0, 4}, {header_bytes + blocks.size(), 13}, {0x7FF, 11}});
  w.put(f.further_blocks, 2);
  if (f.protection_absent == 0) w.put(0xBEEF, 16);
  Bytes frame = w.bytes();
  frame.insert(frame.end(), blocks.begin(), blocks.end());
  return frame;
}

}  // namespace zdr::aacdec::test
