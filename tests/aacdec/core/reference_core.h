// The signal processing of the AAC core in double precision, written straight from the formulas of ISO/IEC
// 14496-3 with sums instead of fast transforms: what the fixed-point decoder is held against.
//
// It takes the same Frame records. Noise bands are left silent.
#pragma once

#include <span>
#include <vector>

#include "aacdec/syntax/frame.h"

namespace zdr::aacdec::test {

using Lines = std::vector<double>;

// In steps of 16-bit PCM, unclipped.
class ReferenceCore {
 public:
  ReferenceCore();
  // Lines of each channel after all spectral tools, in the standard's scale.
  std::vector<Lines> reconstruct(const Frame& frame, const StreamFormat& format);
  // Output of the frame's channels, kFrameLength samples each, unrounded.
  std::vector<Lines> synthesise(const Frame& frame, const std::vector<Lines>& spectra);
  // The history of long term prediction is what was put out, clipped and rounded by the decoder.
  void remember(int channel, std::span<const int16_t> pcm);

 private:
  struct Channel {
    Lines history;
    Lines overlap;
    int previous_shape = 0;
  };
  void add_prediction(int channel, const Frame& frame, const StreamFormat& format, Lines& spectrum);

  Channel channel_[kMaxChannels];
};

// The window of a whole long block, 2 * kFrameLength values. Not for eight short windows.
Lines long_block_window(WindowSequence sequence, int previous_shape, int shape);
// The inverse transform of the standard, factor 2 / N included, and the forward transform that matches it.
Lines inverse_transform(std::span<const double> lines);
Lines forward_transform(std::span<const double> samples);

}  // namespace zdr::aacdec::test
