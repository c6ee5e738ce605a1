// Runs the spectral tools and the filter bank on a frame.
#include "aacdec/core/core_synthesis.h"

#include <algorithm>
#include <cstring>

#include "aacdec/core/dequantiser.h"
#include "aacdec/core/dynamic_range_gain.h"
#include "aacdec/core/filter_bank.h"
#include "aacdec/core/long_term_prediction.h"
#include "aacdec/core/noise_shaping.h"
#include "aacdec/core/noise_substitution.h"
#include "aacdec/core/stereo_tools.h"

namespace zdr::aacdec {
namespace {

constexpr int kScratch = 4 * kFrameLength;
static_assert(kFilterBankScratch <= kScratch && kShapingScratch <= kScratch);

ScaleFactorBands bands_of(const Frame& frame, int channel, const StreamFormat& format) {
  return scale_factor_bands(format.sampling_index, frame.channel[channel].ics.is_short());
}

bool reconstruct_lines(Frame& frame, const StreamFormat& format, CoreState& state) {
  for (int c = 0; c < frame.channel_count; ++c) {
    ChannelStream& channel = frame.channel[c];
    const ScaleFactorBands bands = bands_of(frame, c, format);
    if (!dequantise(channel, bands, frame.quantised[c], frame.spectrum[c])) return false;
    std::fill(frame.spectrum[c] + kFrameLength, frame.spectrum[c] + kSpectrumLines, 0);
    if (!channel.uses_noise) continue;
    substitute_noise_bands(channel, bands, state.channel[c].noise_state, frame.spectrum[c]);
  }
  return true;
}

// Kept: the spectra are mixed and synthesised with the windows of the first channel, even if the windows of
// the second differ.
void mix_to_mono(Frame& frame) {
  for (int i = 0; i < kFrameLength; ++i) {
    const int64_t sum = int64_t{frame.spectrum[0][i]} + frame.spectrum[1][i];
    frame.spectrum[0][i] = static_cast<int32_t>(sum >> 1);
  }
}

}  // namespace

void CoreState::reset() {
  std::memset(this, 0, sizeof *this);
}

bool reconstruct_spectra(Frame& frame, const StreamFormat& format, CoreState& state) {
  if (!reconstruct_lines(frame, format, state)) return false;
  if (frame.channel_count == 2 && frame.is_pair) {
    apply_mid_side(frame, bands_of(frame, 0, format));
    apply_intensity(frame, bands_of(frame, 1, format));
  }
  if (format.profile == kProfileLtp) {
    for (int c = 0; c < frame.channel_count; ++c) {
      predict_long_term(frame.channel[c], format, state.channel[c], frame.spectrum[c], state.scratch);
    }
  }
  static_assert(sizeof state.scratch >= kShapingScratch * sizeof state.scratch[0]);
  shape_noise(frame, format, state.scratch);
  return true;
}

int synthesise_core(Frame& frame, CoreState& state, int profile, int output_channels, CoreOutput output) {
  if (frame.dynamic_range.band_count > 0) {
    for (int c = 0; c < frame.channel_count; ++c) apply_dynamic_range(frame.dynamic_range, frame.spectrum[c]);
  }
  if (frame.channel_count > output_channels) mix_to_mono(frame);
  const int channels = std::min(frame.channel_count, output_channels);
  for (int c = 0; c < channels; ++c) {
    CoreChannelState& channel = state.channel[c];
    int16_t* const pcm = output.pcm + c * output.channel_stride;
    synthesise_channel(frame.spectrum[c], frame.channel[c].ics, channel, state.scratch, pcm,
                       output.sample_stride);
    if (profile == kProfileLtp) remember_output(channel, pcm, output.sample_stride);
  }
  return channels;
}

}  // namespace zdr::aacdec
