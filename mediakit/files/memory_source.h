// Bytes in memory as the source of a reader; the Nth read or seek can be made to fail.
#pragma once

#include <algorithm>
#include <cstring>
#include <span>

#include "esparse/amr/byte_source.h"

namespace zdr::test {

// Counts the calls of a source, and names the one that fails.
struct SourceCalls {
  uint32_t fail_at = 0;  // counted from 1; 0: none
  uint32_t calls = 0;
  uint32_t seeks = 0;
  bool struck() { return ++calls == fail_at; }
};

class MemorySource final : public amrf::ByteSource {
 public:
  MemorySource(std::span<const uint8_t> bytes, SourceCalls& calls) : bytes_(bytes), calls_(calls) {}

  uint32_t read(void* buffer, uint32_t count) override {
    if (calls_.struck()) return 0;
    const size_t begin = std::min(position_, bytes_.size());
    const size_t moved = std::min<size_t>(count, bytes_.size() - begin);
    if (moved > 0) std::memcpy(buffer, bytes_.data() + begin, moved);
    position_ = begin + moved;
    return static_cast<uint32_t>(moved);
  }
  bool seek(int32_t offset) override {
    ++calls_.seeks;
    if (calls_.struck()) return false;
    position_ = static_cast<size_t>(offset);
    return true;
  }

 private:
  std::span<const uint8_t> bytes_;
  SourceCalls& calls_;
  size_t position_ = 0;
};

}  // namespace zdr::test
