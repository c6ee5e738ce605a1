// Reference model of SBR with parametric stereo in double precision.
#pragma once

#include <algorithm>
#include <array>
#include <vector>

#include "tests/aacdec/sbr/ps_reference.h"
#include "tests/aacdec/sbr/sbr_channel_reference.h"

namespace zdr::test {

class SbrReference {
 public:
  using Signal = std::vector<double>;

  // `resampling_cut` is the first silent band, 64 if there is none.
  SbrReference(size_t rate_multiplier, size_t resampling_cut)
      : cut_(resampling_cut),
        banks_{QmfSynthesisReference(32 * rate_multiplier), QmfSynthesisReference(32 * rate_multiplier)} {}

  // Processes a frame: 1024 core samples of one or two channels. Returns 1024 or 2048 samples per channel;
  // with `stereo`, one core channel yields two once parametric stereo data have arrived. `level` scales the
  // high bands.
  std::vector<Signal> process(const aacdec::SbrFrame& frame, const std::vector<Signal>& cores, bool stereo,
                              double level) {
    const aacdec::SbrChannelFrame& first = frame.channel[0];
    const bool has_ps = first.status == aacdec::SbrStatus::kParsed && first.ps.present;
    const bool mixes = stereo && cores.size() == 1 && (ps_active_ || has_ps);
    // A new channel or side starts with the state of the existing one.
    if (cores_before_ < cores.size()) channels_[1] = channels_[0];
    if (cores_before_ > cores.size()) ps_.forget_signal();
    const size_t sides = mixes ? 2 : cores.size();
    if (sides_before_ < sides) banks_[1] = banks_[0];
    cores_before_ = cores.size();
    sides_before_ = sides;

    std::vector<std::vector<Slot>> x(sides);
    for (size_t c = 0; c < cores.size(); ++c) {
      x[c] = channels_[c].process(frame, c, cores[c], level);
      for (Slot& slot : x[c]) std::fill(slot.begin() + static_cast<std::ptrdiff_t>(cut_), slot.end(), 0);
    }
    if (mixes) {
      ps_active_ = true;
      const std::vector<Slot> mono = x[0];
      ps_.process(has_ps ? first.ps : aacdec::PsFrame{}, channels_[0].band_end(), mono, x[0], x[1]);
    }
    std::vector<Signal> out(sides);
    for (size_t c = 0; c < sides; ++c) {
      for (size_t l = 0; l < 32; ++l) banks_[c].slot(x[c][l], out[c]);
    }
    return out;
  }

 private:
  size_t cut_;
  std::array<SbrChannelReference, 2> channels_;
  std::array<QmfSynthesisReference, 2> banks_;
  PsReference ps_;
  bool ps_active_ = false;
  size_t cores_before_ = 0, sides_before_ = 0;
};

}  // namespace zdr::test
