// Builds raw_data_blocks element by element, and ADTS frames with any header.
#pragma once

#include <cstdint>
#include <vector>

#include "aacdec/tables/scale_factor_codes.h"
#include "aacdec/tables/spectral_codes.h"
#include "mediakit/aac/adts_file.h"
#include "mediakit/aac/bit_writer.h"

namespace zdr::aacdec::test {

enum : uint64_t { kSce = 0, kCpe = 1, kCce = 2, kLfe = 3, kDse = 4, kPce = 5, kFil = 6, kEndElement = 7 };

// ics_info of a long window, without prediction.
inline BitWriter& put_long_ics(BitWriter& w, int max_sfb, int shape = 0, int sequence = 0) {
  return w.fields({{0, 1}, {static_cast<uint64_t>(sequence), 2}, {static_cast<uint64_t>(shape), 1}})
      .fields({{static_cast<uint64_t>(max_sfb), 6}, {0, 1}});
}

// Pulse, TNS and gain control flags of a channel without any.
inline BitWriter& put_no_tools(BitWriter& w) {
  return w.put(0, 3);
}

// Four values of -1 to 1, by book 1.
inline const HuffmanCode& quad(int a, int b, int c, int d) {
  return kSpectralBook1[27 * a + 9 * b + 3 * c + d + 40];
}

// individual_channel_stream with nothing in it.
inline BitWriter& put_silent_channel(BitWriter& w) {
  w.put(100, 8);
  return put_no_tools(put_long_ics(w, 0));
}

inline BitWriter& put_scale_factor(BitWriter& w, int difference) {
  return w.put(kScaleFactorCodes[difference + 60]);
}

// individual_channel_stream of one long band of `book`, up to the band's values.
inline BitWriter& put_band(BitWriter& w, uint64_t gain, uint64_t book, int shape = 0) {
  put_long_ics(w.put(gain, 8), 1, shape).fields({{book, 4}, {1, 5}});
  return put_no_tools(put_scale_factor(w, 0));
}

inline BitWriter& put_silent_sce(BitWriter& w, uint64_t tag) {
  w.fields({{kSce, 3}, {tag, 4}});
  return put_silent_channel(w);
}

inline BitWriter& put_silent_cpe(BitWriter& w) {
  w.fields({{kCpe, 3}, {0, 4}, {0, 1}});
  put_silent_channel(w);
  return put_silent_channel(w);
}

inline std::vector<uint8_t> end_block(BitWriter& w) {
  w.put(kEndElement, 3);
  return w.align().bytes();
}

// fill_element of `payload` bits (its extension type included), padded to whole bytes with `padding`.
inline BitWriter& put_fill(BitWriter& w, const BitWriter& payload, uint64_t padding = 0) {
  const uint64_t count = (payload.size() + 7) / 8;
  w.put(kFil, 3);
  if (count < 15) {
    w.put(count, 4);
  } else {
    w.fields({{15, 4}, {count - 14, 8}});
  }
  w.append(payload);
  for (size_t bit = payload.size(); bit < 8 * count; ++bit) w.put(padding, 1);
  return w;
}

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
