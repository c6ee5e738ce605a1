// Half of the mutations of a media file are those that the tests apply: box types, sizes and counts. The
// engine alone seldom changes these few bytes.
#include <algorithm>

#include "mediakit/files/mutator.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t max_size);

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size, unsigned seed) {
  if (seed % 2 == 0) return LLVMFuzzerMutate(data, size, max_size);
  const zdr::test::Bytes damaged = zdr::test::Mutator(seed).damaged({data, data + size});
  const size_t length = std::min(damaged.size(), max_size);
  std::copy_n(damaged.begin(), length, data);
  return length;
}
