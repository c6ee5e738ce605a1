// Reads a source of bytes in blocks, and lets the position be moved about as if it were read byte by byte.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "esparse/amr/byte_source.h"

namespace zdr::amrf {

class BlockReader {
 public:
  // bad_alloc when there is no memory for the block.
  explicit BlockReader(std::unique_ptr<ByteSource> source);

  uint64_t position() const { return position_; }
  // The unread rest of the block around the position, reading on when it is used up; empty at the end,
  // and from 4 GiB on.
  std::span<const uint8_t> available();
  // Moves the position, also beyond the end, and back at most to the beginning of the block.
  void move(int32_t distance) { position_ += static_cast<uint64_t>(int64_t{distance}); }
  // Reads `count` bytes into `buffer`, or over them when it is null. False when fewer are left: the position
  // is then at the end.
  bool take(uint8_t* buffer, uint32_t count);
  // To an offset from the beginning that was read before. False when the source does not let it.
  bool rewind(uint32_t offset);

 private:
  bool read_block();

  std::unique_ptr<ByteSource> source_;
  std::unique_ptr<uint8_t[]> block_;
  uint64_t block_begin_ = 0;  // offset of the block in the source
  uint32_t block_size_ = 0;   // bytes in it; the source stands at its end
  uint64_t position_ = 0;     // not before block_begin_
};

}  // namespace zdr::amrf
