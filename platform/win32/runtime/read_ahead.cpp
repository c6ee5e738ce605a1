// The read-ahead block.
#include "platform/win32/runtime/read_ahead.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace zdr::platform {

bool ReadAhead::serve(uint64_t offset, void* buffer, size_t count) noexcept {
  // In this order nothing can wrap around.
  if (offset < start_ || offset - start_ > length_ || count > length_ - (offset - start_)) return false;
  std::memcpy(buffer, block_.get() + (offset - start_), count);
  last_end_ = offset + count;
  return true;
}

size_t ReadAhead::plan(uint64_t offset, size_t count) noexcept {
  if (count > kLargestRead) return 0;
  const bool continues_run = offset >= last_end_ && offset - last_end_ <= kLargestGap;
  last_end_ = offset + count;
  if (!continues_run) {
    next_block_ = kFirstBlock;
    return 0;
  }
  if (block_ == nullptr) block_.reset(new (std::nothrow) std::byte[kLargestBlock]);
  if (block_ == nullptr) return 0;
  const size_t size = std::max(next_block_, count);
  next_block_ = std::min(next_block_ * 4, kLargestBlock);
  return size;
}

size_t ReadAhead::fill(uint64_t offset, size_t filled, void* buffer, size_t count) noexcept {
  start_ = offset;
  length_ = filled;
  const size_t served = std::min(filled, count);
  if (served > 0) std::memcpy(buffer, block_.get(), served);
  return served;
}

}  // namespace zdr::platform
