// Reference model of SBR for one channel in double precision: the formulas of ISO/IEC 14496-3, slot by slot
// and band by band. Signals are named as in the standard: W is the output of the analysis, Y the adjusted
// high bands, X the input of the synthesis.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "aacdec/syntax/sbr_payload.h"
#include "aacdec/tables/sbr_noise.h"
#include "tests/aacdec/sbr/qmf_reference.h"

namespace zdr::test {

class SbrChannelReference {
 public:
  // Returns X of channel `number` of the frame for 1024 core samples: 38 slots, of which the last six have
  // core bands only. `level` scales the high bands.
  std::vector<Slot> process(const aacdec::SbrFrame& frame, size_t number, const std::vector<double>& core,
                            double level) {
    frame_ = &frame;
    number_ = number;
    level_ = level;
    analyse(core);
    std::vector<Slot> y(38);
    if (active()) {
      if (data().bands_generation != generation_) {
        noise_index_ = 0;
        history_.clear();
      }
      generation_ = data().bands_generation;
      generate();
      assemble(find_gains(), y);
    }
    return put_together(y);
  }

  // The end of the bands in use.
  size_t band_end() const { return kx_ + m_; }

 private:
  using Row = std::array<double, 64>;  // by QMF band
  // Of one envelope.
  struct Gains {
    Row gain{}, noise{}, sine{};
    bool is_short = false;
  };

  const aacdec::SbrChannelFrame& data() const { return frame_->channel[number_]; }
  // The channel whose levels apply to this one: the first of a coupled pair, else the channel itself.
  const aacdec::SbrChannelFrame& levels() const { return frame_->channel[coupled() ? 0 : number_]; }
  const aacdec::SbrBandTables& bands() const { return data().bands; }
  size_t high_end() const { return size_t{bands().kx} + bands().m; }
  bool active() const { return data().status == aacdec::SbrStatus::kParsed && bands().m > 0; }
  bool coupled() const {
    return frame_->channel[1].status == aacdec::SbrStatus::kParsed && frame_->channel[1].coupled;
  }
  size_t last_slot() const { return 2U * data().grid.border[data().grid.envelope_count]; }
  // After a damaged frame the first envelope is extended back to the end of the previous signal.
  size_t first_slot(size_t envelope) const {
    const size_t slot = 2U * data().grid.border[envelope];
    return envelope == 0 && m_ > 0 ? std::min(slot, end_ - 32) : slot;
  }
  const uint8_t* borders(size_t envelope) const {
    return bands().envelope_borders(data().grid.high_resolution[envelope]);
  }
  // The band of `borders` that contains QMF band k.
  static size_t band_of(const uint8_t* borders, size_t k) {
    size_t j = 0;
    while (borders[j + 1] <= k) ++j;
    return j;
  }

  void analyse(const std::vector<double>& core) {
    low_.assign(40, {});
    for (size_t l = 0; l < 8; ++l) std::copy_n(w_[24 + l].begin(), kx_, low_[l].begin());
    for (size_t l = 0; l < 32; ++l) {
      w_[l] = analysis_.slot(core.data() + 32 * l);
      std::copy_n(w_[l].begin(), active() ? bands().kx : 32, low_[l + 8].begin());
    }
  }

  void set_bandwidths() {
    constexpr double kTargets[4][4] = {
        {0, 0.6, 0, 0}, {0.6, 0.75, 0.75, 0.75}, {0.9, 0.9, 0.9, 0.9}, {0.98, 0.98, 0.98, 0.98}};
    for (size_t n = 0; n < bands().noise_count; ++n) {
      double& bw = bandwidth_[n];
      const double target = kTargets[data().invf_mode[n]][invf_[n]];
      const double value = target < bw ? 0.75 * target + 0.25 * bw : 0.90625 * target + 0.09375 * bw;
      bw = value < 0.015625 ? 0 : std::min(value, 0.99609375);
      invf_[n] = data().invf_mode[n];
    }
  }

  std::array<Complex, 2> predict(size_t p) const {
    const auto phi = [&](size_t a, size_t b) {
      Complex sum = 0;
      for (size_t n = 2; n < 40; ++n) sum += low_[n - a][p] * std::conj(low_[n - b][p]);
      return sum;
    };
    const double d = phi(2, 2).real() * phi(1, 1).real() - std::norm(phi(1, 2)) / (1 + 1e-6);
    Complex alpha1 = 0;
    if (d != 0) alpha1 = (phi(0, 1) * phi(1, 2) - phi(0, 2) * phi(1, 1)) / d;
    Complex alpha0 = 0;
    if (phi(1, 1).real() != 0) alpha0 = -(phi(0, 1) + alpha1 * std::conj(phi(1, 2))) / phi(1, 1);
    if (std::norm(alpha0) >= 16 || std::norm(alpha1) >= 16) return {0, 0};
    return {alpha0, alpha1};
  }

  void generate() {
    set_bandwidths();
    high_.assign(40, {});
    size_t k = bands().kx;
    for (size_t q = 0; q < bands().patch_count; ++q) {
      for (size_t i = 0; i < bands().patch_width[q]; ++i, ++k) {
        const size_t p = bands().patch_start[q] + i;
        const auto [alpha0, alpha1] = predict(p);
        const double bw = bandwidth_[band_of(bands().noise, k)];
        for (size_t l = first_slot(0); l < last_slot(); ++l) {
          high_[l + 2][k] = low_[l + 2][p] + bw * alpha0 * low_[l + 1][p] + bw * bw * alpha1 * low_[l][p];
        }
      }
    }
  }

  // Returns the part of a coupled pair's energy that belongs to the channel, by the ratio of the two; for an
  // uncoupled channel, all of it.
  double part_of(double energy, double ratio) const {
    if (!coupled()) return energy;
    return 2 * energy / (1 + ratio) * (number_ == 0 ? 1 : ratio);
  }

  double target_energy(size_t envelope, size_t k) const {
    const double a = levels().amp_res != 0 ? 1 : 0.5;
    const size_t j = band_of(borders(envelope), k);
    const double ratio = std::exp2(12 - a * frame_->channel[1].envelope[envelope][j]);
    return part_of(std::exp2(a * levels().envelope[envelope][j] + 6), ratio) * level_ * level_;
  }

  double noise_floor(size_t envelope, size_t k) const {
    const aacdec::SbrGrid& g = data().grid;
    const size_t q = g.noise_count == 2 && g.border[envelope] >= g.noise_border[1] ? 1 : 0;
    const size_t j = band_of(bands().noise, k);
    return part_of(std::exp2(6 - levels().noise[q][j]), std::exp2(12 - frame_->channel[1].noise[q][j]));
  }

  // Without interpolation, a band of the envelope has its mean energy everywhere.
  double present_energy(size_t envelope, size_t k) const {
    const size_t start = first_slot(envelope);
    const size_t end = 2U * data().grid.border[envelope + 1];
    const uint8_t* const band = borders(envelope) + band_of(borders(envelope), k);
    const bool is_mean = data().header.interpol_freq == 0;
    const size_t first = is_mean ? band[0] : k;
    const size_t last = is_mean ? band[1] : k + 1;
    double sum = 0;
    for (size_t s = start; s < end; ++s) {
      for (size_t i = first; i < last; ++i) sum += std::norm(high_[s + 2][i]);
    }
    return sum / static_cast<double>((end - start) * (last - first));
  }

  std::array<bool, 64> sines(size_t envelope) const {
    std::array<bool, 64> list{};
    for (size_t j = 0; j < bands().high_count; ++j) {
      const size_t centre = (size_t{bands().high[j]} + bands().high[j + 1]) / 2;
      const bool has_begun = static_cast<int>(envelope) >= data().grid.transient || sines_[centre];
      list[centre] = data().add_harmonic[j] != 0 && has_begun;
    }
    return list;
  }

  void limit(Gains& gains, const Row& target, const Row& present) const {
    constexpr double kTiny = 1e-12;
    constexpr double kGains[4] = {0.70795, 1, 1.41254, 1e10};
    const uint8_t* const limiter = bands().limiter;
    for (size_t j = 0; j < bands().limiter_count; ++j) {
      double sum_target = kTiny;
      double sum_present = kTiny;
      for (size_t k = limiter[j]; k < limiter[j + 1]; ++k) {
        sum_target += target[k];
        sum_present += present[k];
      }
      const double most =
          std::min(kGains[data().header.limiter_gains] * std::sqrt(sum_target / sum_present), 1e5);
      double produced = kTiny;
      for (size_t k = limiter[j]; k < limiter[j + 1]; ++k) {
        if (gains.gain[k] > most) {
          gains.noise[k] *= most / gains.gain[k];
          gains.gain[k] = most;
        }
        produced += present[k] * gains.gain[k] * gains.gain[k] + gains.sine[k] * gains.sine[k];
        if (gains.sine[k] == 0 && !gains.is_short) produced += gains.noise[k] * gains.noise[k];
      }
      const double boost = std::min(std::sqrt(sum_target / produced), 1.584893192);
      for (Row* const row : {&gains.gain, &gains.noise, &gains.sine}) {
        for (size_t k = limiter[j]; k < limiter[j + 1]; ++k) (*row)[k] *= boost;
      }
    }
    for (Row* const row : {&gains.gain, &gains.noise, &gains.sine}) {
      std::fill(row->begin() + limiter[bands().limiter_count], row->end(), 0);
    }
  }

  std::vector<Gains> find_gains() {
    const aacdec::SbrGrid& g = data().grid;
    std::vector<Gains> list(g.envelope_count);
    std::array<bool, 64> has_sine{};
    for (size_t l = 0; l < list.size(); ++l) {
      has_sine = sines(l);
      Row target{};
      Row present{};
      Gains& gains = list[l];
      gains.is_short = static_cast<int>(l) == g.transient || (l == 0 && transient_before_);
      for (size_t k = bands().kx; k < high_end(); ++k) {
        target[k] = target_energy(l, k);
        present[k] = present_energy(l, k);
        const double floor = noise_floor(l, k);
        const uint8_t* const band = borders(l) + band_of(borders(l), k);
        const bool near_sine = std::count(&has_sine[band[0]], &has_sine[0] + band[1], true) != 0;
        gains.noise[k] = std::sqrt(target[k] * floor / (1 + floor));
        gains.sine[k] = has_sine[k] ? std::sqrt(target[k] / (1 + floor)) : 0;
        const double share = near_sine ? floor / (1 + floor) : gains.is_short ? 1 : 1 / (1 + floor);
        gains.gain[k] = std::sqrt(target[k] * share / (1 + present[k]));
      }
      limit(gains, target, present);
    }
    sines_ = has_sine;
    transient_before_ = g.transient == g.envelope_count;
    return list;
  }

  void assemble(const std::vector<Gains>& list, std::vector<Slot>& y) {
    if (history_.empty()) history_.assign(4, list[0]);
    // Noise and sinusoids continue as if there had been no gap.
    const size_t gap = 2U * data().grid.border[0] - first_slot(0);
    noise_index_ = (noise_index_ + 512 * 64 - gap * bands().m) % 512;
    sine_index_ = (sine_index_ + 64 - gap) % 4;
    for (size_t s = first_slot(0), l = 0; s < last_slot(); ++s) {
      if (s == 2U * data().grid.border[l + 1]) ++l;
      history_.push_back(list[l]);
      for (size_t k = bands().kx; k < high_end(); ++k) y[s][k] = adjusted(high_[s + 2][k], k);
      sine_index_ = (sine_index_ + 1) % 4;
    }
  }

  Complex adjusted(const Complex& high, size_t k) {
    constexpr double kSmooth[5] = {0.33333333333333, 0.30150283239582, 0.21816949906249, 0.11516383427084,
                                   0.03183050093751};
    const Gains& now = history_.back();
    double gain = now.gain[k];
    double noise = now.noise[k];
    if (data().header.smoothing_mode == 0 && !now.is_short) {
      gain = noise = 0;
      for (size_t n = 0; n < 5; ++n) {
        const Gains& before = history_[history_.size() - 1 - n];
        gain += kSmooth[n] * before.gain[k];
        noise += kSmooth[n] * before.noise[k];
      }
    }
    noise_index_ = (noise_index_ + 1) % 512;
    if (now.sine[k] != 0 || now.is_short) noise = 0;
    const auto& value = aacdec::kSbrNoiseQ31[noise_index_];
    const double odd = k % 2 != 0 ? -1 : 1;
    const Complex phases[4] = {{1, 0}, {0, odd}, {-1, 0}, {0, -odd}};
    return gain * high + noise * 0x1p-31 * Complex(value[0], value[1]) + now.sine[k] * phases[sine_index_];
  }

  std::vector<Slot> put_together(const std::vector<Slot>& y) {
    const size_t kx = active() ? bands().kx : 32;
    const size_t m = active() ? bands().m : 0;
    std::vector<Slot> x(38);
    for (size_t l = 0; l < 38; ++l) {
      // The signal of the previous frame extends into this one. Bands that were core bands only in the
      // previous frame are still needed unmodified.
      const bool before = l < end_ - 32;
      const size_t low_end = before ? kx_ : kx;
      const size_t end = low_end + (before ? m_ : m);
      std::copy_n(low_[l + 2].begin(), low_end, x[l].begin());
      for (size_t k = low_end; k < end && l < 32; ++k) x[l][k] = before ? y_before_[32 + l][k] : y[l][k];
    }
    kx_ = kx;
    m_ = m;
    end_ = active() ? last_slot() : 32;
    y_before_ = y;
    return x;
  }

  QmfAnalysisReference analysis_;
  std::vector<Slot> w_ = std::vector<Slot>(32);
  std::vector<Slot> y_before_ = std::vector<Slot>(38);
  // Of the previous frame; `end_` is the slot at which its envelopes ended.
  size_t kx_ = 32, m_ = 0, end_ = 32;
  uint32_t generation_ = 0;
  bool transient_before_ = false;
  std::array<int, 5> invf_{};
  std::array<double, 5> bandwidth_{};
  std::array<bool, 64> sines_{};
  size_t noise_index_ = 0, sine_index_ = 0;
  std::vector<Gains> history_;  // of every slot so far, back to the last reset

  // Of the current call.
  const aacdec::SbrFrame* frame_ = nullptr;
  size_t number_ = 0;
  double level_ = 1;
  std::vector<Slot> low_, high_;
};

}  // namespace zdr::test
