// The C heap, for blocks that cross library boundaries.
#include <cstdlib>

#include "os/os.h"

void* OS_Malloc(size_t size) noexcept {
  return std::malloc(size);
}

void OS_Free(void* block) noexcept {
  std::free(block);
}
