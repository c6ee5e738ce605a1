// Evaluates the formulas of parametric stereo in double precision.
#include "tests/aacdec/sbr/ps_reference.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace zdr::test {

using namespace aacdec;

namespace {

constexpr double kPi = std::numbers::pi;

constexpr double kPrototype8[7] = {
    0.125,           0.11793710567217, 0.09885108575264, 0.07266113929591, 0.04546865930473, 0.02270420949825,
    0.00746082949812};
constexpr double kPrototype2[7] = {0.5, 0.30596630545168, 0, -0.07293139167538, 0, 0.01899487526049, 0};

// The first sub-band of each parameter band.
constexpr size_t kFirstSubBand[20] = {2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 18, 21, 25, 30, 42};

size_t parameter_band(size_t k) {
  if (k < 2) return 1 - k;
  return static_cast<size_t>(std::upper_bound(kFirstSubBand, kFirstSubBand + 20, k) - kFirstSubBand) - 1;
}

double centre(size_t k) {
  constexpr double kHybrid[10] = {-3.0 / 8, -1.0 / 8, 1.0 / 8,  3.0 / 8,  5.0 / 8,
                                  7.0 / 8,  10.0 / 8, 14.0 / 8, 18.0 / 8, 22.0 / 8};
  return k < 10 ? kHybrid[k] : static_cast<double>(k) - 6.5;
}

Complex turn(double half_turns) {
  return std::polar(1.0, kPi * half_turns);
}

constexpr double kCoarseDb[8] = {0, 2, 4, 7, 10, 14, 18, 25};
constexpr double kFineDb[16] = {0, 2, 4, 6, 8, 10, 13, 16, 19, 22, 25, 30, 35, 40, 45, 50};
constexpr double kCoherence[8] = {1, 0.937, 0.84118, 0.60092, 0.36764, 0, -0.589, -1};

}  // namespace

PsReference::Signal PsReference::split(const std::vector<Slot>& x) {
  const auto at = [&](size_t slot_plus_6, size_t band) {
    return slot_plus_6 < 6 ? memory_.x[slot_plus_6][band] : x[slot_plus_6 - 6][band];
  };
  Signal s(kSlots);
  for (size_t l = 0; l < kSlots; ++l) {
    std::array<Complex, 8> eight{};
    std::array<std::array<Complex, 2>, 2> two{};
    for (int n = -6; n <= 6; ++n) {
      const size_t from = static_cast<size_t>(static_cast<int>(l) + 6 - n);
      const auto tap = static_cast<size_t>(std::abs(n));
      for (int q = 0; q < 8; ++q) {
        eight[static_cast<size_t>(q)] += kPrototype8[tap] * turn((q + 0.5) * n / 4) * at(from, 0);
      }
      for (size_t band = 0; band < 2; ++band) {
        two[band][0] += kPrototype2[tap] * at(from, band + 1);
        two[band][1] += kPrototype2[tap] * std::cos(kPi * n) * at(from, band + 1);
      }
    }
    const Complex split_bands[10] = {
        eight[6],  eight[7],  eight[0],  eight[1], eight[2] + eight[5], eight[3] + eight[4],
        two[0][1], two[0][0], two[1][0], two[1][1]};
    std::copy_n(split_bands, 10, s[l].begin());
    for (size_t k = 10; k < kBands; ++k) s[l][k] = x[l][k - 7];
  }
  std::copy(x.begin() + 26, x.begin() + 32, memory_.x.begin());
  return s;
}

std::vector<std::array<double, 20>> PsReference::transients(const Signal& s) {
  std::vector<std::array<double, 20>> gain(kSlots);
  for (size_t l = 0; l < kSlots; ++l) {
    std::array<double, 20> power{};
    for (size_t k = 0; k < kBands; ++k) power[parameter_band(k)] += std::norm(s[l][k]);
    for (size_t b = 0; b < 20; ++b) {
      memory_.peak[b] = std::max(0.76592833836465 * memory_.peak[b], power[b]);
      memory_.smooth[b] += 0.25 * (power[b] - memory_.smooth[b]);
      memory_.difference[b] += 0.25 * (memory_.peak[b] - power[b] - memory_.difference[b]);
      const double threshold = 1.5 * memory_.difference[b];
      gain[l][b] = threshold > memory_.smooth[b] ? memory_.smooth[b] / threshold : 1;
    }
  }
  return gain;
}

PsReference::Signal PsReference::decorrelate(const Signal& s) {
  constexpr size_t kDelays[3] = {3, 4, 5};
  constexpr double kGains[3] = {0.65143905753106, 0.56471812200776, 0.48954165955695};
  constexpr double kFractions[3] = {0.43, 0.75, 0.347};
  Signal all = memory_.s;
  all.insert(all.end(), s.begin(), s.end());
  Signal d(kSlots);
  for (size_t l = 0; l < kSlots; ++l) {
    for (size_t k = 0; k < 30; ++k) {
      const double slope = std::clamp(1 - 0.05 * (static_cast<double>(k) - 10), 0.0, 1.0);
      Complex x = turn(-0.39 * centre(k)) * all[l + 14 - 2][k];
      for (size_t m = 0; m < 3; ++m) {
        auto& w = memory_.link[m][k];
        const Complex y = turn(-kFractions[m] * centre(k)) * w[kDelays[m] - 1] - slope * kGains[m] * x;
        std::copy_backward(w.begin(), w.end() - 1, w.end());
        w[0] = x + slope * kGains[m] * y;
        x = y;
      }
      d[l][k] = x;
    }
    for (size_t k = 30; k < kBands; ++k) d[l][k] = all[l + 14 - (k < 42 ? 14 : 1)][k];
  }
  memory_.s.assign(all.end() - 14, all.end());
  return d;
}

PsReference::Mixing PsReference::mixing(const PsFrame& frame, size_t envelope, size_t band) const {
  const int index = frame.iid[envelope][band];
  const double db = frame.fine_iid ? kFineDb[std::abs(index)] : kCoarseDb[std::abs(index)];
  const double c = std::pow(10, (index < 0 ? -db : db) / 20);
  const double c1 = std::sqrt(2 / (1 + c * c));
  const double c2 = c * c1;
  const double alpha = std::acos(kCoherence[frame.icc[envelope][band]]) / 2;
  const double beta = alpha * (c1 - c2) / std::sqrt(2.0);
  return {c2 * std::cos(alpha + beta), c1 * std::cos(beta - alpha), c2 * std::sin(alpha + beta),
          c1 * std::sin(beta - alpha)};
}

void PsReference::process(const PsFrame& frame, size_t band_end, const std::vector<Slot>& x,
                          std::vector<Slot>& left, std::vector<Slot>& right) {
  for (size_t k = std::max<size_t>(band_end, 3) + 7; k < kBands; ++k) {
    for (auto& slot : memory_.s) slot[k] = 0;
    for (auto& link : memory_.link) link[k] = {};
  }
  const Signal s = split(x);
  const auto damping = transients(s);
  const Signal d = decorrelate(s);
  left.assign(kSlots, {});
  right.assign(kSlots, {});
  auto last = reached_;
  for (size_t k = 0; k < kBands; ++k) {
    const size_t b = parameter_band(k);
    const size_t band = k < 6 ? 0 : k < 10 ? k / 2 - 2 : k - 7;
    Mixing from = reached_[b];
    size_t l = 0;
    size_t envelope = 0;
    const size_t count = frame.present ? frame.envelope_count : 0;
    double start = -1;
    while (l < kSlots || envelope < count) {
      const Mixing to = envelope < count ? mixing(frame, envelope, b) : from;
      const size_t end = envelope < count ? frame.border[envelope] : kSlots;
      for (; l < end; ++l) {
        const double t = (static_cast<double>(l) - start) / (static_cast<double>(end) - 1 - start);
        const auto mixed = [&](double a, double z) { return a + (z - a) * t; };
        const Complex copy = damping[l][b] * d[l][k];
        left[l][band] += mixed(from.h11, to.h11) * s[l][k] + mixed(from.h21, to.h21) * copy;
        right[l][band] += mixed(from.h12, to.h12) * s[l][k] + mixed(from.h22, to.h22) * copy;
      }
      start = static_cast<double>(end) - 1;
      from = to;
      ++envelope;
    }
    last[b] = from;
  }
  reached_ = last;
}

}  // namespace zdr::test
