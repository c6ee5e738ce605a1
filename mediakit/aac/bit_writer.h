// Writes fields most significant bit first: what the tests build streams with.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "aacdec/syntax/huffman.h"

namespace zdr::aacdec::test {

class BitWriter {
 public:
  BitWriter& put(uint64_t value, int bits) {
    for (int i = bits - 1; i >= 0; --i) bits_.push_back((value >> i & 1) != 0);
    return *this;
  }
  BitWriter& put(const HuffmanCode& code) { return put(code.word, code.length); }
  // Several fields of {value, bits}.
  BitWriter& fields(std::initializer_list<std::pair<uint64_t, int>> list) {
    for (const auto& [value, width] : list) put(value, width);
    return *this;
  }
  BitWriter& append(const BitWriter& other) {
    bits_.insert(bits_.end(), other.bits_.begin(), other.bits_.end());
    return *this;
  }
  BitWriter& align() {
    while (bits_.size() % 8 != 0) bits_.push_back(false);
    return *this;
  }
  size_t size() const { return bits_.size(); }
  std::vector<uint8_t> bytes() const {
    std::vector<uint8_t> bytes((bits_.size() + 7) / 8);
    for (size_t i = 0; i < bits_.size(); ++i) {
      if (bits_[i]) bytes[i / 8] = static_cast<uint8_t>(bytes[i / 8] | 0x80 >> i % 8);
    }
    return bytes;
  }

 private:
  std::vector<bool> bits_;
};

}  // namespace zdr::aacdec::test
