// Ends a run whose tables describe more data than the file holds: overlapping chunks let a small file
// describe days of samples. --allow-overlap plays such a file anyway.
#pragma once

#include <atomic>
#include <cstdint>

namespace zdr::host {

class DeliveryGuard {
 public:
  // `limit` is in bytes for each stream; 0: no limit.
  explicit DeliveryGuard(uint64_t limit) : limit_(limit) {}

  // True if `total`, the bytes that one stream has delivered, is within the limit; otherwise the guard trips.
  // Any thread.
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
