// Reference model of the AAC core in double precision: the formulas of ISO/IEC 14496-3, with plain sums
// instead of fast transforms.
#pragma once

#include <span>
#include <vector>

#include "aacdec/syntax/frame.h"

namespace zdr::test {

using Lines = std::vector<double>;

// Output is in steps of 16-bit PCM, unclipped. Noise bands stay silent.
class ReferenceCore {
 public:
  ReferenceCore();
  // Returns the lines of each channel after all spectral tools, in the scale of the standard.
  std::vector<Lines> reconstruct(const aacdec::Frame& frame, const aacdec::StreamFormat& format);
  // Returns kFrameLength unrounded samples for each channel of the frame.
  std::vector<Lines> synthesise(const aacdec::Frame& frame, const std::vector<Lines>& spectra);
  // Stores the clipped and rounded output of the decoder, to which long term prediction refers.
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
