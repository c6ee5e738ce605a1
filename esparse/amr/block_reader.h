// Reads a file in blocks, so that reading it byte by byte rarely makes a system call.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "os/os.h"

namespace zdr::amrf {

struct CloseFile {
  void operator()(void* handle) const { OS_fclose(handle); }
};
using FileHandle = std::unique_ptr<void, CloseFile>;

class BlockReader {
 public:
  // `file` is open and at its start. Throws bad_alloc if out of memory.
  explicit BlockReader(FileHandle file);

  uint64_t position() const { return position_; }
  // Returns the bytes of the block from the position on, reading the next block if none are left. Empty at
  // the end, after a failed read, and from 4 GiB on.
  std::span<const uint8_t> available();
  // Moves the position forward, also beyond the end.
  void skip(uint32_t count) { position_ += count; }
  // Copies `count` bytes to `buffer`, or skips them when it is null. False if fewer are left; the position
  // is then at the end.
  bool read(uint8_t* buffer, uint32_t count);
  // Moves back to an offset that was reached before. False if the seek fails.
  bool rewind(uint32_t offset);

 private:
  bool read_block();

  FileHandle file_;
  std::unique_ptr<uint8_t[]> block_;
  uint64_t block_begin_ = 0;  // offset of the block in the file
  uint32_t block_size_ = 0;   // bytes in it; the file position is at its end
  uint64_t position_ = 0;     // not before block_begin_
};

}  // namespace zdr::amrf
