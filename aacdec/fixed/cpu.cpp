// Detects the instruction sets of the processor once, when the library is loaded.
#include "aacdec/fixed/cpu.h"

namespace zdr::aacdec {
namespace {

bool has_wide_vectors() {
#if defined(__x86_64__)
  // Needed because this may run before the compiler runtime's constructor that does the same.
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") != 0;
#else
  return false;
#endif
}

bool wide_vectors = has_wide_vectors();

}  // namespace

bool use_wide_vectors() {
  return wide_vectors;
}

void allow_wide_vectors(bool allowed) {
  wide_vectors = allowed && has_wide_vectors();
}

}  // namespace zdr::aacdec
