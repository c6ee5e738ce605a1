// Implements the six callbacks over the bytes in memory.
#include "mediakit/files/memory_file.h"

#include <algorithm>

namespace zdr::test {
namespace {

thread_local MemoryFile* latest = nullptr;

}  // namespace

MemoryFile::MemoryFile(std::span<const uint8_t> content, uint64_t repetitions)
    : content_(content), size_(content.size() * repetitions) {
  latest = this;
  io_.open = [](const char16_t*, const char*) -> void* {
    ++latest->counts_.opens;
    latest->position_ = 0;
    return latest->fails() ? nullptr : latest;
  };
  io_.seek = [](void* handle, int32_t offset, int32_t whence) {
    return static_cast<MemoryFile*>(handle)->seek(offset, whence);
  };
  io_.read = [](void* buffer, uint32_t size, uint32_t count, void* handle) {
    const uint64_t bytes = uint64_t{size} * count;
    return size == 0 ? 0u
                     : static_cast<MemoryFile*>(handle)->read(static_cast<uint8_t*>(buffer), bytes) / size;
  };
  io_.write = [](const void*, uint32_t, uint32_t, void*) { return 0u; };
  io_.close = [](void* handle) {
    ++static_cast<MemoryFile*>(handle)->counts_.closes;
    return 0;
  };
  io_.tell = [](void* handle) {
    auto& file = *static_cast<MemoryFile*>(handle);
    const bool fits = !file.fails() && file.position_ <= INT32_MAX;
    return fits ? static_cast<int32_t>(file.position_) : -1;
  };
}

MemoryFile::~MemoryFile() {
  if (latest == this) latest = nullptr;
}

bool MemoryFile::fails() {
  if (calls_left_ == 0 || --calls_left_ != 0) return false;
  has_failed_ = true;
  return true;
}

int32_t MemoryFile::seek(int32_t offset, int32_t whence) {
  ++counts_.seeks;
  if (fails()) return 1;
  const uint64_t base = whence == 0 ? 0 : whence == 1 ? position_ : size_;
  const int64_t target = static_cast<int64_t>(base) + offset;
  if (target < 0) return 1;
  position_ = static_cast<uint64_t>(target);
  return 0;
}

uint32_t MemoryFile::read(uint8_t* buffer, uint64_t count) {
  ++counts_.reads;
  uint64_t room = position_ < size_ ? std::min(count, size_ - position_) : 0;
  if (fails()) room /= 2;
  for (uint64_t done = 0; done < room;) {
    const uint64_t at = position_ % content_.size();
    const uint64_t run = std::min(room - done, content_.size() - at);
    std::copy_n(content_.begin() + static_cast<std::ptrdiff_t>(at), run, buffer + done);
    done += run;
    position_ += run;
  }
  counts_.bytes_read += room;
  return static_cast<uint32_t>(room);
}

}  // namespace zdr::test
