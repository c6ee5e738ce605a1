// The SBR kernels compiled for AVX2.
#include "aacdec/sbr/sbr_kernels_lanes.h"

namespace zdr::aacdec {

const SbrKernels kAvx2SbrKernels = kCompiledSbrKernels;

}  // namespace zdr::aacdec
