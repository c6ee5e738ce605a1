#include "tests/aacdec/sbr/qmf_reference.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "aacdec/tables/qmf_prototype.h"

namespace zdr::aacdec::test {
namespace {

constexpr double kPi = std::numbers::pi;

double prototype(size_t n) {
  return kQmfPrototype.q31[n] * 0x1p-31;
}

// exp(i pi / (2 bands) (k + 1/2) (2 n - offset)), by n and k.
std::vector<std::vector<Complex>> modulation(int bands, double offset) {
  std::vector<std::vector<Complex>> rows;
  for (int n = 0; n < 2 * bands; ++n) {
    rows.emplace_back();
    for (int k = 0; k < bands; ++k) {
      rows.back().push_back(std::polar(1.0, kPi / (2 * bands) * (k + 0.5) * (2 * n - offset)));
    }
  }
  return rows;
}

}  // namespace

Slot QmfAnalysisReference::slot(const double* samples) {
  std::copy_backward(x_.begin(), x_.begin() + 288, x_.end());
  for (size_t i = 0; i < 32; ++i) x_[31 - i] = samples[i];
  std::array<double, 64> u{};
  for (size_t n = 0; n < 64; ++n) {
    for (size_t j = 0; j < 5; ++j) u[n] += x_[n + 64 * j] * prototype(2 * (n + 64 * j));
  }
  static const auto factors = modulation(32, 0.5);
  Slot w{};
  for (size_t n = 0; n < 64; ++n) {
    for (size_t k = 0; k < 32; ++k) w[k] += 2 * u[n] * factors[n][k];
  }
  return w;
}

std::vector<double> QmfSynthesisReference::slot(const Slot& x) {
  const auto bands = static_cast<size_t>(bands_);
  const size_t step = 64 / bands;
  std::copy_backward(v_.begin(), v_.begin() + static_cast<ptrdiff_t>(18 * bands),
                     v_.begin() + static_cast<ptrdiff_t>(20 * bands));
  static const auto wide = modulation(64, 255);
  static const auto narrow = modulation(32, 127.5);
  const auto& factors = bands_ == 64 ? wide : narrow;
  for (size_t n = 0; n < 2 * bands; ++n) {
    double sum = 0;
    for (size_t k = 0; k < bands; ++k) sum += (x[k] * factors[n][k]).real();
    v_[n] = sum / 64;
  }
  std::vector<double> out(bands);
  for (size_t n = 0; n < bands; ++n) {
    for (size_t j = 0; j < 5; ++j) {
      out[n] += v_[4 * bands * j + n] * prototype(step * (2 * bands * j + n));
      out[n] += v_[4 * bands * j + 3 * bands + n] * prototype(step * (2 * bands * j + bands + n));
    }
  }
  return out;
}

}  // namespace zdr::aacdec::test
