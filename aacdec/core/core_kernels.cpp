// Selects the variant of the core's kernels at run time.
#include "aacdec/core/core_kernels.h"

#include "aacdec/fixed/cpu.h"

namespace zdr::aacdec {

const CoreKernels& core_kernels() {
#if defined(__x86_64__)
  if (use_wide_vectors()) return kAvx2CoreKernels;
#endif
  return kBaseCoreKernels;
}

}  // namespace zdr::aacdec
