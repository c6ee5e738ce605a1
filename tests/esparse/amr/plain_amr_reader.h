// The rules of reading a speech file written down one step after the other, over bytes in memory and without
// buffers or shortcuts; what the reader does is compared with it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "esparse/amr/amrf.h"

namespace zdr::tests {

class PlainAmrReader {
 public:
  // `bytes` has an end of line.
  explicit PlainAmrReader(std::vector<uint8_t> bytes) : bytes_(std::move(bytes)) {
    start_ = std::find(bytes_.begin(), bytes_.end(), '\n') - bytes_.begin() + 1;
    wide_ = start_ != 6;
  }

  AMRF_Info scan() {
    seek(start_);
    last_ = 0;
    for (;;) {
      uint8_t frame[100];
      if (read(frame, 1) != 1) break;
      const uint32_t size = size_of(frame[0]);
      if (size > 1 && read(frame, size - 1) != size - 1) break;
      ++last_;
    }
    return {20 * last_, last_, wide_ ? 80u : 64u};
  }

  int32_t read_frame(AMRF_FrameRequest& request) {
    const int32_t status = read_numbered(request);
    last_ = status == 0 ? request.number : 0;
    return status;
  }

  uint32_t size_of(uint8_t toc) const {
    static const uint32_t kNarrow[] = {13, 14, 16, 18, 20, 21, 27, 32, 6, 1, 1, 1, 1, 1, 1, 1};
    static const uint32_t kWide[] = {18, 24, 33, 37, 41, 47, 51, 59, 61, 6, 6, 0, 0, 0, 1, 1};
    const int type = toc / 8 % 16;
    return wide_ ? kWide[type] : kNarrow[type];
  }

 private:
  int32_t read_numbered(AMRF_FrameRequest& request) {
    if (request.number == 0) {
      request.size = 0;
      return -1;
    }
    if (last_ == 0 || last_ != request.number - 1) {
      seek(start_);
      for (uint32_t i = 1; i < request.number; ++i) {
        uint8_t toc = 0;
        if (read(&toc, 1) != 1) {
          request.size = 0;
          return -1;
        }
        seek(position_ + size_of(toc) - 1);
      }
    }
    if (read(request.buffer, 1) != 1) return -1;
    const uint32_t size = size_of(request.buffer[0]);
    if (request.size != 0 && size > request.size) return static_cast<int32_t>(0x80004005);
    if (size > 1 && read(request.buffer + 1, size - 1) != size - 1) return -1;
    request.size = std::max(size, 1u);
    return 0;
  }

  void seek(int64_t position) { position_ = position; }
  uint32_t read(uint8_t* buffer, uint32_t count) {
    const int64_t left = std::max<int64_t>(static_cast<int64_t>(bytes_.size()) - position_, 0);
    const auto moved = static_cast<uint32_t>(std::min<int64_t>(left, count));
    if (moved > 0) std::memcpy(buffer, bytes_.data() + position_, moved);
    position_ += moved;
    return moved;
  }

  std::vector<uint8_t> bytes_;
  int64_t start_ = 0;
  int64_t position_ = 0;
  bool wide_ = false;
  uint32_t last_ = 0;
};

}  // namespace zdr::tests
