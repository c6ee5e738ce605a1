#include "tests/aacdec/sbr/sbr_reference.h"

#include <algorithm>
#include <cmath>

#include "aacdec/tables/sbr_noise.h"

namespace zdr::aacdec::test {
namespace {

Complex noise_value(int index) {
  const auto& v = kSbrNoiseQ31[index % 512];
  return {v[0] * 0x1p-31, v[1] * 0x1p-31};
}

// The band of `borders` that QMF band k lies in, or -1.
int band_of(const uint8_t* borders, int count, int k) {
  for (int j = 0; j < count; ++j) {
    if (borders[j] <= k && k < borders[j + 1]) return j;
  }
  return -1;
}

}  // namespace

void SbrReference::analyse(const Signal& core) {
  std::vector<Slot> w(32);
  for (size_t l = 0; l < 32; ++l) w[l] = state_->analysis.slot(core.data() + 32 * l);
  low_.assign(40, {});
  const size_t kx = active() ? data().bands.kx : 32;
  for (size_t l = 0; l < 40; ++l) {
    const Slot& from = l < 8 ? state_->w_before[24 + l] : w[l - 8];
    const size_t end = l < 8 ? static_cast<size_t>(state_->kx) : kx;
    std::copy_n(from.begin(), end, low_[l].begin());
  }
  state_->w_before = w;
}

// Behind a damaged frame the first envelope is drawn out to where the signal ended.
int SbrReference::first_slot(size_t envelope) const {
  const int slot = 2 * data().grid.border[envelope];
  return envelope == 0 && state_->m > 0 ? std::min(slot, 2 * state_->end - 32) : slot;
}

void SbrReference::set_bandwidths() {
  const SbrChannelFrame& f = data();
  for (size_t n = 0; n < f.bands.noise_count; ++n) {
    const int now = f.invf_mode[n];
    const int before = state_->invf[n];
    double& bw = state_->bandwidth[n];
    double value = now == 3      ? 0.98
                   : now == 2    ? 0.9
                   : now == 1    ? (before == 0 ? 0.6 : 0.75)
                   : before == 1 ? 0.6
                                 : 0;
    value = value < bw ? 0.75 * value + 0.25 * bw : 0.90625 * value + 0.09375 * bw;
    if (value < 0.015625) value = 0;
    bw = std::min(value, 0.99609375);
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
  const SbrBandTables& t = data().bands;
  const SbrGrid& g = data().grid;
  high_.assign(40, {});
  int k = t.kx;
  for (int q = 0; q < t.patch_count; ++q) {
    for (int i = 0; i < t.patch_width[q]; ++i, ++k) {
      const auto p = static_cast<size_t>(t.patch_start[q] + i);
      const auto [alpha0, alpha1] = predict(p);
      const double bw = state_->bandwidth[static_cast<size_t>(band_of(t.noise, t.noise_count, k))];
      for (int l = first_slot(0); l < 2 * g.border[g.envelope_count]; ++l) {
        const auto s = static_cast<size_t>(l);
        high_[s + 2][static_cast<size_t>(k)] =
            low_[s + 2][p] + bw * alpha0 * low_[s + 1][p] + bw * bw * alpha1 * low_[s][p];
      }
    }
  }
}

// The channel's part of what a coupled pair has together, by their ratio; or all of what one channel has.
double SbrReference::part_of(double energy, double ratio) const {
  if (!coupled()) return energy;
  return 2 * energy / (1 + ratio) * (channel_ == 0 ? 1 : ratio);
}

SbrReference::Row SbrReference::wanted_energies(size_t envelope) const {
  const SbrBandTables& t = data().bands;
  const bool high = data().grid.high_resolution[envelope];
  const SbrChannelFrame& levels = frame_->channel[coupled() ? 0 : channel_];
  const double a = levels.amp_res != 0 ? 1 : 0.5;
  const double even = levels.amp_res != 0 ? 12 : 24;
  Row row{};
  for (int k = t.kx; k < t.kx + t.m; ++k) {
    const int j = band_of(t.envelope_borders(high), t.envelope_bands(high), k);
    const double ratio = std::exp2((even - frame_->channel[1].envelope[envelope][j]) * a);
    const double energy = part_of(std::exp2(a * levels.envelope[envelope][j] + 6), ratio);
    row[static_cast<size_t>(k)] = energy * level_ * level_;
  }
  return row;
}

SbrReference::Row SbrReference::noise_floors(size_t envelope) const {
  const SbrBandTables& t = data().bands;
  const SbrGrid& g = data().grid;
  const SbrChannelFrame& levels = frame_->channel[coupled() ? 0 : channel_];
  const size_t q = g.noise_count == 2 && g.border[envelope] >= g.noise_border[1] ? 1 : 0;
  Row row{};
  for (int k = t.kx; k < t.kx + t.m; ++k) {
    const int j = band_of(t.noise, t.noise_count, k);
    row[static_cast<size_t>(k)] =
        part_of(std::exp2(6 - levels.noise[q][j]), std::exp2(12 - frame_->channel[1].noise[q][j]));
  }
  return row;
}

SbrReference::Row SbrReference::present_energies(size_t envelope) const {
  const SbrBandTables& t = data().bands;
  const SbrGrid& g = data().grid;
  Row row{};
  for (int k = t.kx; k < t.kx + t.m; ++k) {
    for (int s = first_slot(envelope) + 2; s < 2 * g.border[envelope + 1] + 2; ++s) {
      row[static_cast<size_t>(k)] += std::norm(high_[static_cast<size_t>(s)][static_cast<size_t>(k)]);
    }
    row[static_cast<size_t>(k)] /= 2 * g.border[envelope + 1] - first_slot(envelope);
  }
  if (data().header.interpol_freq != 0) return row;
  const bool high = g.high_resolution[envelope];
  const uint8_t* const borders = t.envelope_borders(high);
  for (int j = 0; j < t.envelope_bands(high); ++j) {
    double sum = 0;
    for (size_t k = borders[j]; k < borders[j + 1]; ++k) sum += row[k];
    for (size_t k = borders[j]; k < borders[j + 1]; ++k) row[k] = sum / (borders[j + 1] - borders[j]);
  }
  return row;
}

void SbrReference::find_sines(std::vector<std::array<bool, 64>>& sines) const {
  const SbrBandTables& t = data().bands;
  for (int l = 0; l < data().grid.envelope_count; ++l) {
    sines.emplace_back();
    for (int j = 0; j < t.high_count; ++j) {
      const auto centre = static_cast<size_t>((t.high[j] + t.high[j + 1]) / 2);
      sines.back()[centre] =
          data().add_harmonic[j] != 0 && (l >= data().grid.transient || state_->sines[centre]);
    }
  }
}

void SbrReference::limit(Gains& gains, const Row& wanted, const Row& present) const {
  constexpr double kTiny = 1e-12;
  constexpr double kGains[4] = {0.70795, 1, 1.41254, 1e10};
  const SbrBandTables& t = data().bands;
  for (int j = 0; j < t.limiter_count; ++j) {
    double sum_wanted = kTiny;
    double sum_present = kTiny;
    for (size_t k = t.limiter[j]; k < t.limiter[j + 1]; ++k) {
      sum_wanted += wanted[k];
      sum_present += present[k];
    }
    const double most =
        std::min(kGains[data().header.limiter_gains] * std::sqrt(sum_wanted / sum_present), 1e5);
    double made = kTiny;
    for (size_t k = t.limiter[j]; k < t.limiter[j + 1]; ++k) {
      if (gains.gain[k] > most) {
        gains.noise[k] *= most / gains.gain[k];
        gains.gain[k] = most;
      }
      made += present[k] * gains.gain[k] * gains.gain[k] + gains.sine[k] * gains.sine[k];
      if (gains.sine[k] == 0 && !gains.is_short) made += gains.noise[k] * gains.noise[k];
    }
    const double boost = std::min(std::sqrt(sum_wanted / made), 1.584893192);
    for (size_t k = t.limiter[j]; k < t.limiter[j + 1]; ++k) {
      gains.gain[k] *= boost;
      gains.noise[k] *= boost;
      gains.sine[k] *= boost;
    }
  }
  for (size_t k = t.limiter[t.limiter_count]; k < 64; ++k) gains.gain[k] = gains.noise[k] = gains.sine[k] = 0;
}

std::vector<SbrReference::Gains> SbrReference::find_gains() {
  const SbrBandTables& t = data().bands;
  const SbrGrid& g = data().grid;
  std::vector<std::array<bool, 64>> sines;
  find_sines(sines);
  std::vector<Gains> list(g.envelope_count);
  for (size_t l = 0; l < list.size(); ++l) {
    const Row wanted = wanted_energies(l);
    const Row floors = noise_floors(l);
    const Row present = present_energies(l);
    const bool high = g.high_resolution[l];
    list[l].is_short = static_cast<int>(l) == g.transient || (l == 0 && state_->transient_before);
    for (int band = t.kx; band < t.kx + t.m; ++band) {
      const auto k = static_cast<size_t>(band);
      const int j = band_of(t.envelope_borders(high), t.envelope_bands(high), band);
      const uint8_t* const borders = t.envelope_borders(high);
      const bool mapped = std::any_of(sines[l].begin() + borders[j], sines[l].begin() + borders[j + 1],
                                      [](bool s) { return s; });
      const double floor = floors[k];
      list[l].noise[k] = std::sqrt(wanted[k] * floor / (1 + floor));
      list[l].sine[k] = sines[l][k] ? std::sqrt(wanted[k] / (1 + floor)) : 0;
      const double share = mapped ? floor / (1 + floor) : list[l].is_short ? 1 : 1 / (1 + floor);
      list[l].gain[k] = std::sqrt(wanted[k] * share / (1 + present[k]));
    }
    limit(list[l], wanted, present);
  }
  state_->sines = sines.back();
  state_->transient_before = g.transient == g.envelope_count;
  return list;
}

void SbrReference::assemble(const std::vector<Gains>& list) {
  constexpr double kSmooth[5] = {0.33333333333333, 0.30150283239582, 0.21816949906249, 0.11516383427084,
                                 0.03183050093751};
  const SbrBandTables& t = data().bands;
  const SbrGrid& g = data().grid;
  if (!state_->has_history) {
    state_->gains.assign(4, list[0].gain);
    state_->noises.assign(4, list[0].noise);
    state_->has_history = true;
  }
  y_.assign(38, {});
  // Noise and sinusoids are as if there had been no gap.
  const int gap = 2 * g.border[0] - first_slot(0);
  state_->noise_index = (state_->noise_index + 512 * 64 - gap * t.m) % 512;
  state_->sine_index = (state_->sine_index + 64 - gap) % 4;
  size_t l = 0;
  for (auto s = static_cast<size_t>(first_slot(0)); s < 2U * g.border[g.envelope_count]; ++s) {
    if (s == 2U * g.border[l + 1]) ++l;
    state_->gains.push_back(list[l].gain);
    state_->noises.push_back(list[l].noise);
    const size_t now = state_->gains.size() - 1;
    for (int band = t.kx; band < t.kx + t.m; ++band) {
      const auto k = static_cast<size_t>(band);
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
      Complex y = gain * high_[s + 2][k];
      if (list[l].sine[k] == 0 && !list[l].is_short) y += noise * noise_value(state_->noise_index);
      const Complex phases[4] = {{1, 0}, {0, k % 2 != 0 ? -1.0 : 1.0}, {-1, 0}, {0, k % 2 != 0 ? 1.0 : -1.0}};
      y_[s][k] = y + list[l].sine[k] * phases[state_->sine_index];
    }
    state_->sine_index = (state_->sine_index + 1) % 4;
  }
}

void SbrReference::put_together() {
  const int kx = active() ? data().bands.kx : 32;
  const int m = active() ? data().bands.m : 0;
  const int overlap = std::max(0, 2 * state_->end - 32);
  x_.assign(38, {});
  for (size_t l = 0; l < 38; ++l) {
    const bool before = static_cast<int>(l) < overlap;
    const int low_end = before ? state_->kx : kx;
    const int high_end = low_end + (before ? state_->m : m);
    for (int k = 0; k < 64; ++k) {
      const auto band = static_cast<size_t>(k);
      if (k < low_end) {
        // Bands that were core bands in the frame before only are still needed as they came.
        x_[l][band] = before && l < 6 ? w_history_[l + 2][band] : low_[l + 2][band];
      } else if (k < high_end && l < 32) {
        x_[l][band] = before ? state_->y_before[32 + l][band] : y_[l][band];
      }
    }
  }
  state_->kx = kx;
  state_->m = m;
  state_->end = active() ? data().grid.border[data().grid.envelope_count] : 16;
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
  for (Slot& slot : x_) std::fill(slot.begin() + cut_, slot.end(), 0);
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
  // A channel or side that comes in was the same as the one that was there.
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

SbrReference::SbrReference(int rate_multiplier, int resampling_cut)
    : cut_(resampling_cut),
      banks_{QmfSynthesisReference(32 * rate_multiplier), QmfSynthesisReference(32 * rate_multiplier)} {}

}  // namespace zdr::aacdec::test
