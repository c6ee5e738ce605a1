// Linear prediction for the inverse filter of HF generation (ISO/IEC 14496-3, 4.6.18.6.2): from the
// covariances of rows to complex predictors of second order.
#pragma once

#include <cstdint>

#include "aacdec/sbr/sbr_kernels.h"

namespace zdr::aacdec {

struct ComplexSum {
  int64_t re, im;
};

// Covariances of a row of samples below 2^28, which keep every sum below 2^63; rij is the sum of
// x[n - i] conj(x[n - j]).
struct Covariance {
  int64_t r11, r22;
  ComplexSum r01, r12, r02;
};

struct RowPredictor {
  // Complex, Q28.
  int32_t tap1_re, tap1_im;
  int32_t tap2_re, tap2_im;
};

// Finds the predictors of up to kCoreBands rows. Both taps of a row are 0 if one of them reaches a magnitude
// of 4.
void find_predictors(const SbrKernels& kernels, const Covariance* covariances, int count,
                     RowPredictor* predictors);

}  // namespace zdr::aacdec
