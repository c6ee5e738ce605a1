// The C heap, for blocks that cross library boundaries.
#include <cstdlib>

#include "os/os.h"

void* OS_Malloc(size_t size) {
  return std::malloc(size);
}

void OS_Free(void* block) {
  std::free(block);
}
