// Selects the variant of the SBR kernels at run time.
#include "aacdec/sbr/sbr_kernels.h"

#include "aacdec/fixed/cpu.h"

namespace zdr::aacdec {

const SbrKernels& sbr_kernels() {
#if defined(__x86_64__) || defined(__i386__)
  if (vector_level() == VectorLevel::kAvx2) return kAvx2SbrKernels;
  if (vector_level() == VectorLevel::kSse41) return kSse41SbrKernels;
#endif
  return kBaseSbrKernels;
}

}  // namespace zdr::aacdec
