// Converts numbers between the byte orders of files and the machine.
#pragma once

#include <array>
#include <cstdint>

namespace zdr::host {

// A number of at most 8 bytes.
constexpr uint64_t read_be(const uint8_t* bytes, unsigned count) {
  uint64_t value = 0;
  for (unsigned i = 0; i < count; ++i) value = value << 8 | bytes[i];
  return value;
}

constexpr std::array<uint8_t, 4> le32(uint32_t value) {
  return {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value >> 16),
          static_cast<uint8_t>(value >> 24)};
}

}  // namespace zdr::host
