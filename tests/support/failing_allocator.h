// FailingAllocator: makes the Nth allocation of this thread fail. Its source file replaces the global
// operator new, so it is part of the test programs that need it, not of a library.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zdr::test {

// Active during the life of the object.
class FailingAllocator {
 public:
  // Counts from 1. With 0 no allocation fails.
  explicit FailingAllocator(uint64_t failing_allocation);
  ~FailingAllocator();
  FailingAllocator(const FailingAllocator&) = delete;
  FailingAllocator& operator=(const FailingAllocator&) = delete;

  // Allocations requested so far, and the size of the largest.
  uint64_t count() const;
  size_t largest() const;
  // Whether an allocation has failed.
  bool triggered() const;
};

}  // namespace zdr::test
