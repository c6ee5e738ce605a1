// The kernels compiled for AVX2; see core_kernels.h.
#include "aacdec/core/core_kernels_body.h"

namespace zdr::aacdec {

const CoreKernels kWideKernels = kKernels;

}  // namespace zdr::aacdec
