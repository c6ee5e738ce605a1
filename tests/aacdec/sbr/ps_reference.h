// Reference model of parametric stereo in double precision: the formulas of ISO/IEC 14496-3 on 20 parameter
// bands.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "aacdec/syntax/ps_payload.h"
#include "tests/aacdec/sbr/qmf_reference.h"

namespace zdr::test {

class PsReference {
 public:
  // Computes 32 slots of two channels from 38 slots of one, which is silent from `band_end` on.
  void process(const aacdec::PsFrame& frame, size_t band_end, const std::vector<Slot>& x,
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
    // The bands of a parameter band are not consecutive: all of them start from the same factors.
    auto next = reached_;
    for (size_t k = 0; k < kBands; ++k) {
      const size_t b = parameter_band(k);
      const size_t band = k < 6 ? 0 : k < 10 ? k / 2 - 2 : k - 7;
      const std::vector<Mixing> path = mixing_path(frame, b);
      for (size_t l = 0; l < kSlots; ++l) {
        const Complex copy = damping[l][b] * d[l][k];
        left[l][band] += path[l][0] * s[l][k] + path[l][2] * copy;
        right[l][band] += path[l][1] * s[l][k] + path[l][3] * copy;
      }
      next[b] = path[kSlots];
    }
    reached_ = next;
  }
  void forget_signal() { memory_ = {}; }

 private:
  static constexpr size_t kSlots = 32;
  static constexpr size_t kBands = 71;
  using Signal = std::vector<std::array<Complex, kBands>>;
  using Mixing = std::array<double, 4>;  // h11, h12, h21, h22

  static size_t parameter_band(size_t k) {
    // The first sub-band of each parameter band.
    constexpr size_t kFirst[20] = {2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 18, 21, 25, 30, 42};
    if (k < 2) return 1 - k;
    return static_cast<size_t>(std::upper_bound(kFirst, kFirst + 20, k) - kFirst) - 1;
  }

  static Complex turn(double half_turns) { return std::polar(1.0, std::numbers::pi * half_turns); }

  // Splits the three lowest bands into ten.
  Signal split(const std::vector<Slot>& x) {
    constexpr double kPrototype8[7] = {0.125,        0.1179371057, 0.0988510858, 0.0726611393,
                                       0.0454686593, 0.0227042095, 0.0074608295};
    constexpr double kPrototype2[7] = {0.5, 0.30596630545168, 0, -0.07293139167538, 0, 0.01899487526049, 0};
    std::vector<Slot> all = memory_.x;
    all.insert(all.end(), x.begin(), x.end());
    Signal s(kSlots);
    for (size_t l = 0; l < kSlots; ++l) {
      std::array<Complex, 8> eight{};
      std::array<std::array<Complex, 2>, 2> two{};
      for (int n = -6; n <= 6; ++n) {
        const Slot& from = all[static_cast<size_t>(static_cast<int>(l) + 6 - n)];
        const auto tap = static_cast<size_t>(std::abs(n));
        for (size_t q = 0; q < 8; ++q) {
          eight[q] += kPrototype8[tap] * turn((static_cast<double>(q) + 0.5) * n / 4) * from[0];
        }
        for (size_t band = 0; band < 2; ++band) {
          two[band][0] += kPrototype2[tap] * from[band + 1];
          two[band][1] += kPrototype2[tap] * (n % 2 == 0 ? 1.0 : -1.0) * from[band + 1];
        }
      }
      const Complex lowest[10] = {
          eight[6],  eight[7],  eight[0],  eight[1], eight[2] + eight[5], eight[3] + eight[4],
          two[0][1], two[0][0], two[1][0], two[1][1]};
      std::copy_n(lowest, 10, s[l].begin());
      std::copy(x[l].begin() + 3, x[l].end(), s[l].begin() + 10);
    }
    memory_.x.assign(x.begin() + 26, x.begin() + 32);
    return s;
  }

  std::vector<std::array<double, 20>> transients(const Signal& s) {
    std::vector<std::array<double, 20>> gain(kSlots);
    for (size_t l = 0; l < kSlots; ++l) {
      std::array<double, 20> power{};
      for (size_t k = 0; k < kBands; ++k) power[parameter_band(k)] += std::norm(s[l][k]);
      for (size_t b = 0; b < 20; ++b) {
        auto& [peak, smooth, difference] = memory_.powers[b];
        peak = std::max(0.76592833836465 * peak, power[b]);
        smooth += 0.25 * (power[b] - smooth);
        difference += 0.25 * (peak - power[b] - difference);
        gain[l][b] = 1.5 * difference > smooth ? smooth / (1.5 * difference) : 1;
      }
    }
    return gain;
  }

  Signal decorrelate(const Signal& s) {
    constexpr size_t kDelays[3] = {3, 4, 5};
    constexpr double kGains[3] = {0.65143905753106, 0.56471812200776, 0.48954165955695};
    constexpr double kFractions[3] = {0.43, 0.75, 0.347};
    constexpr double kCentres[10] = {-0.375, -0.125, 0.125, 0.375, 0.625, 0.875, 1.25, 1.75, 2.25, 2.75};
    Signal all = memory_.s;
    all.insert(all.end(), s.begin(), s.end());
    Signal d(kSlots);
    for (size_t l = 0; l < kSlots; ++l) {
      for (size_t k = 0; k < 30; ++k) {
        const double centre = k < 10 ? kCentres[k] : static_cast<double>(k) - 6.5;
        const double slope = std::clamp(1 - 0.05 * (static_cast<double>(k) - 10), 0.0, 1.0);
        Complex x = turn(-0.39 * centre) * all[l + 14 - 2][k];
        for (size_t m = 0; m < 3; ++m) {
          auto& w = memory_.link[m][k];
          const Complex y = turn(-kFractions[m] * centre) * w[kDelays[m] - 1] - slope * kGains[m] * x;
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

  static Mixing mixing(const aacdec::PsFrame& frame, size_t envelope, size_t band) {
    constexpr double kCoarseDb[8] = {0, 2, 4, 7, 10, 14, 18, 25};
    constexpr double kFineDb[16] = {0, 2, 4, 6, 8, 10, 13, 16, 19, 22, 25, 30, 35, 40, 45, 50};
    constexpr double kCoherence[8] = {1, 0.937, 0.84118, 0.60092, 0.36764, 0, -0.589, -1};
    const int index = frame.iid[envelope][band];
    const double db = (frame.fine_iid ? kFineDb : kCoarseDb)[std::abs(index)];
    const double c = std::pow(10, (index < 0 ? -db : db) / 20);
    const double c1 = std::sqrt(2 / (1 + c * c));
    const double c2 = c * c1;
    const double alpha = std::acos(kCoherence[frame.icc[envelope][band]]) / 2;
    const double beta = alpha * (c1 - c2) / std::sqrt(2.0);
    return {c2 * std::cos(alpha + beta), c1 * std::cos(beta - alpha), c2 * std::sin(alpha + beta),
            c1 * std::sin(beta - alpha)};
  }

  // The factors of each slot, which move in a line from the end of one envelope to the end of the next, and
  // those with which the next frame begins.
  std::vector<Mixing> mixing_path(const aacdec::PsFrame& frame, size_t band) const {
    std::vector<Mixing> path;
    Mixing from = reached_[band];
    double start = -1;
    for (size_t e = 0; frame.present && e < frame.envelope_count; ++e) {
      const Mixing to = mixing(frame, e, band);
      const double last = frame.border[e] - 1.0;
      for (; path.size() < frame.border[e];) {
        const double t = (static_cast<double>(path.size()) - start) / (last - start);
        Mixing& now = path.emplace_back();
        for (size_t i = 0; i < 4; ++i) now[i] = from[i] + (to[i] - from[i]) * t;
      }
      start = last;
      from = to;
    }
    path.resize(kSlots + 1, from);
    return path;
  }

  struct Memory {
    std::vector<Slot> x = std::vector<Slot>(6);
    Signal s = Signal(14);
    std::array<std::array<std::array<Complex, 5>, kBands>, 3> link{};  // newest first
    std::array<std::array<double, 3>, 20> powers{};                    // peak, smooth, difference
  } memory_;
  std::array<Mixing, 20> reached_ = [] {
    std::array<Mixing, 20> list{};
    list.fill({1, 1, 0, 0});
    return list;
  }();
};

}  // namespace zdr::test
