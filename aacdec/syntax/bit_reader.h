// Bits of a frame, most significant first, from a block of memory whose end is never passed.
//
// Two views of the same position: `BitReader` reads single fields of the syntax; `BitCache` keeps the next 56
// to 63 bits in a register and is what the Huffman loops run on. Past the end both deliver zeros and go on
// counting, so that a loop over a damaged frame stays cheap and safe; `past_end` tells that it happened.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace zdr::aacdec {

class BitReader {
 public:
  BitReader() = default;
  BitReader(const uint8_t* data, size_t length) : data_(data), length_(length) {}

  // The next `count` bits (0 to 32), right-aligned.
  uint32_t read(int count) {
    const uint32_t value = peek(count);
    position_ += static_cast<uint64_t>(count);
    return value;
  }
  bool read_bit() { return read(1) != 0; }
  uint32_t peek(int count) const {
    // Two shifts, so that a count of 0 gives 0.
    return static_cast<uint32_t>(window() >> 1 >> (63 - count));
  }
  void skip(uint64_t count) { position_ += count; }
  // The next bits, left-aligned; at least 57 are valid.
  uint64_t window() const { return load(position_ / 8) << (position_ % 8); }
  // To the next multiple of eight bits from the start of the data.
  void byte_align() { position_ = (position_ + 7) & ~uint64_t{7}; }

  // Bits read, skipped or aligned over since the start of the data.
  uint64_t position() const { return position_; }
  void seek(uint64_t position) { position_ = position; }
  // Whole bytes up to the position, a partly read one included.
  uint64_t bytes_read() const { return (position_ + 7) / 8; }
  size_t length() const { return length_; }
  // Negative once reads have gone past the end.
  int64_t bits_left() const { return static_cast<int64_t>(length_ * 8) - static_cast<int64_t>(position_); }
  // The byte that holds the next bit lies behind the data. A frame that ends exactly is not past the end, and
  // up to seven bits more go unnoticed here; who needs the exact length compares `bytes_read`.
  bool past_end() const { return position_ / 8 > length_; }

  // Eight bytes from `byte` on, big endian, zeros behind the data.
  uint64_t load(uint64_t byte) const {
    if (length_ >= 8 && byte <= length_ - 8) [[likely]]
      return load_whole(data_ + byte);
    return load_tail(byte);
  }

 private:
  static uint64_t load_whole(const uint8_t* p) {
    return uint64_t{p[0]} << 56 | uint64_t{p[1]} << 48 | uint64_t{p[2]} << 40 | uint64_t{p[3]} << 32 |
           uint64_t{p[4]} << 24 | uint64_t{p[5]} << 16 | uint64_t{p[6]} << 8 | uint64_t{p[7]};
  }
  uint64_t load_tail(uint64_t byte) const {
    uint64_t bits = 0;
    for (int shift = 56; shift >= 0 && byte < length_; shift -= 8, ++byte) {
      bits |= uint64_t{data_[byte]} << shift;
    }
    return bits;
  }

  const uint8_t* data_ = nullptr;
  size_t length_ = 0;
  uint64_t position_ = 0;
};

class BitCache {
 public:
  // Bits that `refill` guarantees.
  static constexpr int kRefilled = 56;

  explicit BitCache(const BitReader& reader) : reader_(reader) { seek(reader.position()); }

  // After it the window holds at least `kRefilled` bits. The bits that a load brings beyond those counted are
  // ORed in again, equal, by the next one.
  void refill() {
    window_ |= reader_.load(next_byte_) >> valid_;
    next_byte_ += static_cast<uint64_t>(63 - valid_) >> 3;
    valid_ |= 56;
  }
  // The next bits, left-aligned.
  uint64_t window() const { return window_; }
  // `count` is at most what has been refilled and not consumed.
  void consume(int count) {
    window_ <<= count;
    valid_ -= count;
  }
  // 1 to 32 bits that are in the window.
  uint32_t take(int count) {
    const auto value = static_cast<uint32_t>(window_ >> (64 - count));
    consume(count);
    return value;
  }
  // Any number of bits; refills.
  void skip(uint64_t count) { seek(position() + count); }

  uint64_t position() const { return next_byte_ * 8 - static_cast<uint64_t>(valid_); }
  bool past_end() const { return position() / 8 > reader_.length(); }

 private:
  void seek(uint64_t position) {
    next_byte_ = position / 8;
    window_ = 0;
    valid_ = 0;
    refill();
    consume(static_cast<int>(position % 8));
    refill();
  }

  BitReader reader_;
  uint64_t window_ = 0;
  uint64_t next_byte_ = 0;
  int valid_ = 0;
};

}  // namespace zdr::aacdec
