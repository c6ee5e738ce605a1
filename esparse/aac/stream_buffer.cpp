// Moves and fills the block in memory.
#include "esparse/aac/stream_buffer.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace zdr::aacf {
namespace {

// Bit readers may load a few bytes past the end.
constexpr size_t kPadding = 8;

}  // namespace

bool StreamBuffer::allocate() {
  data_.reset(new (std::nothrow) uint8_t[AACF_STREAM_BUFFER_SIZE + kPadding]());
  return data_ != nullptr;
}

void StreamBuffer::advance(uint32_t count) {
  count = std::min(count, valid_);
  offset_ += count;
  valid_ -= count;
}

void StreamBuffer::restart(const id3p::CallbackFile& file) {
  valid_ = 0;
  refill(file);
}

uint32_t StreamBuffer::refill(const id3p::CallbackFile& file) {
  std::memmove(data_.get(), data_.get() + offset_, valid_);
  offset_ = 0;
  const uint32_t count = file.read({data_.get() + valid_, AACF_STREAM_BUFFER_SIZE - valid_});
  valid_ += count;
  return count;
}

uint32_t StreamBuffer::refill_when_low(const id3p::CallbackFile& file) {
  return valid_ < AACF_REFILL_THRESHOLD ? refill(file) : 0;
}

}  // namespace zdr::aacf
