// Evaluates the QMF banks as plain sums in double precision.
#include "tests/aacdec/sbr/qmf_reference.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "aacdec/tables/qmf_prototype.h"

namespace zdr::test {

using namespace aacdec;

namespace {

constexpr double kPi = std::numbers::pi;

double prototype(size_t n) {
  return kQmfPrototype.q31[n] * 0x1p-31;
}

// exp(i pi / (2 bands) (k + 1/2) (2 n - offset)), by n and k.
std::vector<Slot> modulation(size_t bands, double offset) {
  std::vector<Slot> rows(2 * bands);
  for (size_t n = 0; n < 2 * bands; ++n) {
    for (size_t k = 0; k < bands; ++k) {
      const auto turns = (static_cast<double>(k) + 0.5) * (2 * static_cast<double>(n) - offset);
      rows[n][k] = std::polar(1.0, kPi / (2 * static_cast<double>(bands)) * turns);
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
  const size_t bands = bands_;
  const size_t step = 64 / bands;
  std::copy_backward(v_.data(), v_.data() + 18 * bands, v_.data() + 20 * bands);
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

}  // namespace zdr::test
