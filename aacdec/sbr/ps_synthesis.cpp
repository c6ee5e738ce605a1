// Runs the steps of a frame, and computes transient damping and the mixing coefficients over time; the loops
// over samples are kernels.
#include "aacdec/sbr/ps_synthesis.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
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

// The damping of the copy, Q30: the ratio of the energy to the threshold, which is larger.
int32_t damping_of(const Transient& transient) {
  const Magnitude ratio = make_magnitude(transient.energy, 30) / make_magnitude(transient.threshold, 0);
  return ratio.exponent < -31 ? 0 : static_cast<int32_t>(ratio.mantissa >> -ratio.exponent);
}

void damp_transients(PsSynthesisState& ps) {
  Transient transients[kPsBands * kQmfSlots];
  const int count = sbr_kernels().find_transients(ps, transients);
  for (int band = 0; band < kPsBands; ++band) {
    if (ps.mixes_copy[band]) std::fill_n(ps.damping_q30[band], kQmfSlots, kOneQ30);
  }
  for (int i = 0; i < count; ++i) {
    const Transient& transient = transients[i];
    ps.damping_q30[transient.band][transient.slot] = damping_of(transient);
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

// (to - from) / count with kLineFraction bits after the point.
int64_t line_step(int32_t from, int32_t to, int count) {
  const int64_t rise = int64_t{to} - from;
  // Nearly all envelopes have a power of two of slots.
  if (const auto slots = static_cast<uint32_t>(count); std::has_single_bit(slots)) {
    return rise * (1 << (kLineFraction - std::countr_zero(slots)));
  }
  return rise * (1 << kLineFraction) / count;
}

// Interpolates an entry linearly from the value reached before slot `first` to `to`, reached at slot
// `end` - 1. Without slots, the entry jumps.
void draw_line(PsSynthesisState& ps, int band, int entry, int first, int end, int32_t to) {
  int32_t& reached = ps.mixing_q30[band][entry];
  uint8_t& steady_slots = ps.steady_slots[band][entry];
  const int count = std::max(end - first, 0);
  if (to != reached) {
    steady_slots = 0;
  } else if (steady_slots == kQmfSlots) {
    return;
  } else {
    steady_slots = static_cast<uint8_t>(std::min(steady_slots + count, kQmfSlots));
  }
  if (count > 0) {
    int32_t* const row = ps.mixing_rows_q30[band][entry] + first;
    sbr_kernels().draw_line(row, count, reached, line_step(reached, to, count));
  }
  reached = to;
}

bool has_copy(const int32_t* mixing) {
  return mixing[2] != 0 || mixing[3] != 0;
}

void interpolate_mixing(const PsFrame& frame, int band, PsSynthesisState& ps) {
  int32_t* const reached = ps.mixing_q30[band];
  bool mixes_copy = has_copy(reached);
  int first = 0;
  for (int envelope = 0; envelope < frame.envelope_count; ++envelope) {
    const int end = std::min<int>(frame.border[envelope], kQmfSlots);
    const auto target = mixing_of(frame, envelope, band);
    for (int i = 0; i < kMixingEntries; ++i) {
      draw_line(ps, band, i, first, end, target[static_cast<size_t>(i)]);
    }
    mixes_copy |= has_copy(reached);
    first = std::max(first, end);
  }
  ps.mixes_copy[band] = mixes_copy;
  if (first == kQmfSlots) return;
  for (int i = 0; i < kMixingEntries; ++i) draw_line(ps, band, i, first, kQmfSlots, reached[i]);
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
  for (int band = 0; band < kPsBands; ++band) interpolate_mixing(frame, band, state);
  damp_transients(state);
  kernels.decorrelate(bands, state);
  kernels.mix_channels(state, end, bands);
}

}  // namespace zdr::aacdec
