// The bit rate of a stream in its busiest second, as `zdr info` and `zdr plot` state it.
#pragma once

#include <algorithm>
#include <cstdint>

namespace zdr::host {

// Seconds are counted from the first unit on.
class PeakSecond {
 public:
  explicit PeakSecond(uint64_t time_scale) : time_scale_(std::max<uint64_t>(1, time_scale)) {}

  // Call in decoding order. `time` is the decoding time in units of the time scale.
  void add(uint64_t time, uint32_t size) {
    if (is_first_) begin_ = time;
    is_first_ = false;
    const uint64_t elapsed = time - begin_;
    if (elapsed - second_ >= time_scale_) {
      second_ = elapsed - elapsed % time_scale_;
      bytes_ = 0;
    }
    bytes_ += size;
    most_ = std::max(most_, bytes_);
  }
  uint64_t bits() const { return most_ * 8; }

 private:
  uint64_t time_scale_;
  bool is_first_ = true;
  uint64_t begin_ = 0;   // time of the first unit
  uint64_t second_ = 0;  // begin of the second of the last unit, from there
  uint64_t bytes_ = 0;   // in that second
  uint64_t most_ = 0;
};

}  // namespace zdr::host
