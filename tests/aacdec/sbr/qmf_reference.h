// The QMF banks of SBR in plain double precision, by the formulas of ISO/IEC 14496-3.
#pragma once

#include <array>
#include <complex>
#include <vector>

namespace zdr::test {

using Complex = std::complex<double>;
using Slot = std::array<Complex, 64>;

class QmfAnalysisReference {
 public:
  // 32 new samples.
  Slot slot(const double* samples);

 private:
  std::array<double, 320> x_{};
};

class QmfSynthesisReference {
 public:
  explicit QmfSynthesisReference(size_t bands) : bands_(bands) {}
  // As many samples as bands.
  std::vector<double> slot(const Slot& x);

 private:
  size_t bands_;
  std::array<double, 1280> v_{};
};

}  // namespace zdr::test
