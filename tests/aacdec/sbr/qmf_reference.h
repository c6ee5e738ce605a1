// The QMF banks of SBR in plain double precision, as ISO/IEC 14496-3 has them.
#pragma once

#include <array>
#include <complex>
#include <vector>

namespace zdr::aacdec::test {

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
  explicit QmfSynthesisReference(int bands) : bands_(bands) {}
  // `bands` samples.
  std::vector<double> slot(const Slot& x);

 private:
  int bands_;
  std::array<double, 1280> v_{};
};

}  // namespace zdr::aacdec::test
