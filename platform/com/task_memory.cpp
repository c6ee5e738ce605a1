// Task memory: the one allocator that host and modules share, which here is the C library's.
#include <objbase.h>

#include <cstdlib>

#include "platform/win32/fault_injection.h"

using zdr::platform::FaultPoint;
using zdr::platform::should_fail;

void* CoTaskMemAlloc(SIZE_T size) noexcept {
  if (should_fail(FaultPoint::kTaskAllocation)) return nullptr;
  return std::malloc(size != 0 ? size : 1);
}

void* CoTaskMemRealloc(void* block, SIZE_T size) noexcept {
  if (block == nullptr) return CoTaskMemAlloc(size);
  if (size == 0) {
    CoTaskMemFree(block);
    return nullptr;
  }
  if (should_fail(FaultPoint::kTaskAllocation)) return nullptr;
  return std::realloc(block, size);
}

void CoTaskMemFree(void* block) noexcept {
  std::free(block);
}
