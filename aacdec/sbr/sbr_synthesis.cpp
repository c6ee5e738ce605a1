// Turns core samples into QMF bands, adds the high bands and synthesises; carries state from frame to frame.
#include "aacdec/sbr/sbr_synthesis.h"

#include <algorithm>
#include <cstring>

#include "aacdec/sbr/sbr_hf_adjustment.h"
#include "aacdec/sbr/sbr_hf_generation.h"
#include "aacdec/sbr/sbr_kernels.h"

namespace zdr::aacdec {
namespace {

// The first of 64 QMF bands above half the rate after resampling, by class.
constexpr uint8_t kResamplingCut[9] = {64, 32, 16, 46, 23, 11, 42, 21, 10};

// The number of times that the concealment counter halves the levels.
int fade_of_counter(int counter) {
  return std::clamp(counter - 1, 0, kFadeToSilence);
}

// The bands of a frame: kx core bands, then m generated ones.
struct Range {
  int kx = kCoreBands;
  int m = 0;
  int end() const { return kx + m; }
};

Range range_of(const SbrChannelFrame& data) {
  if (data.status != SbrStatus::kParsed || data.bands.m == 0) return {};
  return {data.bands.kx, data.bands.m};
}

// Copies the last slots of the previous frame ahead of the analysed ones, in bands that were core bands in
// that frame.
void load_core_history(const SbrChannelState& state, QmfMatrix& bands) {
  for (int row = 0; row < kCoreBands; ++row) {
    if (row < state.kx) {
      copy_few_slots(state.core_re[row], kHistorySlots, bands.re[row]);
      copy_few_slots(state.core_im[row], kHistorySlots, bands.im[row]);
    } else {
      clear_few_columns(bands, row, 0, kHistorySlots);
    }
  }
}

// The slots of the previous frame past its end, in bands that were core bands in it and are high bands now.
void move_core_to_overlap(int first_high, int slots, SbrChannelState& state) {
  for (int row = first_high; row < state.kx; ++row) {
    copy_few_slots(state.core_re[row] + kLeadSlots, slots, state.overlap_re[row]);
    copy_few_slots(state.core_im[row] + kLeadSlots, slots, state.overlap_im[row]);
  }
}

void save_core_tail(const QmfMatrix& bands, int core_end, SbrChannelState& state) {
  for (int row = 0; row < core_end; ++row) {
    copy_few_slots(bands.re[row] + kQmfSlots, kHistorySlots, state.core_re[row]);
    copy_few_slots(bands.im[row] + kQmfSlots, kHistorySlots, state.core_im[row]);
  }
}

void extend_bands(SbrSynthesis& sbr, int channel, const SbrFrame& frame, int fade) {
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

// Copies the first slots, which belong to the previous frame. In bands that are core bands in both frames
// they are there already. Bands that had no samples are cleared.
void load_overlap(const SbrChannelState& state, Range range, int slots, QmfMatrix& bands) {
  if (slots == 0) return;
  const int end = state.kx + state.m;
  for (int row = std::min<int>(state.kx, range.kx); row < end; ++row) {
    copy_few_slots(state.overlap_re[row], slots, bands.re[row] + kLeadSlots);
    copy_few_slots(state.overlap_im[row], slots, bands.im[row] + kLeadSlots);
  }
  for (int row = end; row < range.end(); ++row) {
    clear_few_columns(bands, row, kLeadSlots, kLeadSlots + slots);
  }
}

void save_overlap(const QmfMatrix& bands, Range range, int slots, SbrChannelState& state) {
  constexpr int kFirst = kLeadSlots + kQmfSlots;
  if (slots == 0) return;
  for (int row = range.kx; row < range.end(); ++row) {
    copy_few_slots(bands.re[row] + kFirst, slots, state.overlap_re[row]);
    copy_few_slots(bands.im[row] + kFirst, slots, state.overlap_im[row]);
  }
}

// The slots of a frame past its end.
int overlap_slots(int end_border) {
  return 2 * (end_border - kSbrTimeSlots);
}

// Computes all bands of the output slots from the analysed core bands.
Range extend_channel(SbrSynthesis& sbr, int channel, const SbrFrame& frame, int fade) {
  SbrChannelState& state = sbr.channel[channel];
  const SbrChannelFrame& data = frame.channel[channel];
  const Range range = range_of(data);
  const int end_border = range.m > 0 ? data.grid.border[data.grid.envelope_count] : kSbrTimeSlots;
  const int slots_before = overlap_slots(state.end_border);
  load_core_history(state, sbr.bands);
  move_core_to_overlap(range.kx, slots_before, state);
  save_core_tail(sbr.bands, range.kx, state);
  // Kept: a frame without SBR data leaves the SBR state (smoothing, sinusoids, announced transient, noise
  // index) as it is.
  if (range.m > 0) extend_bands(sbr, channel, frame, fade);
  clear_rows(sbr.bands, range.end(), sbr.zero_rows);
  load_overlap(state, range, slots_before, sbr.bands);
  // Parametric stereo also writes bands above range.end(), all below kCoreBands.
  static_assert(kAllPassBands - kHybridBands + kSplitBands <= kCoreBands);
  sbr.zero_rows = std::max({range.end(), state.kx + state.m, kCoreBands});
  save_overlap(sbr.bands, range, overlap_slots(end_border), state);
  state.kx = static_cast<uint8_t>(range.kx);
  state.m = static_cast<uint8_t>(range.m);
  state.end_border = static_cast<uint8_t>(end_border);
  return range;
}

// Handles a change of the number of channels. A new channel continues from the one that was output in its
// place.
void set_core_channels(SbrSynthesis& sbr, int channels, PsSynthesis* ps) {
  if (sbr.core_channels == 1 && channels == 2) sbr.channel[1] = sbr.channel[0];
  if (sbr.core_channels == 2 && channels == 1 && ps != nullptr) ps->clear_signal();
  sbr.core_channels = channels;
}

void set_banks(SbrSynthesis& sbr, int banks) {
  if (sbr.banks == 1 && banks == 2) sbr.bank[1] = sbr.bank[0];
  sbr.banks = banks;
}

struct BandEnds {
  int range;     // of the bands of the frame
  int sounding;  // of all bands that are not 0: the first slots belong to the previous frame
};

// Computes all bands of the output, in sbr.bands, from the core samples.
BandEnds make_bands(SbrSynthesis& sbr, int channel, const SbrFrame& frame, int fade) {
  const int core_end = std::min(range_of(frame.channel[channel]).kx, kCoreBands);
  sbr_kernels().analyse(sbr.core_pcm[channel], core_end, sbr.channel[channel].analysis, sbr.scratch,
                        sbr.bands);
  const int end_before = sbr.channel[channel].kx + sbr.channel[channel].m;
  const int end = extend_channel(sbr, channel, frame, fade).end();
  const int cut = kResamplingCut[sbr.settings.resampling_class] * sbr.settings.rate_multiplier / 2;
  for (int row = cut; row < kQmfBands; ++row) {
    clear_columns(sbr.bands, row, kLeadSlots, kLeadSlots + kQmfSlots);
  }
  return {end, std::max({end, end_before, kSplitBands})};
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

SbrOutput SbrSynthesis::process_frame(const SbrFrame& frame, int channels, int fade_counter, PsSynthesis* ps,
                                      int16_t* pcm, int output_channels) {
  const int fade = fade_of_counter(fade_counter);
  const int band_count = settings.rate_multiplier * kCoreBands;
  const SbrChannelFrame& first = frame.channel[0];
  const bool has_ps_data = first.status == SbrStatus::kParsed && first.ps.present;
  const bool use_ps = channels == 1 && ps != nullptr && (ps->active || has_ps_data);
  const SbrOutput output{kQmfSlots * band_count, use_ps ? 2 : channels};
  set_core_channels(*this, channels, ps);
  set_banks(*this, output.channel_count);
  // The first of two output channels is written to `left`, and interleaved with the second one.
  const auto synthesise = [&](const QmfMatrix& from, int c, int band_end, int scale_bits) {
    sbr_kernels().synthesise(from, band_count, band_end, scale_bits, bank[c], scratch,
                             c == 0 ? nullptr : left, c + 1 < output_channels ? left : pcm);
  };
  if (use_ps) {
    ps->active = true;
    static constexpr PsFrame kNoData{};
    const BandEnds ends = make_bands(*this, 0, frame, fade);
    ps->process(has_ps_data ? first.ps : kNoData, ends.range, ends.sounding, bands);
    synthesise(bands, 0, ends.sounding, kPsOutputScaleBits);
    synthesise(ps->state.right, 1, ends.sounding, kPsOutputScaleBits);
    return output;
  }
  for (int c = 0; c < channels; ++c) {
    const BandEnds ends = make_bands(*this, c, frame, fade);
    synthesise(bands, c, ends.sounding, kSampleScaleBits);
  }
  if (channels < output_channels) {
    // The caller duplicates the channel.
    for (int i = 0; i < output.samples; ++i) pcm[2 * i] = left[i];
  }
  return output;
}

void merge_sbr_for_mono(SbrFrame& frame) {
  SbrChannelFrame& first = frame.channel[0];
  const SbrChannelFrame& second = frame.channel[1];
  if (first.status != SbrStatus::kParsed || second.status != SbrStatus::kParsed) return;
  // Kept: the result has the levels of the first channel alone, with the sinusoids of both over the larger
  // range.
  for (int band = 0; band < kMaxSbrBands; ++band) first.add_harmonic[band] |= second.add_harmonic[band];
  first.bands.kx = std::max(first.bands.kx, second.bands.kx);
  first.bands.m = std::max(first.bands.m, second.bands.m);
  first.bands.m = static_cast<uint8_t>(std::min<int>(first.bands.m, kQmfBands - first.bands.kx));
}

}  // namespace zdr::aacdec
