// FailingAllocator: makes the Nth allocation of this thread fail. Its source file replaces the global
// operator new, so it is part of the test programs that need it, not of a library.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace zdr::test {

// Active during the life of the object.
class FailingAllocator {
 public:
  // Counts from 1. With 0 no allocation fails.
  explicit FailingAllocator(uint64_t failing_allocation) : failing_(failing_allocation) { active_ = this; }
  ~FailingAllocator() { active_ = nullptr; }
  FailingAllocator(const FailingAllocator&) = delete;
  FailingAllocator& operator=(const FailingAllocator&) = delete;

  // Allocations requested so far, and the size of the largest.
  uint64_t count() const { return count_; }
  size_t largest() const { return largest_; }
  // True if an allocation has failed.
  bool triggered() const { return failing_ != 0 && count_ >= failing_; }

  // Counts an allocation of this thread. True if it must fail.
  static bool fails(size_t size) {
    if (active_ == nullptr) return false;
    active_->largest_ = std::max(active_->largest_, size);
    return ++active_->count_ == active_->failing_;
  }

 private:
  static inline thread_local FailingAllocator* active_ = nullptr;

  const uint64_t failing_;
  uint64_t count_ = 0;
  size_t largest_ = 0;
};

}  // namespace zdr::test
