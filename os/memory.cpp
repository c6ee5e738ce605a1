// Memory from the C heap, so that a block may be released by another library than the one that took it.
#include <cstdlib>

#include "os/os.h"

void* OS_Malloc(size_t size) noexcept {
  return std::malloc(size);
}

void OS_Free(void* block) noexcept {
  std::free(block);
}
