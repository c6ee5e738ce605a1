// Lets the Nth allocation of this thread fail. Linking the source file replaces the global operator new, so
// it is listed in the test program that needs it, not in a library.
#ifndef ZDR_TESTS_SUPPORT_FAILING_ALLOCATOR_H
#define ZDR_TESTS_SUPPORT_FAILING_ALLOCATOR_H

#include <cstddef>
#include <cstdint>

namespace zdr::test {

// For the life of the object.
class FailingAllocator {
 public:
  // Counted from 1; 0: none fails, for counting alone.
  explicit FailingAllocator(uint64_t failing_allocation);
  ~FailingAllocator();
  FailingAllocator(const FailingAllocator&) = delete;
  FailingAllocator& operator=(const FailingAllocator&) = delete;

  // Allocations asked for so far, and the size of the largest.
  uint64_t count() const;
  size_t largest() const;
  bool struck() const;
};

}  // namespace zdr::test

#endif
