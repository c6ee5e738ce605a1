#include "esparse/amr/block_reader.h"

#include <algorithm>
#include <cstring>

namespace zdr::amrf {
namespace {

constexpr uint32_t kBlockBytes = 64 * 1024;
// A device may give bytes for ever. What begins behind 32 bits of position is taken for the end.
constexpr uint64_t kLongestSource = 0xFFFFFFFF;

}  // namespace

BlockReader::BlockReader(std::unique_ptr<ByteSource> source)
    : source_(std::move(source)), block_(new uint8_t[kBlockBytes]) {}

bool BlockReader::read_block() {
  const uint32_t size = source_->read(block_.get(), kBlockBytes);
  // At the end, or after a failure, the block before has gone too.
  block_begin_ += block_size_;
  block_size_ = size;
  return size > 0;
}

std::span<const uint8_t> BlockReader::available() {
  // A position beyond the block is reached by reading: a frame is far smaller than a block.
  while (position_ >= block_begin_ + block_size_) {
    if (block_begin_ + block_size_ > kLongestSource || !read_block()) return {};
  }
  const auto used = static_cast<uint32_t>(position_ - block_begin_);
  return {block_.get() + used, block_size_ - used};
}

bool BlockReader::take(uint8_t* buffer, uint32_t count) {
  while (count > 0) {
    const std::span<const uint8_t> bytes = available();
    if (bytes.empty()) return false;
    const auto part = static_cast<uint32_t>(std::min<size_t>(count, bytes.size()));
    if (buffer != nullptr) {
      std::memcpy(buffer, bytes.data(), part);
      buffer += part;
    }
    position_ += part;
    count -= part;
  }
  return true;
}

bool BlockReader::rewind(uint32_t offset) {
  if (offset < block_begin_ || offset > block_begin_ + block_size_) {
    if (!source_->seek(static_cast<int32_t>(offset))) return false;
    block_begin_ = offset;
    block_size_ = 0;
  }
  position_ = offset;
  return true;
}

}  // namespace zdr::amrf
