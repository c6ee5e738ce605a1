// One frame: a value with everything that synthesis needs, so that a decoder can hold two and swap them.
//
// The parser fills everything except `spectrum`. The spectral tools compute `spectrum` from the quantised
// values, and the synthesis reads it. State that outlives a frame is in BlockContext for the parser, and in
// the channel states for the synthesis.
#pragma once

#include <cstdint>

#include "aacdec/syntax/channel_data.h"
#include "aacdec/syntax/dynamic_range.h"
#include "aacdec/syntax/sbr_frame.h"

namespace zdr::aacdec {

// The default DRC band ends at line 1031; the lines after 1023 only receive its results.
inline constexpr int kSpectrumLines = kFrameLength + 8;

// Side information of the stereo tools of a channel pair: M/S and intensity.
struct PairData {
  bool common_window = false;
  uint8_t ms_mask_present = 0;  // 0 none, 1 by ms_used, 2 all bands, 3 reserved, acts as 0
  uint8_t ms_used[kMaxBands];   // indexed like the bands of a channel; all 0 unless ms_mask_present is 1
};

struct Frame {
  // 1 or 2, from the last successfully parsed block. Two single channel elements give 2 channels that are not
  // a pair.
  int channel_count = 0;
  bool is_pair = false;  // the channels come from a channel_pair_element
  PairData pair;         // valid when is_pair
  ChannelStream channel[kMaxChannels];
  DynamicRange dynamic_range;
  SbrFrame sbr;
  // In stream order, as channel_data.h defines it. Pulses may make values in bands without a spectral book
  // non-zero; such bands are not dequantised.
  alignas(64) int16_t quantised[kMaxChannels][kFrameLength];
  // Dequantised and processed lines at 2^3 per step of 16-bit PCM.
  alignas(64) int32_t spectrum[kMaxChannels][kSpectrumLines];
};

}  // namespace zdr::aacdec
