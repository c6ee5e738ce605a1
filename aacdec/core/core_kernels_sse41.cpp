// The core's kernels compiled for SSE4.1.
#include "aacdec/core/core_kernels_lanes.h"

namespace zdr::aacdec {

const CoreKernels kSse41CoreKernels = kCompiledCoreKernels;

}  // namespace zdr::aacdec
