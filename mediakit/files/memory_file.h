// A file in memory with the callbacks of AACF_FileIo. It counts calls, and makes the Nth call fail.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "id3p/file_io.h"

namespace zdr::test {

// The open callback has no context: it opens the latest object of the calling thread.
class MemoryFile {
 public:
  // The file is the content, repeated. The content is borrowed. The tell callback fails at 2 GiB and beyond.
  explicit MemoryFile(std::span<const uint8_t> content, uint64_t repetitions = 1);
  ~MemoryFile();
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
  int32_t seek(int32_t offset, int32_t whence);

 private:
  bool fails();
  uint32_t read(uint8_t* buffer, uint64_t count);

  std::span<const uint8_t> content_;
  uint64_t size_;
  uint64_t position_ = 0;
  uint64_t calls_left_ = 0;
  bool has_failed_ = false;
  Counts counts_;
  AACF_FileIo io_;
};

}  // namespace zdr::test
