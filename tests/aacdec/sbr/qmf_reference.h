// Reference model of the QMF banks of SBR in double precision: the formulas of ISO/IEC 14496-3.
#pragma once

#include <array>
#include <complex>
#include <vector>

namespace zdr::test {

using Complex = std::complex<double>;
using Slot = std::array<Complex, 64>;

class QmfAnalysisReference {
 public:
  // Takes 32 new samples.
  Slot slot(const double* samples);

 private:
  std::array<double, 320> x_{};
};

class QmfSynthesisReference {
 public:
  explicit QmfSynthesisReference(size_t bands) : bands_(bands) {}
  // Returns one sample per band.
  std::vector<double> slot(const Slot& x);

 private:
  size_t bands_;
  std::array<double, 1280> v_{};
};

}  // namespace zdr::test
