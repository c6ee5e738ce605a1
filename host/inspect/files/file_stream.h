// Reads a file at any offset through the file manager, so that failed reads are logged like those of the
// filter.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/inspect/files/managed_file.h"

namespace zdr::host {

class FileStream {
 public:
  // Throws std::bad_alloc without memory for a file manager.
  explicit FileStream(const std::string& file);
  FileStream(const FileStream&) = delete;
  FileStream& operator=(const FileStream&) = delete;

  bool is_open() const { return stream_ != nullptr; }
  uint64_t size() const { return size_; }  // 0 also if the file could not be opened
  // Returns the number of bytes read, which is less at the end of the file and 0 after a failure.
  size_t read_at(uint64_t offset, std::span<uint8_t> buffer);

 private:
  struct CloseStream {
    void operator()(FMGR_Stream* stream) const { FMGR_FClose(stream); }
  };

  ManagedFile file_;
  std::unique_ptr<FMGR_Stream, CloseStream> stream_;
  uint64_t size_ = 0;
};

// A window into a file, for walks that read a few bytes here and there in ascending order.
class BlockReader {
 public:
  explicit BlockReader(FileStream& stream) : stream_(stream) {}

  // The bytes from `offset` on, at least `count` of them unless the file ends earlier or cannot be read.
  // Valid until the next call.
  std::span<const uint8_t> from(uint64_t offset, size_t count);

 private:
  FileStream& stream_;
  std::vector<uint8_t> bytes_;
  uint64_t begin_ = 0;
};

}  // namespace zdr::host
