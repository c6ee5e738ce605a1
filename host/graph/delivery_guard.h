// Ends a run whose tables describe more data than the file holds: overlapping chunks let a small file
// describe days of samples. A file that is meant so is played with --allow-overlap.
#pragma once

#include <atomic>
#include <cstdint>

namespace zdr::host {

class DeliveryGuard {
 public:
  // `limit` in bytes for each stream; 0 for none.
  explicit DeliveryGuard(uint64_t limit) : limit_(limit) {}

  // False when a stream that has delivered `total` bytes has delivered too much.
  bool allows(uint64_t total) {
    if (limit_ == 0 || total <= limit_) return true;
    tripped_ = true;
    return false;
  }
  bool tripped() const { return tripped_; }

 private:
  uint64_t limit_;
  std::atomic<bool> tripped_{false};
};

}  // namespace zdr::host
