// Task memory: the allocator that host and modules share, which is the C library's.
#include <objbase.h>

#include <cstdlib>

#include "platform/win32/fault_injection.h"

void* CoTaskMemAlloc(SIZE_T size) noexcept {
  if (zdr::platform::should_fail(zdr::platform::FaultPoint::kTaskAllocation)) return nullptr;
  return std::malloc(size != 0 ? size : 1);
}

void CoTaskMemFree(void* block) noexcept {
  std::free(block);
}
