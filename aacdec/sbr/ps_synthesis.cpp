// Runs the steps of a frame, and computes transient damping and the mixing coefficients over time; the loops
// over samples are kernels.
#include "aacdec/sbr/ps_synthesis.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "aacdec/fixed/magnitude.h"
#include "aacdec/sbr/sbr_kernels.h"
#include "aacdec/tables/ps_constants.h"

namespace zdr::aacdec {
namespace {

constexpr int32_t kOneQ30 = 1 << 30;

// Clears the delay lines above the last band of the signal: they would keep ringing after a header has
// lowered that band.
void clear_bands_above(int band_end, PsSynthesisState& ps) {
  const int first = std::max(band_end, kSplitBands) - kSplitBands + kHybridBands;
  for (int k = std::max(first, kAllPassBands); k < kSubBands; ++k) {
    std::memset(ps.memory.delay_re[k - kAllPassBands], 0, sizeof ps.memory.delay_re[0]);
    std::memset(ps.memory.delay_im[k - kAllPassBands], 0, sizeof ps.memory.delay_im[0]);
  }
  for (int k = first; k < kAllPassBands; ++k) {
    for (int i = 0; i < AllPassState::kInputSlots; ++i) {
      ps.memory.all_pass.input_re[i][k] = ps.memory.all_pass.input_im[i][k] = 0;
    }
    for (int i = 0; i < AllPassState::kLinkSlots; ++i) {
      ps.memory.all_pass.link_re[i][k] = ps.memory.all_pass.link_im[i][k] = 0;
    }
  }
}

// Updates the detector with the energy of a slot. Returns the damping of the copy, Q30: the ratio of the
// smoothed energy to 1.5 times the smoothed excess of the peaks, at most 1.
int32_t next_damping(TransientDetector& d, uint64_t energy) {
  constexpr uint64_t kPeakDecayQ32 = 3289637165;  // 0.76592833836465
  const uint64_t decayed = (d.peak >> 32) * kPeakDecayQ32 + ((d.peak & 0xFFFFFFFF) * kPeakDecayQ32 >> 32);
  d.peak = std::max(decayed, energy);
  d.smooth = (3 * d.smooth + energy) / 4;
  d.difference = (3 * d.difference + (d.peak - energy)) / 4;
  const uint64_t threshold = d.difference + d.difference / 2;
  if (threshold <= d.smooth) return kOneQ30;
  const Magnitude ratio = make_magnitude(d.smooth, 30) / make_magnitude(threshold, 0);
  // The ratio is below 2^30.
  return ratio.exponent < -31 ? 0 : static_cast<int32_t>(ratio.mantissa >> -ratio.exponent);
}

// Slot by slot, because the detectors of different bands do not wait for each other.
void damp_transients(PsSynthesisState& ps) {
  for (int slot = 0; slot < kQmfSlots; ++slot) {
    for (int band = 0; band < kPsBands; ++band) {
      ps.damping_q30[band][slot] = next_damping(ps.memory.detector[band], ps.energy[band][slot]);
    }
  }
}

// Kept: all modes of the coherence are mixed by the procedure of modes 0 to 2, on 20 parameter bands.
std::array<int32_t, kMixingEntries> mixing_of(const PsFrame& frame, int envelope, int band) {
  const int icc = std::clamp<int>(frame.icc[envelope][band], 0, 7);
  const int iid = frame.iid[envelope][band];
  const int row = frame.fine_iid ? kMixingRowFine[std::min(std::abs(iid), 15)]
                                 : kMixingRowCoarse[std::min(std::abs(iid), 7)];
  const int32_t(&m)[kMixingEntries] = kMixingQ30[row][icc];
  if (iid < 0) return {m[1], m[0], -m[3], -m[2]};
  return {m[0], m[1], m[2], m[3]};
}

// Interpolates linearly from `from`, reached before slot `first`, to `to`, reached at slot `end` - 1.
void interpolate_line(int32_t* row, int first, int end, int32_t from, int32_t to) {
  const int64_t step = (int64_t{to} - from) * (1 << kLineFraction) / (end - first);
  sbr_kernels().draw_line(row + first, end - first, from, step);
}

void interpolate_mixing(const PsFrame& frame, int band, PsSynthesisState& ps) {
  int32_t* const reached = ps.mixing_q30[band];
  int first = 0;
  for (int envelope = 0; envelope < frame.envelope_count; ++envelope) {
    const int end = std::min<int>(frame.border[envelope], kQmfSlots);
    const auto mixing = mixing_of(frame, envelope, band);
    for (int i = 0; i < kMixingEntries; ++i) {
      const int32_t target = mixing[static_cast<size_t>(i)];
      if (end > first) interpolate_line(ps.mixing_rows_q30[band][i], first, end, reached[i], target);
      reached[i] = target;
    }
    first = std::max(first, end);
  }
  if (first == kQmfSlots) return;
  for (int i = 0; i < kMixingEntries; ++i) {
    interpolate_line(ps.mixing_rows_q30[band][i], first, kQmfSlots, reached[i], reached[i]);
  }
}

}  // namespace

void PsSynthesis::configure() {
  std::memset(static_cast<void*>(this), 0, sizeof *this);
  // Until the first parameters are reached, both channels carry the signal.
  for (auto& entries : state.mixing_q30) entries[0] = entries[1] = kOneQ30;
}

void PsSynthesis::clear_signal() {
  std::memset(&state.memory, 0, sizeof state.memory);
}

void PsSynthesis::process(const PsFrame& frame, int band_end, int sounding_end, QmfMatrix& bands) {
  const SbrKernels& kernels = sbr_kernels();
  // The bands that the kernels need not compute are above the all-pass chains.
  const int end = std::max(sounding_end, kAllPassBands - kHybridBands + kSplitBands);
  clear_bands_above(band_end, state);
  kernels.split_bands(bands, end, state);
  kernels.measure_energies(bands, end, state);
  damp_transients(state);
  kernels.decorrelate(bands, state);
  for (int band = 0; band < kPsBands; ++band) interpolate_mixing(frame, band, state);
  kernels.mix_channels(state, end, bands);
}

}  // namespace zdr::aacdec
