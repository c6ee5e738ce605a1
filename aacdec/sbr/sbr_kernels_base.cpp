// The kernels for every processor.
#include "aacdec/sbr/ps_lanes.h"
#include "aacdec/sbr/sbr_kernels.h"
#include "aacdec/sbr/sbr_qmf_lanes.h"
#include "aacdec/sbr/sbr_row_lanes.h"

namespace zdr::aacdec {

const SbrKernels kBaseSbrKernels = {analyse,        synthesise,  patch,       correlate,
                                    measure_energy, apply_gain,  split_bands, measure_energies,
                                    decorrelate,    mix_channels};

}  // namespace zdr::aacdec
