// The signal processing of the AAC core in double precision: the formulas of ISO/IEC 14496-3 with sums
// instead of fast transforms. The fixed-point decoder is compared with it.
#pragma once

#include <span>
#include <vector>

#include "aacdec/syntax/frame.h"

namespace zdr::test {

using Lines = std::vector<double>;

// In steps of 16-bit PCM, unclipped. Noise bands stay silent.
class ReferenceCore {
 public:
  ReferenceCore();
  // Lines of each channel after all spectral tools, in the standard's scale.
  std::vector<Lines> reconstruct(const aacdec::Frame& frame, const aacdec::StreamFormat& format);
  // Output of the frame's channels, kFrameLength samples each, unrounded.
  std::vector<Lines> synthesise(const aacdec::Frame& frame, const std::vector<Lines>& spectra);
  // Long term prediction refers to the output as the decoder has clipped and rounded it.
  void remember(int channel, std::span<const int16_t> pcm);

 private:
  struct Channel {
    Lines history;
    Lines overlap;
    int previous_shape = 0;
  };
  void add_prediction(int channel, const aacdec::Frame& frame, const aacdec::StreamFormat& format,
                      Lines& spectrum);

  Channel channel_[aacdec::kMaxChannels];
};

}  // namespace zdr::test
