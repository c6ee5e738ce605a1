// Spectral band replication behind the filterbank (ISO/IEC 14496-3, 4.6.18): the 16-bit core signal of a
// channel goes through a QMF analysis, gets its high bands from the SBR data of the frame, and comes back at
// twice the core rate, or at the core rate. Parametric stereo makes two channels of one on the way.
//
// How a frame flows: qmf_analyse -> generate_high_bands (copy up, whiten) -> adjust_high_bands (gains, noise,
// sinusoids) -> [PsSynthesis] -> qmf_synthesise. Integer arithmetic only; the same PCM on every machine.
//
// How the decoder uses it: SbrSynthesis and, where it wants parametric stereo, PsSynthesis are plain memory
// in its own block. configure() both when a stream begins; then process_frame() for each frame put out.
#pragma once

#include <cstdint>

#include "aacdec/sbr/ps_synthesis.h"
#include "aacdec/sbr/qmf_data.h"
#include "aacdec/sbr/sbr_channel_state.h"
#include "aacdec/sbr/sbr_levels.h"
#include "aacdec/syntax/sbr_frame.h"

namespace zdr::aacdec {

struct SbrSettings {
  int rate_multiplier = 2;   // 2: output at twice the core rate, 1: at the core rate
  int resampling_class = 0;  // 1 to 8: of the output resampler that follows, whose band edge is kept; 0: none
};

// What process_frame() wrote.
struct SbrOutput {
  int samples = 0;        // of each channel: 2048 or 1024
  int channel_count = 1;  // 2 also when parametric stereo made two channels of one
};

struct SbrSynthesis {
  SbrSettings settings;
  SbrChannelState channel[2];
  QmfSynthesisState bank[2];  // of the left and the right output
  // Of the frame before: the channels that the core made, and the banks that put them out. What a single one
  // puts out is heard from both sides.
  int core_channels;
  int banks;

  // Shared by both channels; means nothing between calls.
  QmfMatrix bands;
  QmfScratch scratch;
  SbrCoreTail core_tail;
  RowScale scales[kQmfBands];
  SbrLevels levels;

  // Begins a stream: every delay line is cleared.
  void configure(const SbrSettings& new_settings);

  // Puts out a frame of one or two core channels. The 1024 core samples of each stand at
  // pcm[i * stride + channel] and are replaced by rate_multiplier times as many. A frame without SBR data
  // only passes through the banks. The channels of a pair are independent of each other.
  //
  // `fade_counter`: the concealment counter when the frame's spectrum was attenuated by it (2: to half, 3: to
  // a quarter, 4 and 5: silence), else 0: the high bands' own levels fade in step.
  //
  // `ps`: null, or the parametric stereo state of a decoder whose output has two channels; then stride is 2
  // or more, and of a frame with one channel pcm[i * stride + 1] is written as well from the first frame with
  // parametric stereo data on (channel_count says so). Without such data the caller copies the one channel.
  SbrOutput process_frame(const SbrFrame& frame, int channels, int fade_counter, PsSynthesis* ps,
                          int16_t* pcm, int stride);
};

// For two channels that are mixed to one before SBR: channel 0 gets the sinusoids of both and the larger band
// range; all else stays that of channel 0.
void merge_sbr_for_mono(SbrFrame& frame);

}  // namespace zdr::aacdec
