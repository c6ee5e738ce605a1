// The signal processing of the AAC core (ISO/IEC 14496-3, subpart 4): from the parsed frame to 16-bit PCM.
//
// Two steps a frame, so that a decoder can hold, attenuate or mix spectra in between:
//   reconstruct_spectra  quantised values and side information -> frame.spectrum
//   synthesise_core      frame.spectrum and the window data -> PCM
// Scale, as a power of two for one step of 16-bit PCM: spectrum 3, output of the transform 13, overlap 5.
#pragma once

#include <cstdint>

#include "aacdec/core/core_channel_state.h"
#include "aacdec/syntax/frame.h"

namespace zdr::aacdec {

// Plain memory without pointers. Start with reset(); one thread at a time.
struct CoreState {
  CoreChannelState channel[kMaxChannels];
  // Working memory of the functions below; nothing in it outlives a call.
  alignas(64) int32_t scratch[4 * kFrameLength];

  void reset();
};

// Fills frame.spectrum of all channels from what the parser left: dequantisation, noise substitution, stereo
// tools, long term prediction, temporal noise shaping. Advances the noise generators and reads the overlap
// and history of `state`, so the frame before has to be synthesised first. False when a quantised value is
// out of range (8192 or more): the frame is damaged, and its spectra mean nothing.
bool reconstruct_spectra(Frame& frame, const StreamFormat& format, CoreState& state);

// Turns frame.spectrum into kFrameLength samples a channel: dynamic range control (which changes the
// spectra), mix to mono when `output_channels` is 1 and the frame has 2 channels, filter bank, output.
// `pcm` receives channel c of sample i at [i * output_channels + c]; a mono frame leaves the second channel
// alone. Returns the channels written.
int synthesise_core(Frame& frame, CoreState& state, int profile, int output_channels, int16_t* pcm);

}  // namespace zdr::aacdec
