// Selects the variant of the SBR kernels at run time.
#include "aacdec/sbr/sbr_kernels.h"

#include "aacdec/fixed/cpu.h"

namespace zdr::aacdec {

const SbrKernels& sbr_kernels() {
#if defined(__x86_64__)
  if (use_wide_vectors()) return kAvx2SbrKernels;
#endif
  return kBaseSbrKernels;
}

}  // namespace zdr::aacdec
