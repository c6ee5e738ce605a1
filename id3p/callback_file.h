// A file behind the six callbacks, with the few questions that its readers ask.
#pragma once

#include <cstdint>
#include <span>

#include "id3p/file_io.h"

namespace zdr::id3p {

// Neither owns the handle nor keeps a position of its own.
class CallbackFile {
 public:
  CallbackFile() = default;
  CallbackFile(void* handle, const AACF_FileIo& io) : handle_(handle), io_(io) {}

  bool seek_to(uint32_t offset) const;
  bool seek_from_end(int32_t offset) const;
  // Bytes read.
  uint32_t read(std::span<uint8_t> bytes) const;
  bool read_whole(std::span<uint8_t> bytes) const { return read(bytes) == bytes.size(); }
  // Negative when unknown.
  int32_t position() const { return io_.tell(handle_); }
  // Size of the file. The position stays, unless the callbacks fail. A file whose size does not fit a signed
  // 32-bit number counts as the largest that does: more of it cannot be reached.
  uint32_t size() const;
  void close() const { io_.close(handle_); }

 private:
  void* handle_ = nullptr;
  AACF_FileIo io_{};
};

}  // namespace zdr::id3p
