// Detects the instruction sets of the processor once, when the library is loaded.
#include "aacdec/fixed/cpu.h"

#include <algorithm>

namespace zdr::aacdec {
namespace {

constexpr VectorLevel kLevels[] = {VectorLevel::kBase, VectorLevel::kSse41, VectorLevel::kAvx2};

VectorLevel highest_level() {
#if defined(__x86_64__) || defined(__i386__)
  // Needed because this may run before the compiler runtime's constructor that does the same.
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0) return VectorLevel::kAvx2;
  if (__builtin_cpu_supports("sse4.1") != 0) return VectorLevel::kSse41;
#endif
  return VectorLevel::kBase;
}

const VectorLevel highest = highest_level();
VectorLevel selected = highest;

}  // namespace

std::span<const VectorLevel> vector_levels() {
  return {kLevels, static_cast<size_t>(highest) + 1};
}

VectorLevel vector_level() {
  return selected;
}

void limit_vector_level(VectorLevel limit) {
  selected = std::min(limit, highest);
}

}  // namespace zdr::aacdec
