// Where a reader gets its bytes from: a file, or in tests a block of memory that fails on demand.
#pragma once

#include <cstdint>
#include <memory>

namespace zdr::amrf {

class ByteSource {
 public:
  virtual ~ByteSource() = default;
  // Bytes moved: fewer than `count` at the end, 0 also when the read failed.
  virtual uint32_t read(void* buffer, uint32_t count) = 0;
  // To `offset` from the beginning. False when that failed.
  virtual bool seek(int32_t offset) = 0;
};

// Null when the file cannot be opened. bad_alloc when memory runs out.
std::unique_ptr<ByteSource> open_file(const char16_t* path);

}  // namespace zdr::amrf
