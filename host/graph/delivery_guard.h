// Ends a run whose tables describe more data than the file holds: overlapping chunks let a small file
// describe days of samples. With --allow-overlap such a file is played anyway.
#pragma once

#include <atomic>
#include <cstdint>

namespace zdr::host {

class DeliveryGuard {
 public:
  // `limit` is in bytes for each stream; 0: no limit.
  explicit DeliveryGuard(uint64_t limit) : limit_(limit) {}

  // `total` is what one stream has delivered. False, and the guard trips, if it is above the limit. Any
  // thread.
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
