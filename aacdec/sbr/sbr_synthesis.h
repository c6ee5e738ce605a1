// Spectral band replication (SBR; ISO/IEC 14496-3, 4.6.18): the 16-bit core signal of a channel is split by
// QMF analysis, extended with high bands from the SBR data of the frame, and synthesised at twice the core
// rate or at the core rate. Before synthesis, parametric stereo turns one channel into two.
//
// Processing of a frame: QMF analysis -> generate_high_bands (copy up, inverse filter) -> adjust_high_bands
// (gains, noise, sinusoids) -> [PsSynthesis] -> QMF synthesis. All results are those of integer arithmetic:
// every machine produces the same PCM.
#pragma once

#include <cstdint>

#include "aacdec/sbr/ps_synthesis.h"
#include "aacdec/sbr/qmf_data.h"
#include "aacdec/sbr/sbr_channel_state.h"
#include "aacdec/sbr/sbr_levels.h"
#include "aacdec/syntax/sbr_frame.h"

namespace zdr::aacdec {

struct SbrSettings {
  int rate_multiplier = 2;  // 2: output at twice the core rate, 1: at the core rate
  // 1 to kResamplerClasses: the output resampler follows, and nothing is output above its band edge; 0: no
  // resampler.
  int resampling_class = 0;
};

// The result of process_frame().
struct SbrOutput {
  int samples = 0;        // of each channel: 2048 or 1024
  int channel_count = 1;  // also 2 if parametric stereo turned one channel into two
};

struct SbrSynthesis {
  SbrSettings settings;
  SbrChannelState channel[2];
  QmfSynthesisState bank[2];  // of the left and the right output
  // Of the previous frame: the number of core channels, and the number of synthesis banks that produced
  // output. The output of a single bank is used for both sides.
  int core_channels;
  int banks;

  // The 16-bit core samples of each channel. The caller writes them before process_frame(), which does not
  // change them.
  alignas(64) int16_t core_pcm[2][kQmfSlots * kCoreBands];

  // Working memory of both channels. Of its contents, only the order of the noise (levels.noise_table), what
  // levels.sine_count says and the rows of zeros are used again.
  QmfMatrix bands;
  int zero_rows;  // rows of `bands` from this one on are all zero
  QmfScratch scratch;
  // The first of two output channels, until the second one is interleaved with it.
  alignas(64) int16_t left[kQmfSlots * kQmfBands];
  RowScale scales[kQmfBands];
  alignas(64) SbrLevels levels;  // aligned: no register of levels crosses a cache line

  // Starts a stream: clears every delay line. Must be called before the first use.
  void configure(const SbrSettings& new_settings);

  // Processes a frame of one or two channels: reads the 1024 samples of each from `core_pcm` and writes
  // rate_multiplier times as many, sample i of channel c to pcm[i * output_channels + c]. A frame without SBR
  // data only passes through the filter banks. The channels of a pair are independent of each other.
  //
  // `fade_counter`: the concealment level by which the frame's spectrum was attenuated (2: to half, 3: to a
  // quarter, 4 and 5: silence), else 0. The levels of the high bands are faded accordingly.
  //
  // `ps`: the PS state of a decoder whose output has two channels, or null. From the first frame with PS data
  // on, a frame of one channel also writes the second output channel (channel_count is 2). Before such data
  // arrive, the caller duplicates the channel.
  //
  // `output_channels`: 1 or 2; at least `channels`, and 2 with `ps`.
  SbrOutput process_frame(const SbrFrame& frame, int channels, int fade_counter, PsSynthesis* ps,
                          int16_t* pcm, int output_channels);
};

// Prepares the data of two channels that are mixed to one before SBR: channel 0 gets the sinusoids of both
// and the larger band range.
void merge_sbr_for_mono(SbrFrame& frame);

}  // namespace zdr::aacdec
