// The core's kernels for every processor.
#include "aacdec/core/core_kernels_lanes.h"

namespace zdr::aacdec {

const CoreKernels kBaseCoreKernels = kCompiledCoreKernels;

}  // namespace zdr::aacdec
