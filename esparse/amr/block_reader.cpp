// Keeps one block in memory and reads the next when the position leaves it.
#include "esparse/amr/block_reader.h"

#include <algorithm>
#include <cstring>

namespace zdr::amrf {
namespace {

constexpr uint32_t kBlockBytes = 64 * 1024;
// A device may deliver bytes forever, so a block that would begin past 32 bits of position counts as the end.
constexpr uint64_t kLastBlockBegin = 0xFFFFFFFF;

}  // namespace

BlockReader::BlockReader(FileHandle file) : file_(std::move(file)), block_(new uint8_t[kBlockBytes]) {}

bool BlockReader::read_block() {
  const uint32_t size = OS_fread(block_.get(), 1, kBlockBytes, file_.get());
  // At the end and after a failure, the previous block is discarded too.
  block_begin_ += block_size_;
  block_size_ = size;
  return size > 0;
}

std::span<const uint8_t> BlockReader::available() {
  // Positions after the block are reached by reading: a frame is far smaller than a block.
  while (position_ >= block_begin_ + block_size_) {
    if (block_begin_ + block_size_ > kLastBlockBegin || !read_block()) return {};
  }
  const auto used = static_cast<uint32_t>(position_ - block_begin_);
  return {block_.get() + used, block_size_ - used};
}

bool BlockReader::read(uint8_t* buffer, uint32_t count) {
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
    if (OS_fseek(file_.get(), static_cast<int32_t>(offset), OS_SEEK_BEGIN) != 0) return false;
    block_begin_ = offset;
    block_size_ = 0;
  }
  position_ = offset;
  return true;
}

}  // namespace zdr::amrf
