// Reads, seeks and measures a file through the callbacks.
#include "id3p/callback_file.h"

#include <algorithm>

namespace zdr::id3p {
namespace {

constexpr int32_t kFromStart = 0;
constexpr int32_t kFromEnd = 2;
constexpr uint32_t kLargestOffset = INT32_MAX;

}  // namespace

bool CallbackFile::seek_to(uint32_t offset) const {
  return offset <= kLargestOffset && io_.seek(handle_, static_cast<int32_t>(offset), kFromStart) == 0;
}

bool CallbackFile::seek_from_end(int32_t offset) const {
  return io_.seek(handle_, offset, kFromEnd) == 0;
}

uint32_t CallbackFile::read(std::span<uint8_t> bytes) const {
  const auto capacity = static_cast<uint32_t>(bytes.size());
  if (capacity == 0) return 0;
  return std::min(io_.read(bytes.data(), 1, capacity, handle_), capacity);
}

// Kept: a size that does not fit 31 bits is reported as one byte less than 2 GiB.
uint32_t CallbackFile::size() const {
  const int32_t before = io_.tell(handle_);
  if (io_.seek(handle_, 0, kFromEnd) != 0) return 0;
  const int32_t end = io_.tell(handle_);
  if (before >= 0) io_.seek(handle_, before, kFromStart);
  return end < 0 ? kLargestOffset : static_cast<uint32_t>(end);
}

}  // namespace zdr::id3p
