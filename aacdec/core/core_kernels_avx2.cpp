// The core's kernels compiled for AVX2.
#include "aacdec/core/core_kernels_lanes.h"

namespace zdr::aacdec {

const CoreKernels kAvx2CoreKernels = kCompiledCoreKernels;

}  // namespace zdr::aacdec
