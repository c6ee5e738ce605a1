// Reference model of the QMF banks of SBR in double precision: the formulas of ISO/IEC 14496-3 as plain sums.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "aacdec/tables/qmf_prototype.h"

namespace zdr::test {

using Complex = std::complex<double>;
using Slot = std::array<Complex, 64>;

inline double qmf_prototype(size_t n) {
  return aacdec::kQmfPrototype.q31[n] * 0x1p-31;
}

// exp(i pi / (2 bands) (k + 1/2) (2 n - offset)), by n and k.
inline std::vector<Slot> qmf_modulation(size_t bands, double offset) {
  std::vector<Slot> rows(2 * bands);
  for (size_t n = 0; n < 2 * bands; ++n) {
    for (size_t k = 0; k < bands; ++k) {
      const auto turns = (static_cast<double>(k) + 0.5) * (2 * static_cast<double>(n) - offset);
      rows[n][k] = std::polar(1.0, std::numbers::pi / (2 * static_cast<double>(bands)) * turns);
    }
  }
  return rows;
}

class QmfAnalysisReference {
 public:
  // Takes 32 new samples.
  Slot slot(const double* samples) {
    std::copy_backward(x_.begin(), x_.begin() + 288, x_.end());
    std::reverse_copy(samples, samples + 32, x_.begin());
    static const auto factors = qmf_modulation(32, 0.5);
    Slot w{};
    for (size_t n = 0; n < 64; ++n) {
      double u = 0;
      for (size_t j = n; j < 320; j += 64) u += x_[j] * qmf_prototype(2 * j);
      for (size_t k = 0; k < 32; ++k) w[k] += 2 * u * factors[n][k];
    }
    return w;
  }

 private:
  std::array<double, 320> x_{};
};

class QmfSynthesisReference {
 public:
  explicit QmfSynthesisReference(size_t bands)
      : bands_(bands), factors_(qmf_modulation(bands, 3.984375 * static_cast<double>(bands))) {}

  // Appends one sample per band to `out`.
  void slot(const Slot& x, std::vector<double>& out) {
    std::copy_backward(v_.data(), v_.data() + 18 * bands_, v_.data() + 20 * bands_);
    for (size_t n = 0; n < 2 * bands_; ++n) {
      v_[n] = 0;
      for (size_t k = 0; k < bands_; ++k) v_[n] += (x[k] * factors_[n][k]).real() / 64;
    }
    for (size_t n = 0; n < bands_; ++n) {
      double sum = 0;
      for (size_t j = 0; j < 10; ++j) {
        sum += v_[(2 * j + j % 2) * bands_ + n] * qmf_prototype(64 / bands_ * (j * bands_ + n));
      }
      out.push_back(sum);
    }
  }

 private:
  size_t bands_;
  std::vector<Slot> factors_;
  std::array<double, 1280> v_{};
};

}  // namespace zdr::test
