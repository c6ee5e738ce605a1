// A small block cache for runs of tiny reads, such as box headers and short media samples: one system call
// brings the bytes of many reads.
//
// Only files opened for reading that deny writers use it, so by the rules of sharing the bytes cannot change
// under it. A program outside those rules may still append or cut: a read that goes past the block's end asks
// the file anew, so the true end is always found. Scattered reads fetch nothing extra: a block is filled only
// when a read starts at, or shortly after, the end of the one before, and its size grows with the length of
// the run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace zdr::platform {

class ReadAhead {
 public:
  static constexpr size_t kLargestRead = 8 * 1024;  // larger reads go straight to the file
  static constexpr size_t kFirstBlock = 4 * 1024;
  static constexpr size_t kLargestBlock = 64 * 1024;
  static constexpr uint64_t kLargestGap = 4 * 1024;  // a skip over this much still counts as a run

  // Copies the bytes when the block holds all of them.
  bool serve(uint64_t offset, void* buffer, size_t count) noexcept;

  // How many bytes to read into `block` for this miss; 0 when the read should go straight to the file.
  size_t plan(uint64_t offset, size_t count) noexcept;
  std::byte* block() noexcept { return block_.get(); }
  // After `filled` bytes from `offset` were read into the block: copies up to `count` and gives the number.
  size_t fill(uint64_t offset, size_t filled, void* buffer, size_t count) noexcept;

 private:
  std::unique_ptr<std::byte[]> block_;
  uint64_t start_ = 0;     // of the block's bytes in the file
  size_t length_ = 0;      // valid bytes
  uint64_t last_end_ = 0;  // where the latest small read ended
  size_t next_block_ = kFirstBlock;
};

}  // namespace zdr::platform
