// Reads a file through the callbacks of AACF_FileIo, for the tag parser and the AAC reader.
#pragma once

#include <cstdint>
#include <span>

#include "id3p/file_io.h"

namespace zdr::id3p {

// Borrows the handle, and uses the position of the file.
class CallbackFile {
 public:
  CallbackFile() = default;
  CallbackFile(void* handle, const AACF_FileIo& io) : handle_(handle), io_(io) {}

  // False on failure, and for offsets of 2 GiB and more.
  bool seek_to(uint32_t offset) const;
  bool seek_from_end(int32_t offset) const;
  // Returns the number of bytes read.
  uint32_t read(std::span<uint8_t> bytes) const;
  bool read_whole(std::span<uint8_t> bytes) const { return read(bytes) == bytes.size(); }
  // Negative when unknown.
  int32_t position() const { return io_.tell(handle_); }
  // Returns the size of the file, 0 on failure, or INT32_MAX if it does not fit a signed 32-bit number,
  // because the callbacks reach no further. The position is unchanged unless the callbacks fail.
  uint32_t size() const;
  void close() const { io_.close(handle_); }

 private:
  void* handle_ = nullptr;
  AACF_FileIo io_{};
};

}  // namespace zdr::id3p
