// The table of the SBR kernels, compiled for the instruction set of the including file. For kernel files
// only.
#pragma once

#include "aacdec/sbr/high_band_lanes.h"
#include "aacdec/sbr/level_lanes.h"
#include "aacdec/sbr/ps_decorrelation_lanes.h"
#include "aacdec/sbr/ps_hybrid_lanes.h"
#include "aacdec/sbr/ps_mixing_lanes.h"
#include "aacdec/sbr/ps_transient_lanes.h"
#include "aacdec/sbr/qmf_lanes.h"
#include "aacdec/sbr/sbr_kernels.h"

namespace zdr::aacdec {
namespace {

constexpr SbrKernels kCompiledSbrKernels = {
    analyse,       synthesise,   patch,           correlate,     measure_rows, divide_q28,
    divide_levels, weigh_levels, limit_levels,    finish_levels, apply_gain,   apply_gain_and_noise,
    mix_rows,      split_bands,  find_transients, decorrelate,   draw_line,    mix_channels};

}  // namespace
}  // namespace zdr::aacdec
