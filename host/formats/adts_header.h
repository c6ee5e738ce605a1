// The header of an ADTS frame (ISO/IEC 13818-7, 6.2).
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "host/text/bytes.h"

namespace zdr::host {

struct AdtsHeader {
  static constexpr size_t kBytes = 7;  // without a CRC
  static constexpr size_t kBytesWithCrc = 9;
  static constexpr size_t kLargestFrame = (1 << 13) - 1;  // that its length of 13 bits can state
  // The bits that all headers of a stream share: those up to the channel configuration.
  using FixedBits = std::array<uint8_t, 4>;

  FixedBits fixed_bits;
  unsigned profile;  // MPEG-4 audio object type minus 1
  unsigned channel_configuration;
  bool has_crc;
  size_t frame_length;  // in bytes, header included; may be less than the header
  unsigned blocks;      // raw data blocks, each of which is an AAC frame
};

// True if the bytes begin with the syncword and the layer of ADTS; two bytes suffice.
inline bool is_adts_header(Bytes bytes) {
  return bytes.size() >= 2 && bytes[0] == 0xFF && (bytes[1] & 0xF6) == 0xF0;
}

// Nothing unless a whole header begins here.
inline std::optional<AdtsHeader> read_adts_header(Bytes bytes) {
  if (bytes.size() < AdtsHeader::kBytes || !is_adts_header(bytes)) return std::nullopt;
  return AdtsHeader{
      .fixed_bits = {bytes[0], bytes[1], bytes[2], static_cast<uint8_t>(bytes[3] & 0xF0)},
      .profile = uint32_t{bytes[2]} >> 6,
      .channel_configuration = (bytes[2] & 1u) << 2 | uint32_t{bytes[3]} >> 6,
      .has_crc = (bytes[1] & 1) == 0,
      .frame_length = size_t{bytes[3] & 3u} << 11 | size_t{bytes[4]} << 3 | size_t{bytes[5]} >> 5,
      .blocks = (bytes[6] & 3u) + 1};
}

}  // namespace zdr::host
