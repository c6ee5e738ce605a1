// Predicts a spectrum: transforms the past output with the windows of the frame and applies the inverse TNS
// filters before adding the result.
#include "aacdec/core/long_term_prediction.h"

#include <algorithm>

#include "aacdec/core/filter_bank.h"
#include "aacdec/core/noise_shaping.h"
#include "aacdec/core/sample_order.h"
#include "aacdec/fixed/fixed_point.h"
#include "aacdec/syntax/scale_factor_bands.h"
#include "aacdec/tables/tools_tables.h"

namespace zdr::aacdec {
namespace {

// The past at 2^7 per step: output samples, then the half that this frame will complete, then zeros.
class Past {
 public:
  explicit Past(const CoreChannelState& state) : history_(state.history) {
    SampleOrder::for_each([&](int place, int i) { half_[i] = shift_left_wrapping(state.overlap[place], 2); });
  }
  int32_t operator[](int i) const {
    if (i < kLtpHistory) return history_[i] * 128;
    return i < kLtpHistory + kFrameLength ? half_[i - kLtpHistory] : 0;
  }

 private:
  const int16_t* history_;
  int32_t half_[kFrameLength];
};

void make_prediction(const LtpData& ltp, const CoreChannelState& state, int32_t* signal) {
  const int32_t gain = kLtpGains[ltp.coefficient];
  const Past past(state);
  for (int i = 0; i < 2 * kFrameLength; ++i) {
    // Gains exceed 1 and are therefore in Q30.
    signal[i] = shift_left_wrapping(mul_q31(past[kLtpHistory - ltp.lag + i], gain), 1);
  }
}

}  // namespace

void predict_long_term(const ChannelStream& channel, const StreamFormat& format,
                       const CoreChannelState& state, int32_t* spectrum, int32_t* scratch) {
  const IcsInfo& ics = channel.ics;
  if (!channel.ltp.present || ics.is_short()) return;
  int32_t* const predicted = scratch + 3 * kFrameLength;
  make_prediction(channel.ltp, state, scratch);
  analyse_long(scratch, ics, state.previous_window_shape, predicted);
  undo_noise_shaping(channel, format, predicted, scratch);
  const ScaleFactorBands bands = scale_factor_bands(format.sampling_index, false);
  for (int sfb = 0; sfb < std::min<int>(ics.max_sfb, kMaxLtpBands); ++sfb) {
    if (!channel.ltp.long_used[sfb]) continue;
    for (int line = bands.offsets[sfb]; line < bands.offsets[sfb + 1]; ++line) {
      spectrum[line] = add_saturating(spectrum[line], predicted[line]);
    }
  }
}

void remember_output(CoreChannelState& state, const int16_t* pcm, int stride) {
  std::copy_n(state.history + kFrameLength, kFrameLength, state.history);
  for (int i = 0; i < kFrameLength; ++i) state.history[kFrameLength + i] = pcm[i * stride];
}

}  // namespace zdr::aacdec
