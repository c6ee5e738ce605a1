// A file in memory behind the six callbacks, which counts what is asked of it and lets chosen calls fail.
#ifndef ZDR_TESTS_SUPPORT_MEMORY_FILE_H
#define ZDR_TESTS_SUPPORT_MEMORY_FILE_H

#include <cstdint>
#include <span>
#include <vector>

#include "id3p/file_io.h"

namespace zdr::test {

// The callbacks know no object, so the object made last on a thread is the one that a path opens there.
class MemoryFile {
 public:
  // The content repeated; it is not copied and must live as long. A size from 2 GiB on is told as a failure.
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

  // The nth of all calls from now on, counted from 1, fails; 0: none. A failing read gives a part.
  void fail_call(uint64_t nth) { calls_left_ = nth; }
  bool has_failed() const { return has_failed_; }

  // What the seek callback does.
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

#endif
