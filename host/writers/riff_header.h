// Builds a RIFF header from little-endian numbers, texts and bytes.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "host/formats/byte_order.h"
#include "host/text/bytes.h"

namespace zdr::host {

// A size that is unknown, as in a pipe, or does not fit.
inline constexpr uint32_t kToTheEnd = UINT32_MAX;

class RiffHeader {
 public:
  void text(std::string_view value) { bytes_.insert(bytes_.end(), value.begin(), value.end()); }
  void u8(uint8_t value) { bytes_.push_back(value); }
  void u16(uint16_t value) {
    u8(static_cast<uint8_t>(value));
    u8(static_cast<uint8_t>(value >> 8));
  }
  void u32(uint32_t value) {
    const auto bytes = le32(value);
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  }
  void raw(Bytes value) { bytes_.insert(bytes_.end(), value.begin(), value.end()); }
  void zeros(size_t count) { bytes_.insert(bytes_.end(), count, 0); }
  const std::vector<uint8_t>& bytes() const { return bytes_; }

 private:
  std::vector<uint8_t> bytes_;
};

}  // namespace zdr::host
