// Loads big-endian numbers. `bytes` must point to as many bytes as the number has.
#pragma once

#include <cstdint>

namespace zdr::p3gpp {

inline uint16_t load_be16(const uint8_t* bytes) {
  return static_cast<uint16_t>(bytes[0] << 8 | bytes[1]);
}
inline uint32_t load_be32(const uint8_t* bytes) {
  return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}
inline uint64_t load_be64(const uint8_t* bytes) {
  return uint64_t{load_be32(bytes)} << 32 | load_be32(bytes + 4);
}

}  // namespace zdr::p3gpp
