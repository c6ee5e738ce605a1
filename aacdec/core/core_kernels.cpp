// See core_kernels.h. This file holds the choice and the form for any processor.
#include "aacdec/core/core_kernels.h"

#include "aacdec/core/core_kernels_body.h"
#include "aacdec/fixed/cpu.h"

namespace zdr::aacdec {

const CoreKernels kBaseKernels = kKernels;

const CoreKernels& core_kernels() {
#if defined(__x86_64__)
  return use_wide_vectors() ? kWideKernels : kBaseKernels;
#else
  return kBaseKernels;
#endif
}

}  // namespace zdr::aacdec
