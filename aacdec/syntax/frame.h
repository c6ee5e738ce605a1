// One frame as parsed: a value that holds all that synthesis needs of it, so that a decoder can keep two and
// swap them.
//
// The parser (raw_data_block.h) fills everything but `spectrum`. The spectral tools turn each channel's
// quantised values into `spectrum`, then the synthesis reads that. State that lives from frame to frame is
// elsewhere: BlockContext for the parser, the decoder's channel states for the synthesis.
#pragma once

#include <cstdint>

#include "aacdec/syntax/channel_data.h"
#include "aacdec/syntax/dynamic_range.h"
#include "aacdec/syntax/sbr_frame.h"

namespace zdr::aacdec {

// The default range of dynamic range control ends at line 1031; the lines behind 1023 only take its products.
inline constexpr int kSpectrumLines = kFrameLength + 8;

// The stereo tools' data of a channel pair.
struct PairData {
  bool common_window = false;
  uint8_t ms_mask_present = 0;      // 0 none, 1 by ms_used, 2 all bands, 3 (reserved) as 0
  uint8_t ms_used[kMaxBands] = {};  // indexed like the bands of a channel; all 0 unless ms_mask_present is 1
};

struct Frame {
  // 1 or 2 of the last block that parsed; two single channel elements are 2 without a pair.
  int channel_count = 0;
  bool is_pair = false;  // the channels come from a channel_pair_element
  PairData pair;         // valid when is_pair
  ChannelStream channel[kMaxChannels];
  DynamicRange dynamic_range;
  SbrFrame sbr;
  // In stream order, see channel_stream.h. Values in bands without a spectral book are not 0 where a pulse
  // fell: such bands are not dequantised.
  alignas(64) int16_t quantised[kMaxChannels][kFrameLength];
  // Dequantised and processed lines in 32-bit fixed point, channel by channel.
  alignas(64) int32_t spectrum[kMaxChannels][kSpectrumLines];
};

}  // namespace zdr::aacdec
