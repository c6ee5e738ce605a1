// Records what the process reads from files between begin() and end().
#pragma once

#include <cstdint>
#include <vector>

#include "platform/win32/read_observer.h"

namespace zdr::host {

class ReadTrace final : public platform::ReadObserver {
 public:
  struct Read {
    uint64_t offset = 0;
    uint64_t bytes = 0;
  };

  ReadTrace() { reads_.reserve(kMostReads); }
  ~ReadTrace() { end(); }
  ReadTrace(const ReadTrace&) = delete;
  ReadTrace& operator=(const ReadTrace&) = delete;

  void begin() { platform::set_read_observer(this); }
  // May be called on any thread, and more than once.
  void end() { platform::set_read_observer(nullptr); }

  // Call after end().
  const std::vector<Read>& reads() const { return reads_; }
  uint64_t count() const { return count_; }  // may be more than reads() has
  uint64_t bytes() const { return bytes_; }

 private:
  static constexpr size_t kMostReads = 1 << 16;

  void on_read(uint64_t offset, size_t bytes) noexcept override {
    ++count_;
    bytes_ += bytes;
    if (reads_.size() < kMostReads) reads_.push_back({offset, bytes});
  }

  std::vector<Read> reads_;
  uint64_t count_ = 0;
  uint64_t bytes_ = 0;
};

}  // namespace zdr::host
