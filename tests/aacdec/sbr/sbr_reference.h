// Reference model of SBR in double precision: the formulas of ISO/IEC 14496-3, slot by slot and band by band.
#pragma once

#include <array>
#include <vector>

#include "aacdec/syntax/sbr_payload.h"
#include "tests/aacdec/sbr/ps_reference.h"
#include "tests/aacdec/sbr/qmf_reference.h"

namespace zdr::test {

class SbrReference {
 public:
  // `resampling_cut` is the first silent band, 64 if there is none.
  SbrReference(size_t rate_multiplier, size_t resampling_cut);

  using Signal = std::vector<double>;

  // Processes a frame: 1024 core samples of one or two channels. Returns 1024 or 2048 samples per channel;
  // with `stereo`, one core channel yields two once parametric stereo data have arrived. `level` scales the
  // high bands.
  std::vector<Signal> process(const aacdec::SbrFrame& frame, const std::vector<Signal>& cores, bool stereo,
                              double level);

 private:
  using Row = std::array<double, 64>;  // by QMF band
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
  size_t first_slot(size_t envelope) const;
  std::vector<Gains> find_gains();
  std::array<bool, 64> sines(size_t envelope) const;
  Row target_energies(size_t envelope) const;
  Row noise_floors(size_t envelope) const;
  Row present_energies(size_t envelope) const;
  void limit(Gains& gains, const Row& target, const Row& present) const;
  void assemble(const std::vector<Gains>& gains);
  void put_together();

  const aacdec::SbrChannelFrame& data() const { return frame_->channel[channel_]; }
  // The channel whose levels apply to this one: the first of a coupled pair, else the channel itself.
  const aacdec::SbrChannelFrame& levels() const { return frame_->channel[coupled() ? 0 : channel_]; }
  const aacdec::SbrBandTables& bands() const { return data().bands; }
  size_t high_end() const { return size_t{bands().kx} + bands().m; }
  size_t last_slot() const { return 2U * data().grid.border[data().grid.envelope_count]; }
  size_t envelope_band(size_t envelope, size_t k) const;
  bool active() const { return data().status == aacdec::SbrStatus::kParsed && bands().m > 0; }
  bool coupled() const {
    return frame_->channel[1].status == aacdec::SbrStatus::kParsed && frame_->channel[1].coupled;
  }
  double part_of(double energy, double ratio) const;

  size_t cut_;
  bool ps_active_ = false;

  struct State {
    QmfAnalysisReference analysis;
    std::vector<Slot> w_before = std::vector<Slot>(32);
    std::vector<Slot> y_before = std::vector<Slot>(38);
    size_t kx = 32, m = 0, end = 32;  // `end`: the slot of the previous frame at which its envelopes ended
    uint32_t generation = 0;
    bool has_history = false;
    bool transient_before = false;
    std::array<int, 5> invf{};
    std::array<double, 5> bandwidth{};
    std::array<bool, 64> sines{};
    size_t noise_index = 0, sine_index = 0;
    std::vector<Row> gains, noises;  // of every slot so far, back to the last reset
  };
  std::array<State, 2> states_;
  std::array<QmfSynthesisReference, 2> banks_;
  size_t cores_before_ = 0, sides_before_ = 0;
  PsReference ps_;

  // Of the current call.
  const aacdec::SbrFrame* frame_ = nullptr;
  size_t channel_ = 0;
  double level_ = 1;
  State* state_ = nullptr;
  std::vector<Slot> low_, high_, y_, x_, w_history_;
};

}  // namespace zdr::test
