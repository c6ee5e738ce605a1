// The kernels for every processor.
#include "aacdec/ps_lanes.h"
#include "aacdec/sbr_kernels.h"
#include "aacdec/sbr_patch_lanes.h"
#include "aacdec/sbr_qmf_lanes.h"

namespace zdr::aacdec {

const SbrKernels kBaseSbrKernels = {analyse,          synthesise,  patch,       split_bands,
                                    measure_energies, decorrelate, mix_channels};

}  // namespace zdr::aacdec
