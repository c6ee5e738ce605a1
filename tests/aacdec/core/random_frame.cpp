#include "tests/aacdec/core/random_frame.h"

#include <algorithm>

#include "aacdec/syntax/scale_factor_bands.h"

namespace zdr::aacdec::test {

void FrameMaker::make_ics(IcsInfo& ics) {
  ics = IcsInfo();
  ics.window_sequence = static_cast<WindowSequence>(pick(0, 3));
  ics.window_shape = static_cast<uint8_t>(pick(0, 1));
  ics.band_count = static_cast<uint8_t>(scale_factor_bands(format_.sampling_index, ics.is_short()).count);
  ics.max_sfb = static_cast<uint8_t>(chance(30) ? ics.band_count : pick(0, ics.band_count));
  if (!ics.is_short()) return;
  for (int window = 1; window < kMaxWindows; ++window) {
    if (chance(50)) ics.group_length[ics.group_count++] = 0;
    ++ics.group_length[ics.group_count - 1];
  }
}

void FrameMaker::make_bands(ChannelStream& channel, bool second_of_pair, int16_t* quantised) {
  const IcsInfo& ics = channel.ics;
  for (int g = 0; g < ics.group_count; ++g) {
    for (int sfb = 0; sfb < ics.band_count; ++sfb) {
      const int band = ics.band(g, sfb);
      const bool intensity = second_of_pair && chance(20);
      const int book = intensity ? pick(kIntensityOutOfPhaseBook, kIntensityInPhaseBook)
                                 : (chance(20) ? kZeroBook : pick(1, 11));
      channel.codebook[band] = static_cast<uint8_t>(sfb < ics.max_sfb ? book : kZeroBook);
      channel.scale[band] = static_cast<int16_t>(intensity ? pick(-8, 20) : pick(94, 144));
    }
  }
  fill_values(channel, quantised);
}

void FrameMaker::fill_values(ChannelStream& channel, int16_t* quantised) {
  // Mostly small values, like in streams; a few with escapes where the codebook has them.
  const IcsInfo& ics = channel.ics;
  const ScaleFactorBands bands = scale_factor_bands(format_.sampling_index, ics.is_short());
  int16_t* group_start = quantised;
  for (int g = 0; g < ics.group_count; ++g) {
    for (int sfb = 0; sfb < ics.band_count; ++sfb) {
      const int largest = channel.codebook[ics.band(g, sfb)] == 11 ? 400 : 12;
      for (int k = bands.offsets[sfb] * ics.group_length[g]; k < bands.offsets[sfb + 1] * ics.group_length[g];
           ++k) {
        const int limit = std::min(largest, chance(2) ? 400 : (chance(20) ? 20 : 3));
        group_start[k] = static_cast<int16_t>(pick(-limit, limit));
      }
    }
    group_start += ics.group_length[g] * ics.window_length();
  }
}

void FrameMaker::make_tns(ChannelStream& channel) {
  channel.tns.present = chance(50);
  const bool is_short = channel.ics.is_short();
  for (int w = 0; w < channel.ics.window_count(); ++w) {
    TnsWindow& window = channel.tns.window[w];
    window = TnsWindow();
    window.filter_count = static_cast<uint8_t>(pick(0, is_short ? 1 : 3));
    window.resolution = static_cast<uint8_t>(pick(3, 4));
    for (int f = 0; f < window.filter_count; ++f) {
      TnsFilter& filter = window.filter[f];
      filter.length = static_cast<uint8_t>(pick(0, is_short ? 15 : 40));
      filter.order = static_cast<uint8_t>(pick(0, is_short ? kMaxTnsOrderShort : kMaxTnsOrder));
      filter.downwards = chance(50);
      const int reach = window.resolution == 4 ? 3 : 1;
      for (int8_t& field : filter.coefficient) field = static_cast<int8_t>(pick(-reach, reach));
    }
  }
}

void FrameMaker::make_ltp(ChannelStream& channel) {
  channel.ltp = LtpData();
  if (format_.profile != kProfileLtp || channel.ics.is_short()) return;
  channel.ltp.present = chance(70);
  channel.ltp.lag = static_cast<uint16_t>(pick(0, 2047));
  channel.ltp.coefficient = static_cast<uint8_t>(pick(0, 7));
  for (int sfb = 0; sfb < std::min<int>(kMaxLtpBands, channel.ics.max_sfb); ++sfb) {
    channel.ltp.long_used[sfb] = chance(60);
  }
}

void FrameMaker::make_pair(Frame& frame) {
  frame.pair = PairData();
  frame.pair.common_window = chance(60);
  if (!frame.pair.common_window) return;
  frame.channel[1].ics = frame.channel[0].ics;
  frame.pair.ms_mask_present = static_cast<uint8_t>(pick(0, 3));
  if (frame.pair.ms_mask_present != 1) return;
  for (uint8_t& used : frame.pair.ms_used) used = chance(50);
}

void FrameMaker::make(int channels, Frame& frame) {
  frame.channel_count = channels;
  frame.is_pair = channels == 2 && chance(80);
  for (int c = 0; c < channels; ++c) make_ics(frame.channel[c].ics);
  if (frame.is_pair) make_pair(frame);
  for (int c = 0; c < channels; ++c) {
    make_bands(frame.channel[c], frame.is_pair && c == 1, frame.quantised[c]);
    make_tns(frame.channel[c]);
    make_ltp(frame.channel[c]);
  }
}

}  // namespace zdr::aacdec::test
