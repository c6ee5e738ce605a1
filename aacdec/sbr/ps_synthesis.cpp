// Runs the steps of a frame, and computes transient damping and the mixing coefficients over time; the loops
// over samples are kernels.
#include "aacdec/sbr/ps_synthesis.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "aacdec/fixed/magnitude.h"
#include "aacdec/sbr/sbr_kernels.h"
#include "aacdec/tables/ps_constants.h"

namespace zdr::aacdec {
namespace {

constexpr int32_t kOneQ30 = 1 << 30;

void clear_delay_line(int k, PsSynthesisState::Memory& memory) {
  if (k >= kShortDelayBand) {
    memory.short_delay_re[k - kShortDelayBand] = memory.short_delay_im[k - kShortDelayBand] = 0;
    return;
  }
  if (k >= kAllPassBands) {
    std::fill(std::begin(memory.long_delay_re[k - kAllPassBands]),
              std::end(memory.long_delay_re[k - kAllPassBands]), 0);
    std::fill(std::begin(memory.long_delay_im[k - kAllPassBands]),
              std::end(memory.long_delay_im[k - kAllPassBands]), 0);
    return;
  }
  for (int i = 0; i < AllPassState::kInputSlots; ++i) {
    memory.all_pass.input_re[i][k] = memory.all_pass.input_im[i][k] = 0;
  }
  for (int i = 0; i < AllPassState::kLinkSlots; ++i) {
    memory.all_pass.link_re[i][k] = memory.all_pass.link_im[i][k] = 0;
  }
}

int sub_band_of(int band) {
  return band - kSplitBands + kHybridBands;
}

// Clears the delay lines above the last band of the signal: they would keep ringing after a header has
// lowered that band.
void clear_bands_above(int band_end, PsSynthesisState::Memory& memory) {
  const int first = sub_band_of(std::max(band_end, kSplitBands));
  for (int k = first; k < memory.delay_end; ++k) clear_delay_line(k, memory);
}

// The damping of the copy, Q30: the ratio of the energy to the threshold, which is larger.
int32_t damping_of(uint64_t energy, uint64_t threshold) {
  const Magnitude dividend = make_magnitude(energy, 30);
  const Magnitude divisor = make_magnitude(threshold, 0);
  const int shift = dividend.exponent - divisor.exponent;
  if (dividend.is_zero() || shift < 0) return 0;
  // A division of integers takes several times as long. This one yields at most 1 too much.
  const double ratio = static_cast<double>(dividend.mantissa) / static_cast<double>(divisor.mantissa);
  const auto damping = static_cast<int64_t>(ratio * static_cast<double>(int64_t{1} << shift));
  const bool too_large = damping * divisor.mantissa > int64_t{dividend.mantissa} << shift;
  return static_cast<int32_t>(damping - (too_large ? 1 : 0));
}

void damp_slot(PsSynthesisState& ps, int band, int slot, int32_t damping) {
  if (ps.damped_blocks[band] == 0) std::fill_n(ps.damping_q30[band], kQmfSlots, kOneQ30);
  ps.damped_blocks[band] |= static_cast<uint8_t>(1U << slot / kDampingBlock);
  ps.damping_q30[band][slot] = damping;
}

void damp_transients(PsSynthesisState& ps) {
  Transients found;
  sbr_kernels().find_transients(ps, found);
  uint32_t mixing_bands = 0;
  for (int band = 0; band < kPsBands; ++band) {
    mixing_bands |= static_cast<uint32_t>(ps.mixes_copy[band]) << band;
    ps.damped_blocks[band] = 0;
  }
  for (int slot = 0; slot < kQmfSlots; ++slot) {
    for (uint32_t bands = found.bands[slot] & mixing_bands; bands != 0; bands &= bands - 1) {
      const int band = std::countr_zero(bands);
      damp_slot(ps, band, slot, damping_of(found.energy[slot][band], found.threshold[slot][band]));
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
  clear_bands_above(band_end, state.memory);
  state.memory.delay_end = sub_band_of(end);
  kernels.split_bands(bands, end, state);
  for (int band = 0; band < kPsBands; ++band) interpolate_mixing(frame, band, state);
  damp_transients(state);
  kernels.decorrelate(bands, state);
  kernels.mix_channels(state, end, bands);
}

}  // namespace zdr::aacdec
