// Reads the bits of a frame, most significant first, without ever reading memory past its end.
//
// Two readers: `BitReader` reads single fields of the syntax; `BitCache` keeps the next 56 to 63 bits in a
// register, for Huffman loops. Past the end both deliver zeros and keep counting, so that a loop over a
// damaged frame stays cheap and safe; `past_end` reports it. Both borrow the data.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zdr::aacdec {

class BitReader {
 public:
  BitReader() = default;
  BitReader(const uint8_t* data, size_t length) : data_(data), length_(length) {}

  // Returns the next `count` bits (0 to 32), right-aligned.
  uint32_t read(int count) {
    const uint32_t value = peek(count);
    position_ += static_cast<uint64_t>(count);
    return value;
  }
  bool read_bit() { return read(1) != 0; }
  uint32_t peek(int count) const {
    // Two shifts, because a shift by 64 for a count of 0 is undefined.
    return static_cast<uint32_t>(window() >> 1 >> (63 - count));
  }
  void skip(uint64_t count) { position_ += count; }
  // The next bits, left-aligned; at least 57 are valid.
  uint64_t window() const { return load(position_ / 8) << (position_ % 8); }
  // Skips to the next multiple of eight bits from the start of the data.
  void byte_align() { position_ = (position_ + 7) & ~uint64_t{7}; }

  // Bits since the start of the data.
  uint64_t position() const { return position_; }
  void seek(uint64_t position) { position_ = position; }
  // Bytes up to the position, including a partly read one.
  uint64_t bytes_read() const { return (position_ + 7) / 8; }
  size_t length() const { return length_; }
  // Negative past the end.
  int64_t bits_left() const { return static_cast<int64_t>(length_ * 8) - static_cast<int64_t>(position_); }
  // True once at least eight bits past the end of the data have been read. Fewer go unnoticed; compare
  // `bytes_read` for the exact length.
  bool past_end() const { return position_ / 8 > length_; }

  // Returns eight bytes from `byte` on, big endian, with zeros past the end of the data.
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

// Meant to be local to one loop: passed by reference, it would be in memory instead of registers, and every
// word would wait for the previous one.
class BitCache {
 public:
  // The number of bits that are valid after refill().
  static constexpr int kRefilled = 56;

  explicit BitCache(const BitReader& reader) : reader_(reader) { seek(reader.position()); }

  // Makes at least kRefilled bits of the window valid. A load also sets bits beyond the counted ones; the
  // next load ORs the same bits in again.
  void refill() {
    window_ |= reader_.load(next_byte_) >> valid_;
    next_byte_ += static_cast<uint64_t>(63 - valid_) >> 3;
    valid_ |= 56;
  }
  // Refills only if fewer than `count` bits are valid.
  void require(int count) {
    if (valid_ < count) refill();
  }
  // The next bits, left-aligned.
  uint64_t window() const { return window_; }
  // Removes `count` bits, which must be valid.
  void consume(int count) {
    window_ <<= count;
    valid_ -= count;
  }
  // Reads 1 to 32 bits, which must be valid.
  uint32_t take(int count) {
    const auto value = static_cast<uint32_t>(window_ >> (64 - count));
    consume(count);
    return value;
  }
  void seek(uint64_t position) {
    next_byte_ = position / 8 + 7;
    valid_ = 56 - static_cast<int>(position % 8);
    window_ = reader_.load(position / 8) << (position % 8);
  }

  uint64_t position() const { return next_byte_ * 8 - static_cast<uint64_t>(valid_); }
  bool past_end() const { return position() / 8 > reader_.length(); }
  // Returns a reader of the same data, at the position of the cache.
  BitReader reader() const {
    BitReader at = reader_;
    at.seek(position());
    return at;
  }

 private:
  BitReader reader_;
  uint64_t window_ = 0;
  uint64_t next_byte_ = 0;
  int valid_ = 0;
};

}  // namespace zdr::aacdec
