// Evaluates the formulas of SBR, with the signal names of the standard: W is the output of the analysis, Y
// the adjusted high bands, X the input of the synthesis.
#include "tests/aacdec/sbr/sbr_reference.h"

#include <algorithm>
#include <cmath>

#include "aacdec/tables/sbr_noise.h"

namespace zdr::test {

using namespace aacdec;

namespace {

// The band of `borders` that contains QMF band k.
size_t band_of(const uint8_t* borders, size_t k) {
  size_t j = 0;
  while (borders[j + 1] <= k) ++j;
  return j;
}

}  // namespace

size_t SbrReference::envelope_band(size_t envelope, size_t k) const {
  return band_of(bands().envelope_borders(data().grid.high_resolution[envelope]), k);
}

void SbrReference::analyse(const Signal& core) {
  std::vector<Slot> w(32);
  for (size_t l = 0; l < 32; ++l) w[l] = state_->analysis.slot(core.data() + 32 * l);
  low_.assign(40, {});
  for (size_t l = 0; l < 40; ++l) {
    const Slot& from = l < 8 ? state_->w_before[24 + l] : w[l - 8];
    const size_t end = l < 8 ? state_->kx : active() ? bands().kx : 32;
    std::copy_n(from.begin(), end, low_[l].begin());
  }
  state_->w_before = w;
}

// After a damaged frame the first envelope is extended back to the end of the previous signal.
size_t SbrReference::first_slot(size_t envelope) const {
  const size_t slot = 2U * data().grid.border[envelope];
  return envelope == 0 && state_->m > 0 ? std::min(slot, state_->end - 32) : slot;
}

void SbrReference::set_bandwidths() {
  for (size_t n = 0; n < bands().noise_count; ++n) {
    const int now = data().invf_mode[n];
    const int before = state_->invf[n];
    constexpr double kTargets[4][4] = {
        {0, 0.6, 0, 0}, {0.6, 0.75, 0.75, 0.75}, {0.9, 0.9, 0.9, 0.9}, {0.98, 0.98, 0.98, 0.98}};
    double& bw = state_->bandwidth[n];
    const double target = kTargets[now][before];
    const double value = target < bw ? 0.75 * target + 0.25 * bw : 0.90625 * target + 0.09375 * bw;
    bw = value < 0.015625 ? 0 : std::min(value, 0.99609375);
    state_->invf[n] = now;
  }
}

std::array<Complex, 2> SbrReference::predict(size_t p) const {
  const auto phi = [&](size_t a, size_t b) {
    Complex sum = 0;
    for (size_t n = 0; n < 38; ++n) sum += low_[n + 2 - a][p] * std::conj(low_[n + 2 - b][p]);
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

void SbrReference::generate() {
  set_bandwidths();
  high_.assign(40, {});
  size_t k = bands().kx;
  for (size_t q = 0; q < bands().patch_count; ++q) {
    for (size_t i = 0; i < bands().patch_width[q]; ++i, ++k) {
      const size_t p = bands().patch_start[q] + i;
      const auto [alpha0, alpha1] = predict(p);
      const double bw = state_->bandwidth[band_of(bands().noise, k)];
      for (size_t l = first_slot(0); l < last_slot(); ++l) {
        high_[l + 2][k] = low_[l + 2][p] + bw * alpha0 * low_[l + 1][p] + bw * bw * alpha1 * low_[l][p];
      }
    }
  }
}

// Returns the part of a coupled pair's energy that belongs to the channel, by the ratio of the two; for an
// uncoupled channel, all of it.
double SbrReference::part_of(double energy, double ratio) const {
  if (!coupled()) return energy;
  return 2 * energy / (1 + ratio) * (channel_ == 0 ? 1 : ratio);
}

SbrReference::Row SbrReference::target_energies(size_t envelope) const {
  const double a = levels().amp_res != 0 ? 1 : 0.5;
  Row row{};
  for (size_t k = bands().kx; k < high_end(); ++k) {
    const size_t j = envelope_band(envelope, k);
    const double ratio = std::exp2(12 - a * frame_->channel[1].envelope[envelope][j]);
    row[k] = part_of(std::exp2(a * levels().envelope[envelope][j] + 6), ratio) * level_ * level_;
  }
  return row;
}

SbrReference::Row SbrReference::noise_floors(size_t envelope) const {
  const SbrGrid& g = data().grid;
  const size_t q = g.noise_count == 2 && g.border[envelope] >= g.noise_border[1] ? 1 : 0;
  Row row{};
  for (size_t k = bands().kx; k < high_end(); ++k) {
    const size_t j = band_of(bands().noise, k);
    row[k] = part_of(std::exp2(6 - levels().noise[q][j]), std::exp2(12 - frame_->channel[1].noise[q][j]));
  }
  return row;
}

SbrReference::Row SbrReference::present_energies(size_t envelope) const {
  const size_t start = first_slot(envelope);
  const size_t end = 2U * data().grid.border[envelope + 1];
  Row row{};
  for (size_t k = bands().kx; k < high_end(); ++k) {
    for (size_t s = start; s < end; ++s)
      row[k] += std::norm(high_[s + 2][k]) / static_cast<double>(end - start);
  }
  if (data().header.interpol_freq != 0) return row;
  const bool high = data().grid.high_resolution[envelope];
  const uint8_t* const borders = bands().envelope_borders(high);
  for (int j = 0; j < bands().envelope_bands(high); ++j) {
    double sum = 0;
    for (size_t k = borders[j]; k < borders[j + 1]; ++k) sum += row[k];
    for (size_t k = borders[j]; k < borders[j + 1]; ++k) row[k] = sum / (borders[j + 1] - borders[j]);
  }
  return row;
}

std::array<bool, 64> SbrReference::sines(size_t envelope) const {
  std::array<bool, 64> list{};
  for (size_t j = 0; j < bands().high_count; ++j) {
    const size_t centre = (size_t{bands().high[j]} + bands().high[j + 1]) / 2;
    const bool has_begun = static_cast<int>(envelope) >= data().grid.transient || state_->sines[centre];
    list[centre] = data().add_harmonic[j] != 0 && has_begun;
  }
  return list;
}

void SbrReference::limit(Gains& gains, const Row& target, const Row& present) const {
  constexpr double kTiny = 1e-12;
  constexpr double kGains[4] = {0.70795, 1, 1.41254, 1e10};
  const uint8_t* const borders = bands().limiter;
  for (size_t j = 0; j < bands().limiter_count; ++j) {
    double sum_target = kTiny;
    double sum_present = kTiny;
    for (size_t k = borders[j]; k < borders[j + 1]; ++k) {
      sum_target += target[k];
      sum_present += present[k];
    }
    const double most =
        std::min(kGains[data().header.limiter_gains] * std::sqrt(sum_target / sum_present), 1e5);
    double produced = kTiny;
    for (size_t k = borders[j]; k < borders[j + 1]; ++k) {
      if (gains.gain[k] > most) {
        gains.noise[k] *= most / gains.gain[k];
        gains.gain[k] = most;
      }
      produced += present[k] * gains.gain[k] * gains.gain[k] + gains.sine[k] * gains.sine[k];
      if (gains.sine[k] == 0 && !gains.is_short) produced += gains.noise[k] * gains.noise[k];
    }
    const double boost = std::min(std::sqrt(sum_target / produced), 1.584893192);
    for (Row* const row : {&gains.gain, &gains.noise, &gains.sine}) {
      for (size_t k = borders[j]; k < borders[j + 1]; ++k) (*row)[k] *= boost;
    }
  }
  for (Row* const row : {&gains.gain, &gains.noise, &gains.sine}) {
    std::fill(row->begin() + borders[bands().limiter_count], row->end(), 0);
  }
}

std::vector<SbrReference::Gains> SbrReference::find_gains() {
  const SbrGrid& g = data().grid;
  std::vector<Gains> list(g.envelope_count);
  std::array<bool, 64> has_sine{};
  for (size_t l = 0; l < list.size(); ++l) {
    has_sine = sines(l);
    const Row target = target_energies(l);
    const Row floors = noise_floors(l);
    const Row present = present_energies(l);
    const uint8_t* const borders = bands().envelope_borders(g.high_resolution[l]);
    Gains& gains = list[l];
    gains.is_short = static_cast<int>(l) == g.transient || (l == 0 && state_->transient_before);
    for (size_t k = bands().kx; k < high_end(); ++k) {
      const size_t j = envelope_band(l, k);
      const bool shares_band_with_sine =
          std::count(&has_sine[borders[j]], &has_sine[0] + borders[j + 1], true) != 0;
      const double floor = floors[k];
      gains.noise[k] = std::sqrt(target[k] * floor / (1 + floor));
      gains.sine[k] = has_sine[k] ? std::sqrt(target[k] / (1 + floor)) : 0;
      const double share = shares_band_with_sine ? floor / (1 + floor) : gains.is_short ? 1 : 1 / (1 + floor);
      gains.gain[k] = std::sqrt(target[k] * share / (1 + present[k]));
    }
    limit(gains, target, present);
  }
  state_->sines = has_sine;
  state_->transient_before = g.transient == g.envelope_count;
  return list;
}

void SbrReference::assemble(const std::vector<Gains>& list) {
  constexpr double kSmooth[5] = {0.33333333333333, 0.30150283239582, 0.21816949906249, 0.11516383427084,
                                 0.03183050093751};
  if (!state_->has_history) {
    state_->gains.assign(4, list[0].gain);
    state_->noises.assign(4, list[0].noise);
    state_->has_history = true;
  }
  y_.assign(38, {});
  // Noise and sinusoids continue as if there had been no gap.
  const size_t gap = 2U * data().grid.border[0] - first_slot(0);
  state_->noise_index = (state_->noise_index + 512 * 64 - gap * bands().m) % 512;
  state_->sine_index = (state_->sine_index + 64 - gap) % 4;
  size_t l = 0;
  for (size_t s = first_slot(0); s < last_slot(); ++s) {
    if (s == 2U * data().grid.border[l + 1]) ++l;
    state_->gains.push_back(list[l].gain);
    state_->noises.push_back(list[l].noise);
    const size_t now = state_->gains.size() - 1;
    for (size_t k = bands().kx; k < high_end(); ++k) {
      double gain = list[l].gain[k];
      double noise = list[l].noise[k];
      if (data().header.smoothing_mode == 0 && !list[l].is_short) {
        gain = noise = 0;
        for (size_t n = 0; n < 5; ++n) {
          gain += kSmooth[n] * state_->gains[now - n][k];
          noise += kSmooth[n] * state_->noises[now - n][k];
        }
      }
      state_->noise_index = (state_->noise_index + 1) % 512;
      const auto& value = kSbrNoiseQ31[state_->noise_index];
      y_[s][k] = gain * high_[s + 2][k];
      if (list[l].sine[k] == 0 && !list[l].is_short)
        y_[s][k] += noise * 0x1p-31 * Complex(value[0], value[1]);
      const double odd = k % 2 != 0 ? -1 : 1;
      const Complex phases[4] = {{1, 0}, {0, odd}, {-1, 0}, {0, -odd}};
      y_[s][k] += list[l].sine[k] * phases[state_->sine_index];
    }
    state_->sine_index = (state_->sine_index + 1) % 4;
  }
}

void SbrReference::put_together() {
  const size_t kx = active() ? bands().kx : 32;
  const size_t m = active() ? bands().m : 0;
  const size_t overlap = state_->end - 32;
  x_.assign(38, {});
  for (size_t l = 0; l < 38; ++l) {
    const bool before = l < overlap;
    const size_t low_end = before ? state_->kx : kx;
    const size_t end = low_end + (before ? state_->m : m);
    // Bands that were core bands only in the previous frame are still needed unmodified.
    const Slot& low = before && l < 6 ? w_history_[l + 2] : low_[l + 2];
    std::copy_n(low.begin(), low_end, x_[l].begin());
    for (size_t k = low_end; k < end && l < 32; ++k)
      x_[l][k] = before ? state_->y_before[32 + l][k] : y_[l][k];
  }
  state_->kx = kx;
  state_->m = m;
  state_->end = active() ? last_slot() : 32;
  state_->y_before = y_;
}

void SbrReference::make_bands(size_t channel, const Signal& core) {
  channel_ = channel;
  state_ = &states_[channel];
  w_history_.assign(state_->w_before.begin() + 24, state_->w_before.end());
  analyse(core);
  y_.assign(38, {});
  if (active()) {
    if (data().bands_generation != state_->generation) {
      state_->noise_index = 0;
      state_->has_history = false;
    }
    state_->generation = data().bands_generation;
    generate();
    assemble(find_gains());
  }
  put_together();
  for (Slot& slot : x_) std::fill(slot.begin() + static_cast<std::ptrdiff_t>(cut_), slot.end(), 0);
}

SbrReference::Signal SbrReference::synthesise(size_t side, const std::vector<Slot>& slots) {
  Signal out;
  for (size_t l = 0; l < 32; ++l) {
    const auto samples = banks_[side].slot(slots[l]);
    out.insert(out.end(), samples.begin(), samples.end());
  }
  return out;
}

std::vector<SbrReference::Signal> SbrReference::process(const SbrFrame& frame,
                                                        const std::vector<Signal>& cores, bool stereo,
                                                        double level) {
  frame_ = &frame;
  level_ = level;
  const SbrChannelFrame& first = frame.channel[0];
  const bool has_ps = first.status == SbrStatus::kParsed && first.ps.present;
  const bool mixes = stereo && cores.size() == 1 && (ps_active_ || has_ps);
  // A new channel or side starts with the state of the existing one.
  if (cores_before_ < cores.size()) states_[1] = states_[0];
  if (cores_before_ > cores.size()) ps_.forget_signal();
  const size_t sides = mixes ? 2 : cores.size();
  if (sides_before_ < sides) banks_[1] = banks_[0];
  cores_before_ = cores.size();
  sides_before_ = sides;

  std::vector<Signal> out;
  for (size_t c = 0; c < cores.size(); ++c) {
    make_bands(c, cores[c]);
    if (!mixes) out.push_back(synthesise(c, x_));
  }
  if (!mixes) return out;
  ps_active_ = true;
  std::vector<Slot> left, right;
  ps_.process(has_ps ? first.ps : PsFrame{}, state_->kx + state_->m, x_, left, right);
  return {synthesise(0, left), synthesise(1, right)};
}

SbrReference::SbrReference(size_t rate_multiplier, size_t resampling_cut)
    : cut_(resampling_cut),
      banks_{QmfSynthesisReference(32 * rate_multiplier), QmfSynthesisReference(32 * rate_multiplier)} {}

}  // namespace zdr::test
