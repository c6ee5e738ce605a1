// The lanes of the read-ahead: which one serves a read, and how much it fetches after a miss.
#include "platform/win32/runtime/files/read_ahead.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace zdr::platform {

bool ReadAhead::serve(uint64_t offset, void* buffer, size_t count) noexcept {
  for (Lane& lane : lanes_) {
    // This order of comparisons cannot wrap around.
    if (offset < lane.start || offset - lane.start > lane.length) continue;
    const size_t inside = static_cast<size_t>(offset - lane.start);
    if (count > lane.length - inside) continue;
    std::memcpy(buffer, lane.bytes.get() + inside, count);
    lane.last_end = offset + count;
    lane.last_use = ++uses_;
    return true;
  }
  return false;
}

ReadAhead::Lane* ReadAhead::lane_of_run(uint64_t offset) noexcept {
  Lane* nearest = nullptr;
  for (Lane& lane : lanes_) {
    if (offset < lane.last_end || offset - lane.last_end > kLargestSkip) continue;
    if (nearest == nullptr || lane.last_end > nearest->last_end) nearest = &lane;
  }
  return nearest;
}

// A read that continues nothing may be the first of a run: it takes the lane that was idle longest.
void ReadAhead::start_run(uint64_t end) noexcept {
  Lane& lane = *std::min_element(lanes_.begin(), lanes_.end(),
                                 [](const Lane& a, const Lane& b) { return a.last_use < b.last_use; });
  lane.length = 0;
  lane.last_end = end;
  lane.next_fill = kFirstFill;
  lane.last_use = ++uses_;
}

size_t ReadAhead::plan(uint64_t offset, size_t count) noexcept {
  if (count > kLargestRead) return 0;
  chosen_ = lane_of_run(offset);
  if (chosen_ == nullptr) {
    start_run(offset + count);
    return 0;
  }
  if (chosen_->bytes == nullptr) chosen_->bytes.reset(new (std::nothrow) std::byte[kLargestFill]);
  if (chosen_->bytes == nullptr) return 0;
  const bool is_near = offset - chosen_->last_end <= kLargestGap;
  const size_t size = is_near ? chosen_->next_fill : kFirstFill;
  chosen_->next_fill = std::min(size * 4, kLargestFill);
  chosen_->last_end = offset + count;
  chosen_->last_use = ++uses_;
  return size;
}

size_t ReadAhead::fill(uint64_t offset, size_t filled, void* buffer, size_t count) noexcept {
  chosen_->start = offset;
  chosen_->length = filled;
  const size_t served = std::min(filled, count);
  if (served > 0) std::memcpy(buffer, chosen_->bytes.get(), served);
  return served;
}

}  // namespace zdr::platform
