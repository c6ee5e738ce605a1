// Reference model of parametric stereo in double precision: the formulas of ISO/IEC 14496-3 on 20 parameter
// bands.
#pragma once

#include <array>
#include <vector>

#include "aacdec/syntax/ps_payload.h"
#include "tests/aacdec/sbr/qmf_reference.h"

namespace zdr::test {

class PsReference {
 public:
  // Computes 32 slots of two channels from 38 slots of one, which is silent from `band_end` on.
  void process(const aacdec::PsFrame& frame, size_t band_end, const std::vector<Slot>& x,
               std::vector<Slot>& left, std::vector<Slot>& right);
  void forget_signal() { memory_ = {}; }

 private:
  static constexpr size_t kSlots = 32;
  static constexpr size_t kBands = 71;
  using Signal = std::vector<std::array<Complex, kBands>>;
  struct Mixing {
    double h11, h12, h21, h22;
  };

  Signal split(const std::vector<Slot>& x);
  Signal decorrelate(const Signal& s);
  std::vector<std::array<double, 20>> transients(const Signal& s);
  Mixing mixing(const aacdec::PsFrame& frame, size_t envelope, size_t band) const;

  struct Memory {
    std::vector<Slot> x = std::vector<Slot>(6);
    Signal s = Signal(14);
    std::array<std::array<std::array<Complex, 5>, kBands>, 3> link{};  // newest first
    std::array<double, 20> peak{}, smooth{}, difference{};
  } memory_;
  std::array<Mixing, 20> reached_ = [] {
    std::array<Mixing, 20> list{};
    list.fill({1, 1, 0, 0});
    return list;
  }();
};

}  // namespace zdr::test
