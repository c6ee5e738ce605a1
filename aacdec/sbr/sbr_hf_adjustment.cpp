// Computes the gains of an envelope step by step: maps the transmitted levels to bands, measures the
// generated signal, sets and limits the gains, and passes them on to mixing.
#include "aacdec/sbr/sbr_hf_adjustment.h"

#include <algorithm>
#include <bit>

#include "aacdec/sbr/sbr_envelope.h"
#include "aacdec/sbr/sbr_hf_mixing.h"
#include "aacdec/sbr/sbr_kernels.h"

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
  if (e.fade >= kFadeToSilence) {
    levels.target.fill(0, e.m(), {});
    return;
  }
  Magnitude energies[kMaxSbrBands];
  const uint8_t* const borders = e.borders();
  const int count = e.band_count();
  envelope_energies(e.frame, e.channel, e.index, count, energies);
  int first = e.offset(borders[0]);
  levels.target.fill(0, first, {});
  for (int band = 0; band < count; ++band) {
    const int end = e.offset(borders[band + 1]);
    const Magnitude energy = scaled(energies[band], -2 * e.fade);
    for (; first < end; ++first) levels.target.set(first, energy);
  }
  levels.target.fill(first, e.m(), {});
}

// True if the envelope has a sinusoid in the high resolution band; it lies in the centre of the band. A new
// sinusoid starts at the transient; one from the previous frame continues.
bool has_sinusoid(const Envelope& e, const SbrChannelState& state, int high_band, int& centre) {
  if (e.data.add_harmonic[high_band] == 0) return false;
  const uint8_t* const high = e.data.bands.high;
  centre = (high[high_band] + high[high_band + 1]) / 2;
  return e.index >= e.data.grid.transient || state.sine[centre];
}

// Sets the sine energy to 1 in bands with a sinusoid, and marks the envelope bands that have one.
void map_sines(const Envelope& e, const SbrChannelState& state, SbrLevels& levels) {
  if (levels.sine_count > 0) {
    levels.sine = {};
    std::fill_n(levels.has_sine, kQmfBands, false);
    levels.sine_count = 0;
  }
  for (int band = 0; band < e.data.bands.high_count; ++band) {
    int centre = 0;
    if (!has_sinusoid(e, state, band, centre)) continue;
    const int at = e.offset(centre);
    if (at >= e.m()) continue;
    levels.sine.set(at, kOne);
    ++levels.sine_count;
    int low = 0;
    while (low + 1 < e.band_count() && e.borders()[low + 1] <= centre) ++low;
    std::fill(levels.has_sine + e.offset(e.borders()[low]), levels.has_sine + e.offset(e.borders()[low + 1]),
              true);
  }
}

void average_within_bands(const Envelope& e, SbrLevels& levels) {
  for (int band = 0; band < e.band_count(); ++band) {
    const int first = e.offset(e.borders()[band]);
    const int end = e.offset(e.borders()[band + 1]);
    if (first == end) continue;
    Magnitude sum;
    for (int i = first; i < end; ++i) sum = sum + levels.present[i];
    const Magnitude mean = sum / make_magnitude(static_cast<uint64_t>(end - first), 0);
    levels.present.fill(first, end, mean);
  }
}

// Energies per slot, in squared steps.
void measure_present_energies(const SbrKernels& kernels, const Envelope& e, const QmfMatrix& bands,
                              const RowScale* scales, SbrLevels& levels) {
  uint64_t sums[kQmfBands];
  kernels.measure_rows(bands, e.kx(), e.m(), kLeadSlots + e.first_slot, kLeadSlots + e.end_slot, sums);
  const auto slots = static_cast<uint64_t>(e.end_slot - e.first_slot);
  // Most envelopes need no division.
  const bool is_power = std::has_single_bit(slots);
  const int shift = is_power ? std::countr_zero(slots) : 0;
  const RowScale* const scale = scales + e.kx();
  const int m = e.m();
  for (int i = 0; i < m; ++i) {
    levels.present.set(i, make_magnitude(sums[i], 2 * scale[i].exponent - shift));
    // A square is not above the sum of all.
    levels.bits[i] = (static_cast<int>(std::bit_width(sums[i])) + 1) / 2;
    levels.exponent[i] = scale[i].exponent + kSampleScaleBits;
  }
  // Every envelope multiplies the rest of the block by gains: its exponents would grow without end.
  levels.present.clear_after(m);
  if (!is_power) kernels.divide_levels(levels.present, m, make_magnitude(slots, 0));
  if (e.data.header.interpol_freq == 0) average_within_bands(e, levels);
}

void set_gains(const SbrKernels& kernels, const Envelope& e, SbrLevels& levels) {
  const SbrBandTables& tables = e.data.bands;
  for (int noise_band = 0; noise_band < tables.noise_count; ++noise_band) {
    const Magnitude ratio = noise_ratio(e.frame, e.channel, e.floor, noise_band);
    const Magnitude signal_part = kOne / (kOne + ratio);
    const Magnitude noise_part = ratio * signal_part;
    const Magnitude without_sine = e.transient ? kOne : signal_part;
    const int first = e.offset(tables.noise[noise_band]);
    const int end = e.offset(tables.noise[noise_band + 1]);
    levels.noise_part.fill(first, end, noise_part);
    levels.signal_part.fill(first, end, without_sine);
    if (levels.sine_count == 0) continue;
    for (int i = first; i < end; ++i) {
      if (levels.has_sine[i]) levels.signal_part.set(i, noise_part);
      if (!levels.sine.is_zero(i)) levels.sine.set(i, levels.sine[i] * levels.target[i] * signal_part);
    }
  }
  kernels.weigh_levels(levels, e.m());
}

// A limiter band: bands [first, end), the sum of their target energies, and the limit of their gains.
struct LimiterBand {
  int first;
  int end;
  Magnitude target = kTiny;
  Magnitude gain_limit = {};
};

LimiterBand measured_limiter_band(const Envelope& e, int index, const SbrLevels& levels) {
  const uint8_t* const borders = e.data.bands.limiter + index;
  LimiterBand band{e.offset(borders[0]), e.offset(borders[1])};
  Magnitude present = kTiny;
  for (int i = band.first; i < band.end; ++i) {
    band.target = band.target + levels.target[i];
    present = present + levels.present[i];
  }
  const Magnitude ratio = kLimiterGains[e.data.header.limiter_gains & 3];
  band.gain_limit = smaller(ratio * band.target / present, kLargestGain);
  return band;
}

// The gain that compensates for the energy that limiting took from the band.
Magnitude boost_after_limit(const Envelope& e, const LimiterBand& band, const SbrLevels& levels) {
  Magnitude produced = kTiny;
  for (int i = band.first; i < band.end; ++i) {
    produced = produced + levels.present[i];
    if (!levels.sine.is_zero(i)) {
      produced = produced + levels.sine[i];
    } else if (!e.transient) {
      produced = produced + levels.noise[i];
    }
  }
  return smaller(band.target / produced, kLargestBoost);
}

// Limits the gains, compensates for the lost energy and takes the square roots. Bands above the last limiter
// border have no signal and stay silent.
void limit_gains(const SbrKernels& kernels, const Envelope& e, SbrLevels& levels) {
  const SbrBandTables& tables = e.data.bands;
  const int count = tables.limiter_count;
  LimiterBand bands[kMaxLimiterBands];
  levels.factor.fill(e.offset(tables.limiter[count]), e.m(), {});
  for (int i = 0; i < count; ++i) {
    bands[i] = measured_limiter_band(e, i, levels);
    levels.factor.fill(bands[i].first, bands[i].end, bands[i].gain_limit);
  }
  kernels.limit_levels(levels, e.m());
  for (int i = 0; i < count; ++i) {
    levels.factor.fill(bands[i].first, bands[i].end, boost_after_limit(e, bands[i], levels));
  }
  kernels.finish_levels(levels, e.m());
}

// Stores the sinusoids of the last envelope, which are mapped but not yet weighted.
void store_sines(const Envelope& e, const SbrLevels& levels, SbrChannelState& state) {
  std::fill_n(state.sine, kQmfBands, false);
  if (levels.sine_count == 0) return;
  for (int i = 0; i < e.m(); ++i) state.sine[e.kx() + i] = !levels.sine.is_zero(i);
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
  const SbrKernels& kernels = sbr_kernels();
  measure_present_energies(kernels, e, bands, scales, levels);
  set_gains(kernels, e, levels);
  limit_gains(kernels, e, levels);
  const MixedSlots slots{e.first_slot, e.end_slot, e.transient, e.data.header.smoothing_mode == 0};
  mix_high_bands(e.data.bands, slots, levels, state, bands);
}

}  // namespace

void adjust_high_bands(const SbrFrame& frame, int channel, int fade, const RowScale (&scales)[kQmfBands],
                       SbrChannelState& state, SbrLevels& levels, QmfMatrix& bands) {
  const SbrBandTables& tables = frame.channel[channel].bands;
  const SbrGrid& grid = frame.channel[channel].grid;
  const int frame_start = start_frame(tables, grid, state);
  levels.noise_table.arrange(tables.m);
  for (int index = 0; index < grid.envelope_count; ++index) {
    Envelope e = envelope_of(frame, channel, index, state);
    e.fade = fade;
    if (index == 0) e.first_slot = frame_start;
    adjust_envelope(e, scales, state, levels, bands);
  }
  state.transient_at_end = grid.transient == grid.envelope_count;
  if (frame_start == 0) return;
  for (int row = tables.kx; row < tables.kx + tables.m; ++row) {
    clear_few_columns(bands, row, kLeadSlots, kLeadSlots + frame_start);
  }
}

}  // namespace zdr::aacdec
