// Reads a file at any offset through the file manager, so that failed reads are logged like those of the
// filter.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "host/inspect/managed_file.h"

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

}  // namespace zdr::host
