// Writes raw_data_blocks element by element, and ADTS frames with any header.
#pragma once

#include <cstdint>

#include "aacdec/tables/scale_factor_codes.h"
#include "aacdec/tables/spectral_codes.h"
#include "mediakit/aac/bit_writer.h"

namespace zdr::test {

enum : uint64_t { kSce = 0, kCpe = 1, kCce = 2, kLfe = 3, kDse = 4, kPce = 5, kFil = 6, kEndElement = 7 };

// The flags of a channel without pulses, TNS and gain control.
inline const BitWriter kNoTools{{0, 3}};

// ics_info of a long window without prediction.
inline BitWriter long_ics(int max_sfb, int shape = 0) {
  return {{0, 3}, {static_cast<uint64_t>(shape), 1}, {static_cast<uint64_t>(max_sfb), 6}, {0, 1}};
}

// individual_channel_stream without coded values.
inline BitWriter silent_channel() {
  return BitWriter{{100, 8}} + long_ics(0) + kNoTools;
}

// individual_channel_stream of one long band coded with `book`, up to its tool flags.
inline BitWriter channel_of_one_band(uint64_t gain, uint64_t book, int shape = 0) {
  BitWriter w = BitWriter{{gain, 8}} + long_ics(1, shape) + BitWriter{{book, 4}, {1, 5}};
  return w.put(aacdec::kScaleFactorCodes[60]);
}

// Four values of -1 to 1 in book 1.
inline BitWriter quad(int a, int b, int c, int d) {
  return BitWriter().put(aacdec::kSpectralBook1[27 * a + 9 * b + 3 * c + d + 40]);
}

inline BitWriter silent_sce(uint64_t tag = 0) {
  return BitWriter{{kSce, 3}, {tag, 4}} + silent_channel();
}

inline BitWriter silent_cpe(uint64_t tag = 0) {
  return BitWriter{{kCpe, 3}, {tag, 4}, {0, 1}} + silent_channel() + silent_channel();
}

// program_config_element of one front channel, at the start of a block.
inline BitWriter program(uint64_t rate_index) {
  return BitWriter{{kPce, 3}, {0, 4}, {1, 2}, {rate_index, 4}, {1, 4}, {0, 25}}.align().put(0, 8);
}

// fill_element with `payload`, extension type included, in `count` bytes. `padding` fills the bits after the
// payload.
inline BitWriter fill_element(const BitWriter& payload, size_t count, bool padding = false) {
  BitWriter w{{kFil, 3}};
  if (count < 15) {
    w.put(count, 4);
  } else {
    w.fields({{15, 4}, {count - 14, 8}});
  }
  const size_t end = w.size() + 8 * count;
  return w.append(payload).pad_to(end, padding);
}

inline BitWriter fill_element(const BitWriter& payload) {
  return fill_element(payload, (payload.size() + 7) / 8);
}

// A whole block of the given elements.
inline Bytes block_of(BitWriter elements) {
  return elements.put(kEndElement, 3).bytes();
}

struct AdtsFields {
  uint64_t layer = 0;
  uint64_t protection_absent = 1;
  uint64_t profile = 1;
  uint64_t rate_index = 7;
  uint64_t channels = 2;
  uint64_t further_blocks = 0;
};

// `blocks` is one raw_data_block or several in sequence.
inline Bytes adts_frame(const AdtsFields& f, const Bytes& blocks) {
  const uint64_t header_bytes = f.protection_absent != 0 ? 7 : 9;
  BitWriter w{{0xFFF, 12}, {0, 1}, {f.layer, 2}, {f.protection_absent, 1}, {f.profile, 2}, {f.rate_index, 4}};
  w.fields({{0, 1}, {f.channels, 3}, {0, 4}, {header_bytes + blocks.size(), 13}, {0x7FF, 11}});
  w.put(f.further_blocks, 2);
  if (f.protection_absent == 0) w.put(0xBEEF, 16);
  return w.append(blocks).bytes();
}

}  // namespace zdr::test
