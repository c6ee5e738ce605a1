// Writes bit fields, most significant bit first.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <utility>
#include <vector>

#include "aacdec/syntax/huffman.h"

namespace zdr::test {

using Bytes = std::vector<uint8_t>;

class BitWriter {
 public:
  BitWriter() = default;
  // Fields of {value, bits}.
  BitWriter(std::initializer_list<std::pair<uint64_t, int>> list) { fields(list); }

  BitWriter& put(uint64_t value, int bits) {
    for (int i = bits - 1; i >= 0; --i) bits_.push_back((value >> i & 1) != 0);
    return *this;
  }
  BitWriter& put(const aacdec::HuffmanCode& code) { return put(code.word, code.length); }
  BitWriter& fields(std::initializer_list<std::pair<uint64_t, int>> list) {
    for (const auto& [value, width] : list) put(value, width);
    return *this;
  }
  BitWriter& append(const BitWriter& other) {
    bits_.insert(bits_.end(), other.bits_.begin(), other.bits_.end());
    return *this;
  }
  BitWriter& append(const Bytes& bytes) {
    for (const uint8_t byte : bytes) put(byte, 8);
    return *this;
  }
  // Appends `bit` until the writer holds `size` bits.
  BitWriter& pad_to(size_t size, bool bit = false) {
    if (bits_.size() < size) bits_.resize(size, bit);
    return *this;
  }
  BitWriter& align() { return pad_to((size() + 7) / 8 * 8); }

  size_t size() const { return bits_.size(); }
  // The last byte is padded with zeros.
  Bytes bytes() const {
    Bytes bytes((bits_.size() + 7) / 8);
    for (size_t i = 0; i < bits_.size(); ++i) {
      if (bits_[i]) bytes[i / 8] = static_cast<uint8_t>(bytes[i / 8] | 0x80 >> i % 8);
    }
    return bytes;
  }

 private:
  std::vector<bool> bits_;
};

inline BitWriter operator+(BitWriter a, const BitWriter& b) {
  return a.append(b);
}

}  // namespace zdr::test
