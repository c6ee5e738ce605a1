// Holds part of a file in memory, read in large blocks. Refilling below the threshold keeps a whole ADTS
// frame and the next header in memory; a block of the other kinds may exceed the threshold.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "id3p/callback_file.h"

namespace zdr::aacf {

inline constexpr uint32_t AACF_STREAM_BUFFER_SIZE = 24576;
inline constexpr uint32_t AACF_REFILL_THRESHOLD = 12288;

class StreamBuffer {
 public:
  // False if out of memory.
  bool allocate();

  std::span<const uint8_t> unread() const { return {data_.get() + offset_, valid_}; }
  uint32_t valid() const { return valid_; }
  void advance(uint32_t count);

  // Discards the content and reads from the file position with one call.
  void restart(const id3p::CallbackFile& file);
  // Fills the free space with one call. Returns the number of bytes read.
  uint32_t refill(const id3p::CallbackFile& file);
  // Like refill(), but only below AACF_REFILL_THRESHOLD; otherwise returns 0.
  uint32_t refill_when_low(const id3p::CallbackFile& file);

 private:
  std::unique_ptr<uint8_t[]> data_;
  uint32_t offset_ = 0;
  uint32_t valid_ = 0;
};

}  // namespace zdr::aacf
