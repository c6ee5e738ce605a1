// The table of the core's kernels, compiled for the instruction set of the including file. For kernel files
// only.
#pragma once

#include "aacdec/core/all_pole_pair_lanes.h"
#include "aacdec/core/core_kernels.h"
#include "aacdec/core/long_block_lanes.h"
#include "aacdec/core/noise_lanes.h"
#include "aacdec/core/spectrum_lanes.h"
#include "aacdec/core/transform_lanes.h"
#include "aacdec/core/window_lanes.h"

namespace zdr::aacdec {
namespace {

constexpr CoreKernels kCompiledCoreKernels = {
    dct4_long, dct4_short,    window_rise, window_fall,    mid_side,   combined_magnitudes, scale,
    all_pole,  all_pole_pair, put_samples, put_long_block, draw_noise, scale_noise};

}  // namespace
}  // namespace zdr::aacdec
