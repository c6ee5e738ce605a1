// Computes the gains of an envelope step by step: maps the transmitted levels to bands, measures the
// generated signal, sets and limits the gains, and passes them on to mixing.
#include "aacdec/sbr/sbr_hf_adjustment.h"

#include <algorithm>

#include "aacdec/sbr/sbr_envelope.h"
#include "aacdec/sbr/sbr_hf_mixing.h"
#include "aacdec/sbr/sbr_kernels.h"
#include "aacdec/tables/sbr_noise.h"

namespace zdr::aacdec {
namespace {

constexpr Magnitude kOne = magnitude_of(1);
constexpr Magnitude kTiny = magnitude_of(1e-12);  // keeps the limiter's ratios finite
constexpr Magnitude kLargestGain = magnitude_of(1e10);
constexpr Magnitude kLargestBoost = magnitude_of(2.511886431);
constexpr Magnitude kLimiterGains[4] = {magnitude_of(0.5011931993), magnitude_of(1),
                                        magnitude_of(1.9952692517), magnitude_of(1e20)};

// One envelope of a frame.
struct Envelope {
  const SbrFrame& frame;
  const SbrChannelFrame& data;
  int channel;
  int index;
  int floor;       // its noise floor
  int first_slot;  // of the output
  int end_slot;
  bool transient;  // starts with a transient: no noise, no smoothing
  int fade;

  int kx() const { return data.bands.kx; }
  int m() const { return data.bands.m; }
  bool high_resolution() const { return data.grid.high_resolution[index]; }
  const uint8_t* borders() const { return data.bands.envelope_borders(high_resolution()); }
  int band_count() const { return data.bands.envelope_bands(high_resolution()); }
  // QMF band as an index from kx on.
  int offset(int band) const { return std::clamp(band - kx(), 0, m()); }
};

void map_target_energies(const Envelope& e, SbrLevels& levels) {
  std::fill_n(levels.target, e.m(), Magnitude{});
  if (e.fade >= kFadeToSilence) return;
  for (int band = 0; band < e.band_count(); ++band) {
    const Magnitude energy = scaled(envelope_energy(e.frame, e.channel, e.index, band), -2 * e.fade);
    for (int i = e.offset(e.borders()[band]); i < e.offset(e.borders()[band + 1]); ++i)
      levels.target[i] = energy;
  }
}

// True if the envelope has a sinusoid in the high resolution band; it lies in the centre of the band. A new
// sinusoid starts at the transient; one from the previous frame continues.
bool has_sinusoid(const Envelope& e, const SbrChannelState& state, int high_band, int& centre) {
  const uint8_t* const high = e.data.bands.high;
  centre = (high[high_band] + high[high_band + 1]) / 2;
  return e.data.add_harmonic[high_band] != 0 && (e.index >= e.data.grid.transient || state.sine[centre]);
}

// Sets the sine energy to 1 in bands with a sinusoid, and marks the envelope bands that have one.
void map_sines(const Envelope& e, const SbrChannelState& state, SbrLevels& levels) {
  std::fill_n(levels.sine, e.m(), Magnitude{});
  std::fill_n(levels.has_sine, e.m(), false);
  for (int band = 0; band < e.data.bands.high_count; ++band) {
    int centre = 0;
    if (!has_sinusoid(e, state, band, centre)) continue;
    const int at = e.offset(centre);
    if (at >= e.m()) continue;
    levels.sine[at] = kOne;
    int low = 0;
    while (low + 1 < e.band_count() && e.borders()[low + 1] <= centre) ++low;
    std::fill(levels.has_sine + e.offset(e.borders()[low]), levels.has_sine + e.offset(e.borders()[low + 1]),
              true);
  }
}

// Sum of |x|^2 over the envelope's slots, in squared steps.
Magnitude row_energy(const Envelope& e, const QmfMatrix& bands, int row, RowScale scale) {
  const int first = kLeadSlots + e.first_slot;
  const uint64_t sum =
      sbr_kernels().measure_energy(bands.re[row] + first, bands.im[row] + first, e.end_slot - e.first_slot);
  return make_magnitude(sum, 2 * scale.exponent);
}

void average_within_bands(const Envelope& e, SbrLevels& levels) {
  for (int band = 0; band < e.band_count(); ++band) {
    const int first = e.offset(e.borders()[band]);
    const int end = e.offset(e.borders()[band + 1]);
    if (first == end) continue;
    Magnitude sum;
    for (int i = first; i < end; ++i) sum = sum + levels.present[i];
    const Magnitude mean = sum / make_magnitude(static_cast<uint64_t>(end - first), 0);
    std::fill(levels.present + first, levels.present + end, mean);
  }
}

void measure_present_energies(const Envelope& e, const QmfMatrix& bands, const RowScale* scales,
                              SbrLevels& levels) {
  const Magnitude slots = make_magnitude(static_cast<uint64_t>(e.end_slot - e.first_slot), 0);
  for (int i = 0; i < e.m(); ++i) {
    levels.present[i] = row_energy(e, bands, e.kx() + i, scales[e.kx() + i]) / slots;
  }
  if (e.data.header.interpol_freq == 0) average_within_bands(e, levels);
}

void set_gains(const Envelope& e, SbrLevels& levels) {
  const SbrBandTables& tables = e.data.bands;
  for (int noise_band = 0; noise_band < tables.noise_count; ++noise_band) {
    const Magnitude ratio = noise_ratio(e.frame, e.channel, e.floor, noise_band);
    const Magnitude signal_part = kOne / (kOne + ratio);
    const Magnitude noise_part = ratio * signal_part;
    for (int i = e.offset(tables.noise[noise_band]); i < e.offset(tables.noise[noise_band + 1]); ++i) {
      const Magnitude target = levels.target[i];
      levels.noise[i] = target * noise_part;
      levels.sine[i] = levels.sine[i] * target * signal_part;
      const Magnitude share = levels.has_sine[i] ? noise_part : e.transient ? kOne : signal_part;
      levels.gain[i] = target * share / (kOne + levels.present[i]);
    }
  }
}

// Limits the gains within one limiter band, then compensates for the lost energy.
void limit_band(const Envelope& e, int first, int end, SbrLevels& levels) {
  Magnitude target = kTiny;
  Magnitude present = kTiny;
  for (int i = first; i < end; ++i) {
    target = target + levels.target[i];
    present = present + levels.present[i];
  }
  const Magnitude limit =
      smaller(kLimiterGains[e.data.header.limiter_gains & 3] * target / present, kLargestGain);
  Magnitude produced = kTiny;
  for (int i = first; i < end; ++i) {
    if (limit < levels.gain[i]) {
      levels.noise[i] = levels.noise[i] * limit / levels.gain[i];
      levels.gain[i] = limit;
    }
    produced = produced + levels.present[i] * levels.gain[i];
    if (!levels.sine[i].is_zero()) {
      produced = produced + levels.sine[i];
    } else if (!e.transient) {
      produced = produced + levels.noise[i];
    }
  }
  const Magnitude boost = smaller(target / produced, kLargestBoost);
  for (int i = first; i < end; ++i) {
    levels.gain[i] = levels.gain[i] * boost;
    levels.noise[i] = levels.noise[i] * boost;
    levels.sine[i] = levels.sine[i] * boost;
  }
}

// Bands above the last limiter border have no signal and stay silent.
void limit_gains(const Envelope& e, SbrLevels& levels) {
  const SbrBandTables& tables = e.data.bands;
  for (int band = 0; band < tables.limiter_count; ++band) {
    limit_band(e, e.offset(tables.limiter[band]), e.offset(tables.limiter[band + 1]), levels);
  }
  for (int i = e.offset(tables.limiter[tables.limiter_count]); i < e.m(); ++i) {
    levels.gain[i] = levels.noise[i] = levels.sine[i] = {};
  }
}

void take_square_roots(const Envelope& e, SbrLevels& levels) {
  for (int i = 0; i < e.m(); ++i) {
    levels.gain[i] = square_root(levels.gain[i]);
    levels.noise[i] = square_root(levels.noise[i]);
    levels.sine[i] = square_root(levels.sine[i]);
  }
}

// Stores the sinusoids of the last envelope, which are mapped but not yet weighted.
void store_sines(const Envelope& e, const SbrLevels& levels, SbrChannelState& state) {
  std::fill_n(state.sine, kQmfBands, false);
  for (int i = 0; i < e.m(); ++i) state.sine[e.kx() + i] = !levels.sine[i].is_zero();
}

// Returns the first slot of the first envelope. If a damaged stream leaves a gap after the previous frame,
// the envelope is extended over the gap. Noise and sinusoids then start earlier, so that their phase at the
// end of the frame is as expected.
int start_frame(const SbrBandTables& tables, const SbrGrid& grid, SbrChannelState& state) {
  const int start = 2 * grid.border[0];
  const int end_before = 2 * (state.end_border - kSbrTimeSlots);
  if (state.m == 0 || end_before >= start) return start;
  const int gap = start - end_before;
  state.noise_index = static_cast<uint16_t>(
      (state.noise_index + kSbrNoiseLength * kQmfSlots - gap * tables.m) % kSbrNoiseLength);
  state.sine_phase = static_cast<uint8_t>((state.sine_phase + kQmfSlots - gap) % 4);
  return end_before;
}

// The previous frame may have announced a transient for the first envelope.
Envelope envelope_of(const SbrFrame& frame, int channel, int index, const SbrChannelState& state) {
  const SbrChannelFrame& data = frame.channel[channel];
  const SbrGrid& grid = data.grid;
  const int first = grid.border[index];
  const bool transient = index == grid.transient || (index == 0 && state.transient_at_end);
  const int floor = grid.noise_count == 2 && first >= grid.noise_border[1] ? 1 : 0;
  return {frame, data, channel, index, floor, 2 * first, 2 * grid.border[index + 1], transient, 0};
}

void adjust_envelope(const Envelope& e, const RowScale (&scales)[kQmfBands], SbrChannelState& state,
                     SbrLevels& levels, QmfMatrix& bands) {
  map_target_energies(e, levels);
  map_sines(e, state, levels);
  if (e.index + 1 == e.data.grid.envelope_count) store_sines(e, levels, state);
  measure_present_energies(e, bands, scales, levels);
  set_gains(e, levels);
  limit_gains(e, levels);
  take_square_roots(e, levels);
  const MixedSlots slots{e.first_slot, e.end_slot, e.transient, e.data.header.smoothing_mode == 0};
  mix_high_bands(e.data.bands, slots, levels, scales, state, bands);
}

}  // namespace

void adjust_high_bands(const SbrFrame& frame, int channel, int fade, const RowScale (&scales)[kQmfBands],
                       SbrChannelState& state, SbrLevels& levels, QmfMatrix& bands) {
  const SbrBandTables& tables = frame.channel[channel].bands;
  const SbrGrid& grid = frame.channel[channel].grid;
  const int frame_start = start_frame(tables, grid, state);
  for (int index = 0; index < grid.envelope_count; ++index) {
    Envelope e = envelope_of(frame, channel, index, state);
    e.fade = fade;
    if (index == 0) e.first_slot = frame_start;
    adjust_envelope(e, scales, state, levels, bands);
  }
  state.transient_at_end = grid.transient == grid.envelope_count;
  for (int row = tables.kx; row < tables.kx + tables.m; ++row) {
    clear_few_columns(bands, row, 0, kLeadSlots + frame_start);
    clear_few_columns(bands, row, kLeadSlots + 2 * grid.border[grid.envelope_count], kRowSlots);
  }
}

}  // namespace zdr::aacdec
