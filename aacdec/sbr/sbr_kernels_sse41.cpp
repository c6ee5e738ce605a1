// The SBR kernels compiled for SSE4.1.
#include "aacdec/sbr/sbr_kernels_lanes.h"

namespace zdr::aacdec {

const SbrKernels kSse41SbrKernels = kCompiledSbrKernels;

}  // namespace zdr::aacdec
