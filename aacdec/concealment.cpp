// Fades long gaps, and bridges short ones with the mix of the frames at their edges.
#include "aacdec/concealment.h"

#include <algorithm>
#include <iterator>

#include "aacdec/fixed/fixed_point.h"

namespace zdr::aacdec {
namespace {

constexpr int kFirstFadedLevel = 2;   // a half
constexpr int kLastAudibleLevel = 3;  // a quarter
constexpr int32_t kHalfQ31 = 0x40000000;
constexpr int32_t kQuarterQ31 = 0x20000000;
// Kept: the weight of each of two frames with windows of the same kind. The mean of two equal frames is 3.55
// dB below their level.
constexpr int32_t kSameKindQ31 = 713193881;    // 0.3321
constexpr int32_t kMixedKindQ31 = 1518500249;  // 1/sqrt(2)

using Lines = int32_t[kSpectrumLines];

void mix_same_kind(Lines& held, const Lines& next) {
  for (int i = 0; i < kFrameLength; ++i) held[i] = mul_q31(add_saturating(held[i], next[i]), kSameKindQ31);
}

// Adds the mean of eight short windows to a long spectrum: each short line covers eight long ones.
void mix_long_and_short(Lines& result, const Lines& long_lines, const Lines& short_lines) {
  int32_t average[kShortLength];
  for (int line = 0; line < kShortLength; ++line) {
    average[line] = 0;
    for (int window = 0; window < kMaxWindows; ++window) {
      average[line] += short_lines[window * kShortLength + line] >> 3;
    }
  }
  for (int i = 0; i < kFrameLength; ++i) {
    result[i] = mul_q31(add_saturating(long_lines[i], average[i / kMaxWindows]), kMixedKindQ31);
  }
}

WindowSequence bridging_sequence(bool held_is_short, bool next_is_short) {
  if (held_is_short) return next_is_short ? WindowSequence::kEightShort : WindowSequence::kLongStop;
  return next_is_short ? WindowSequence::kLongStart : WindowSequence::kOnlyLong;
}

}  // namespace

void LossCounters::count_lost() {
  ++lost;
  level = std::min(level + 1, kMaxLevel);
}

void LossCounters::count_received() {
  lost = 0;
  if (level > 1) --level;
}

void fade(Frame& frame, int level) {
  if (level < kFirstFadedLevel) return;
  if (level > kLastAudibleLevel) return silence(frame);
  const int32_t factor_q31 = level == kFirstFadedLevel ? kHalfQ31 : kQuarterQ31;
  for (auto& lines : frame.spectrum) {
    for (int32_t& line : lines) line = mul_q31(line, factor_q31);
  }
}

void bridge(Frame& held, const Frame& next) {
  for (int c = 0; c < held.channel_count; ++c) {
    IcsInfo& ics = held.channel[c].ics;
    const bool held_is_short = ics.is_short();
    const bool next_is_short = next.channel[c].ics.is_short();
    if (held_is_short == next_is_short) {
      mix_same_kind(held.spectrum[c], next.spectrum[c]);
    } else if (held_is_short) {
      mix_long_and_short(held.spectrum[c], next.spectrum[c], held.spectrum[c]);
    } else {
      mix_long_and_short(held.spectrum[c], held.spectrum[c], next.spectrum[c]);
    }
    ics.window_sequence = bridging_sequence(held_is_short, next_is_short);
  }
}

void silence(Frame& frame) {
  for (auto& lines : frame.spectrum) std::fill(std::begin(lines), std::end(lines), 0);
}

}  // namespace zdr::aacdec
