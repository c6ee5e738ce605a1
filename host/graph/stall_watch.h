// Notices that a run has come to a halt.
#pragma once

#include <chrono>
#include <cstdint>

namespace zdr::host {

// Counts the slices of time in which nothing moved. Slices, not the clock: a program that was suspended has
// not stalled.
class StallWatch {
 public:
  static constexpr std::chrono::milliseconds kSlice{100};

  // 0: never stalled.
  explicit StallWatch(std::chrono::milliseconds limit) : limit_slices_(limit / kSlice) {}

  // Call once a slice. True once nothing has moved for the limit.
  bool is_stalled(bool has_moved) {
    idle_slices_ = has_moved ? 0 : idle_slices_ + 1;
    return limit_slices_ != 0 && idle_slices_ >= limit_slices_;
  }

 private:
  int64_t limit_slices_;
  int64_t idle_slices_ = 0;
};

}  // namespace zdr::host
