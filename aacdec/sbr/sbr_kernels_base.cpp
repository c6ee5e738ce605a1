// The SBR kernels for every processor.
#include "aacdec/sbr/sbr_kernels_lanes.h"

namespace zdr::aacdec {

const SbrKernels kBaseSbrKernels = kCompiledSbrKernels;

}  // namespace zdr::aacdec
