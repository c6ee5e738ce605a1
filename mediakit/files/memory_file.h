// A file in memory with the callbacks of AACF_FileIo. It counts calls, and makes the Nth call fail.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "id3p/file_io.h"

namespace zdr::test {

// The open callback has no context: it opens the latest object of the calling thread.
class MemoryFile {
 public:
  // The file is the content, repeated. The content is borrowed. The tell callback fails at 2 GiB and beyond.
  explicit MemoryFile(std::span<const uint8_t> content, uint64_t repetitions = 1)
      : content_(content), size_(content.size() * repetitions) {
    latest_ = this;
    io_.open = open;
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
    io_.tell = tell;
  }
  ~MemoryFile() {
    if (latest_ == this) latest_ = nullptr;
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  const AACF_FileIo& io() const { return io_; }
  AACF_FileIo& io() { return io_; }
  void* handle() { return this; }

  struct Counts {
    uint64_t opens = 0;
    uint64_t closes = 0;
    uint64_t seeks = 0;
    uint64_t reads = 0;
    uint64_t bytes_read = 0;
  };
  const Counts& counts() const { return counts_; }
  void reset_counts() { counts_ = {}; }
  uint64_t position() const { return position_; }

  // Makes the Nth call from now on fail, counted from 1; 0 for none. A failing read delivers half of the
  // bytes.
  void fail_call(uint64_t nth) { calls_left_ = nth; }
  bool has_failed() const { return has_failed_; }

  // The seek callback, for callers that replace it.
  int32_t seek(int32_t offset, int32_t whence) {
    ++counts_.seeks;
    if (fails()) return 1;
    const uint64_t base = whence == 0 ? 0 : whence == 1 ? position_ : size_;
    const int64_t target = static_cast<int64_t>(base) + offset;
    if (target < 0) return 1;
    position_ = static_cast<uint64_t>(target);
    return 0;
  }

 private:
  static void* open(const char16_t*, const char*) {
    ++latest_->counts_.opens;
    latest_->position_ = 0;
    return latest_->fails() ? nullptr : latest_;
  }
  static int32_t tell(void* handle) {
    auto& file = *static_cast<MemoryFile*>(handle);
    const bool fits = !file.fails() && file.position_ <= INT32_MAX;
    return fits ? static_cast<int32_t>(file.position_) : -1;
  }
  bool fails() {
    if (calls_left_ == 0 || --calls_left_ != 0) return false;
    has_failed_ = true;
    return true;
  }
  uint32_t read(uint8_t* buffer, uint64_t count) {
    ++counts_.reads;
    uint64_t available = position_ < size_ ? std::min(count, size_ - position_) : 0;
    if (fails()) available /= 2;
    for (uint64_t done = 0; done < available;) {
      const uint64_t at = position_ % content_.size();
      const uint64_t run = std::min(available - done, content_.size() - at);
      std::copy_n(content_.begin() + static_cast<std::ptrdiff_t>(at), run, buffer + done);
      done += run;
      position_ += run;
    }
    counts_.bytes_read += available;
    return static_cast<uint32_t>(available);
  }

  static inline thread_local MemoryFile* latest_ = nullptr;

  std::span<const uint8_t> content_;
  uint64_t size_;
  uint64_t position_ = 0;
  uint64_t calls_left_ = 0;
  bool has_failed_ = false;
  Counts counts_;
  AACF_FileIo io_;
};

}  // namespace zdr::test
