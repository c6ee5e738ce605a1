// Processes a byte at a time with a table made at compile time.
#include "host/formats/crc32.h"

#include <array>

namespace zdr::host {
namespace {

constexpr uint32_t kPolynomial = 0xEDB88320u;

constexpr std::array<uint32_t, 256> make_table() {
  std::array<uint32_t, 256> table{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) value = (value & 1) != 0 ? value >> 1 ^ kPolynomial : value >> 1;
    table[i] = value;
  }
  return table;
}

constexpr auto kTable = make_table();

}  // namespace

uint32_t crc32(std::span<const uint8_t> bytes) {
  uint32_t value = 0xFFFFFFFFu;
  for (const uint8_t byte : bytes) value = kTable[(value ^ byte) & 0xFF] ^ value >> 8;
  return value ^ 0xFFFFFFFFu;
}

}  // namespace zdr::host
