// SBR in plain double precision: the formulas of ISO/IEC 14496-3 as they stand, slot by slot and band by
// band. What the fixed-point tools are held against.
#pragma once

#include <array>
#include <vector>

#include "aacdec/syntax/sbr_payload.h"
#include "tests/aacdec/sbr/ps_reference.h"
#include "tests/aacdec/sbr/qmf_reference.h"

namespace zdr::aacdec::test {

class SbrReference {
 public:
  // `resampling_cut`: the first silent band, 64 for none.
  SbrReference(int rate_multiplier, int resampling_cut);

  using Signal = std::vector<double>;

  // One frame: 1024 core samples of one or two channels in; 1024 or 2048 out of each channel, two of them
  // also of one once `stereo` and parametric stereo data have come. `level` scales the high bands.
  std::vector<Signal> process(const SbrFrame& frame, const std::vector<Signal>& cores, bool stereo,
                              double level);

 private:
  using Row = std::array<double, 64>;
  // Of one envelope.
  struct Gains {
    Row gain{}, noise{}, sine{};
    bool is_short = false;
  };

  void make_bands(size_t channel, const Signal& core);
  Signal synthesise(size_t side, const std::vector<Slot>& slots);
  void analyse(const Signal& core);
  void generate();
  std::array<Complex, 2> predict(size_t band) const;
  void set_bandwidths();
  int first_slot(size_t envelope) const;
  std::vector<Gains> find_gains();
  void find_sines(std::vector<std::array<bool, 64>>& sines) const;
  Row wanted_energies(size_t envelope) const;
  Row noise_floors(size_t envelope) const;
  Row present_energies(size_t envelope) const;
  void limit(Gains& gains, const Row& wanted, const Row& present) const;
  void assemble(const std::vector<Gains>& gains);
  void put_together();
  bool active() const { return data().status == SbrStatus::kParsed && data().bands.m > 0; }
  bool coupled() const {
    return frame_->channel[1].status == SbrStatus::kParsed && frame_->channel[1].coupled;
  }
  double part_of(double energy, double ratio) const;
  const SbrChannelFrame& data() const { return frame_->channel[channel_]; }

  int cut_;
  bool ps_active_ = false;

  struct State {
    QmfAnalysisReference analysis;
    std::vector<Slot> w_before = std::vector<Slot>(32);
    std::vector<Slot> y_before = std::vector<Slot>(38);
    int kx = 32, m = 0, end = 16;
    uint32_t generation = 0;
    bool has_history = false;
    bool transient_before = false;
    std::array<int, 5> invf{};
    std::array<double, 5> bandwidth{};
    std::array<bool, 64> sines{};
    int noise_index = 0, sine_index = 0;
    std::vector<Row> gains, noises;  // of every slot so far, back to the last reset
  };
  std::array<State, 2> states_;
  std::array<QmfSynthesisReference, 2> banks_;
  size_t cores_before_ = 0, sides_before_ = 0;
  PsReference ps_;

  // Of the call.
  const SbrFrame* frame_ = nullptr;
  size_t channel_ = 0;
  double level_ = 1;
  State* state_ = nullptr;
  std::vector<Slot> low_, high_, y_, x_, w_history_;
};

}  // namespace zdr::aacdec::test
