// Reads the fields of a body bit by bit, the most significant first.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "host/text/bytes.h"

namespace zdr::host {

class BitReader {
 public:
  explicit BitReader(Bytes bytes) : bytes_(bytes) {}

  // Returns the next `bits` bits, at most 64. Returns 0 if fewer are left; then every later read fails, too.
  uint64_t take(size_t bits) {
    uint64_t value = 0;
    if (!skip(bits)) return 0;
    for (size_t bit = position_ - bits; bit < position_; ++bit)
      value = value << 1 | (bytes_[bit / 8] >> (7 - bit % 8) & 1);
    return value;
  }
  bool skip(size_t bits) {
    has_failed_ = has_failed_ || bits > bytes_.size() * 8 - position_;
    if (!has_failed_) position_ += bits;
    return !has_failed_;
  }
  // Returns `count` whole bytes, or fewer at the end of the body.
  Bytes take_bytes(size_t count) {
    const Bytes rest = has_failed_ ? Bytes() : bytes_.subspan((position_ + 7) / 8);
    const Bytes taken = rest.first(std::min(count, rest.size()));
    skip(taken.size() * 8);
    return taken;
  }
  Bytes rest() { return take_bytes(bytes_.size()); }

  bool has_failed() const { return has_failed_; }  // a read needed more than there is
  size_t position() const { return position_; }    // in bits

 private:
  Bytes bytes_;
  size_t position_ = 0;
  bool has_failed_ = false;
};

}  // namespace zdr::host
