// Selects the variant of the core's kernels at run time.
#include "aacdec/core/core_kernels.h"

#include "aacdec/fixed/cpu.h"

namespace zdr::aacdec {

const CoreKernels& core_kernels() {
#if defined(__x86_64__) || defined(__i386__)
  if (vector_level() == VectorLevel::kAvx2) return kAvx2CoreKernels;
  if (vector_level() == VectorLevel::kSse41) return kSse41CoreKernels;
#endif
  return kBaseCoreKernels;
}

}  // namespace zdr::aacdec
