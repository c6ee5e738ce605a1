// The signal processing of the AAC core (ISO/IEC 14496-3, 4.6): from the parsed frame to 16-bit PCM.
//
// A frame is processed in two steps, so that a decoder can hold, attenuate or mix spectra in between:
//   reconstruct_spectra  quantised values and side information -> frame.spectrum
//   synthesise_core      frame.spectrum and the window data -> PCM
//
// One step of 16-bit PCM is 2^3 in the spectrum, 2^13 in the output of the transform, 2^5 in the overlap.
#pragma once

#include <cstdint>

#include "aacdec/core/core_channel_state.h"
#include "aacdec/syntax/frame.h"

namespace zdr::aacdec {

// Call reset() before the first use.
struct CoreState {
  CoreChannelState channel[kMaxChannels];
  // Working memory of the functions below; its contents are not preserved between calls.
  alignas(64) int32_t scratch[4 * kFrameLength];

  void reset();
};

// Computes frame.spectrum of all channels from the parsed data: dequantisation, PNS, M/S and intensity
// stereo, LTP, TNS. Advances the noise generators and reads the overlap and history of `state`, so the
// previous frame must be synthesised first. False if a quantised value is out of range (8192 or more): the
// frame is damaged, and its spectra are unspecified.
bool reconstruct_spectra(Frame& frame, const StreamFormat& format, CoreState& state);

// Where synthesise_core() writes: sample i of channel c is pcm[c * channel_stride + i * sample_stride].
struct CoreOutput {
  int16_t* pcm = nullptr;
  int channel_stride = 1;
  int sample_stride = 1;  // 1 or 2
};

// Turns frame.spectrum into kFrameLength samples per channel: DRC and the mix to mono (both change the
// spectra), filter bank, output. Mixes to mono if `output_channels` is 1 and the frame has 2 channels.
// Returns the number of channels written, the smaller of frame.channel_count and `output_channels`.
int synthesise_core(Frame& frame, CoreState& state, int profile, int output_channels, CoreOutput output);

}  // namespace zdr::aacdec
