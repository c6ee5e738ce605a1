#include "aacdec/sbr_synthesis.h"

#include <algorithm>
#include <cstring>

namespace zdr::aacdec {
namespace {

// First QMF band at the output's half rate after resampling, by class, of 64.
constexpr uint8_t kResamplingCut[9] = {64, 32, 16, 46, 23, 11, 42, 21, 10};

// The concealment counter's attenuations, as halvings.
int fade_of_counter(int counter) {
  return std::clamp(counter - 1, 0, kFadeToSilence);
}

// The bands that a frame has: kx core bands, then m made ones.
struct Range {
  int kx = kCoreBands;
  int m = 0;
  int end() const { return kx + m; }
};

Range range_of(const SbrChannelFrame& data) {
  if (data.status != SbrStatus::kParsed || data.bands.m == 0) return {};
  return {data.bands.kx, data.bands.m};
}

void clear_row(QmfMatrix& bands, int row, int first, int end) {
  std::fill(bands.re[row] + first, bands.re[row] + end, 0);
  std::fill(bands.im[row] + first, bands.im[row] + end, 0);
}

// In front of the analysed slots come the last ones of the frame before, as far as they were core bands then.
void lay_core_history(const SbrChannelState& state, QmfMatrix& bands) {
  for (int row = 0; row < kCoreBands; ++row) {
    if (row < state.kx) {
      std::copy_n(state.core.re[row], kHistorySlots, bands.re[row]);
      std::copy_n(state.core.im[row], kHistorySlots, bands.im[row]);
    } else {
      clear_row(bands, row, 0, kHistorySlots);
    }
  }
}

void copy_core_tail(const QmfMatrix& bands, SbrCoreTail& tail) {
  for (int row = 0; row < kCoreBands; ++row) {
    std::copy_n(bands.re[row] + kQmfSlots, kHistorySlots, tail.re[row]);
    std::copy_n(bands.im[row] + kQmfSlots, kHistorySlots, tail.im[row]);
  }
}

void make_high_bands(SbrSynthesis& sbr, int channel, const SbrFrame& frame, int fade) {
  SbrChannelState& state = sbr.channel[channel];
  const SbrChannelFrame& data = frame.channel[channel];
  if (state.bands_generation != data.bands_generation) {
    state.bands_generation = data.bands_generation;
    state.noise_index = 0;
    state.has_gain_history = false;
  }
  generate_high_bands(data, state, sbr.bands, sbr.scales);
  adjust_high_bands(frame, channel, fade, sbr.scales, state, sbr.levels, sbr.bands);
}

// A frame without high bands breaks what goes on from frame to frame.
void skip_high_bands(SbrChannelState& state) {
  state.has_gain_history = false;
  state.transient_at_end = false;
  std::fill_n(state.sine, kQmfBands, false);
}

// The first slots belong to the frame before, with its borders between core and high bands.
void lay_overlap(const SbrChannelState& state, int slots, QmfMatrix& bands) {
  const int end = state.kx + state.m;
  for (int row = 0; row < kQmfBands; ++row) {
    if (row < state.kx) {
      std::copy_n(state.core.re[row] + kLeadSlots, slots, bands.re[row] + kLeadSlots);
      std::copy_n(state.core.im[row] + kLeadSlots, slots, bands.im[row] + kLeadSlots);
    } else if (row < end) {
      std::copy_n(state.overlap_re[row], slots, bands.re[row] + kLeadSlots);
      std::copy_n(state.overlap_im[row], slots, bands.im[row] + kLeadSlots);
    } else {
      clear_row(bands, row, kLeadSlots, kLeadSlots + slots);
    }
  }
}

void keep_overlap(const QmfMatrix& bands, Range range, SbrChannelState& state) {
  constexpr int kFirst = kLeadSlots + kQmfSlots;
  for (int row = range.kx; row < range.end(); ++row) {
    std::copy_n(bands.re[row] + kFirst, SbrChannelState::kOverlapSlots, state.overlap_re[row]);
    std::copy_n(bands.im[row] + kFirst, SbrChannelState::kOverlapSlots, state.overlap_im[row]);
  }
}

// The hybrid filters look ahead in the lowest bands, as far as they are core bands.
void clear_slots_ahead(Range range, QmfMatrix& bands) {
  for (int row = range.kx; row < kSplitBands; ++row) clear_row(bands, row, kLeadSlots + kQmfSlots, kRowSlots);
}

// From analysed core bands to all bands of the output's slots.
Range extend_channel(SbrSynthesis& sbr, int channel, const SbrFrame& frame, int fade) {
  SbrChannelState& state = sbr.channel[channel];
  const SbrChannelFrame& data = frame.channel[channel];
  const Range range = range_of(data);
  lay_core_history(state, sbr.bands);
  copy_core_tail(sbr.bands, sbr.core_tail);
  if (range.m > 0) {
    make_high_bands(sbr, channel, frame, fade);
  } else {
    skip_high_bands(state);
  }
  for (int row = range.end(); row < kQmfBands; ++row) clear_row(sbr.bands, row, 0, kRowSlots);
  lay_overlap(state, 2 * (state.end_border - kSbrTimeSlots), sbr.bands);
  keep_overlap(sbr.bands, range, state);
  clear_slots_ahead(range, sbr.bands);
  state.core = sbr.core_tail;
  state.kx = static_cast<uint8_t>(range.kx);
  state.m = static_cast<uint8_t>(range.m);
  state.end_border = range.m > 0 ? data.grid.border[data.grid.envelope_count] : kSbrTimeSlots;
  return range;
}

}  // namespace

void SbrSynthesis::configure(const SbrSettings& new_settings) {
  std::memset(static_cast<void*>(this), 0, sizeof *this);
  settings = new_settings;
  for (SbrChannelState& state : channel) {
    state.kx = kCoreBands;
    state.end_border = kSbrTimeSlots;
  }
}

SbrOutput SbrSynthesis::process_channel(int channel_index, const SbrFrame& frame, int fade_counter,
                                        PsSynthesis* ps, int16_t* pcm, int stride) {
  SbrChannelState& state = channel[channel_index];
  const SbrChannelFrame& data = frame.channel[channel_index];
  qmf_analyse(pcm, stride, state.analysis, scratch, bands);
  const Range range = extend_channel(*this, channel_index, frame, fade_of_counter(fade_counter));
  const int cut = kResamplingCut[settings.resampling_class] * settings.rate_multiplier / 2;
  for (int row = cut; row < kQmfBands; ++row) clear_row(bands, row, kLeadSlots, kLeadSlots + kQmfSlots);

  const int band_count = settings.rate_multiplier * kCoreBands;
  const bool has_ps_data = data.status == SbrStatus::kParsed && data.ps.present;
  if (ps == nullptr || !(ps->active || has_ps_data)) {
    qmf_synthesise(bands, band_count, kSampleScaleBits, state.synthesis, scratch, pcm, stride);
    return {kQmfSlots * band_count, 1};
  }
  // Until now the right channel was a copy of the left one.
  if (!ps->active) ps->right_bank = state.synthesis;
  ps->active = true;
  static constexpr PsFrame kNoData{};
  ps->process(has_ps_data ? data.ps : kNoData, range.end(), bands);
  qmf_synthesise(bands, band_count, kPsOutputScaleBits, state.synthesis, scratch, pcm, stride);
  qmf_synthesise(ps->right, band_count, kPsOutputScaleBits, ps->right_bank, scratch, pcm + 1, stride);
  return {kQmfSlots * band_count, 2};
}

void merge_sbr_for_mono(SbrFrame& frame) {
  SbrChannelFrame& first = frame.channel[0];
  const SbrChannelFrame& second = frame.channel[1];
  if (first.status != SbrStatus::kParsed || second.status != SbrStatus::kParsed) return;
  // The levels of the second channel are left out.
  for (int band = 0; band < kMaxSbrBands; ++band) first.add_harmonic[band] |= second.add_harmonic[band];
  first.bands.kx = std::max(first.bands.kx, second.bands.kx);
  first.bands.m = std::max(first.bands.m, second.bands.m);
  first.bands.m = static_cast<uint8_t>(std::min<int>(first.bands.m, kQmfBands - first.bands.kx));
}

}  // namespace zdr::aacdec
