// The bridging spectra against the same arithmetic in double precision.
#include "aacdec/concealment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>

namespace zdr::aacdec {
namespace {

constexpr double kMost = 2147483647.0;
// 0.3321 as it has always been rounded.
constexpr double kSameKind = 713193881.0 / 2147483648.0;

double limited(double v) {
  return std::clamp(v, -kMost - 1, kMost);
}

// Line `i` of the frame between `held` and `next`.
double expected_line(const int32_t* held, const int32_t* next, bool held_short, bool next_short, int i) {
  if (held_short == next_short) return limited(double{1} * held[i] + next[i]) * kSameKind;
  const int32_t* const long_lines = held_short ? next : held;
  const int32_t* const short_lines = held_short ? held : next;
  double average = 0;
  for (int window = 0; window < 8; ++window) average += std::floor(short_lines[128 * window + i / 8] / 8.0);
  return limited(long_lines[i] + average) / std::sqrt(2.0);
}

struct Case {
  bool held_short;
  bool next_short;
  WindowSequence sequence;
};
constexpr Case kCases[] = {{false, false, WindowSequence::kOnlyLong},
                           {false, true, WindowSequence::kLongStart},
                           {true, false, WindowSequence::kLongStop},
                           {true, true, WindowSequence::kEightShort}};

TEST(Concealment, BridgesEveryPairOfWindows) {
  std::mt19937 random(3);
  const auto held = std::make_unique<Frame>();
  const auto next = std::make_unique<Frame>();
  held->channel_count = next->channel_count = 2;
  for (int round = 0; round < 40; ++round) {
    const Case& c = kCases[round % 4];
    // Channel 1 has the windows the other way round; full scale now and then, where sums saturate.
    const bool shorts[2][2] = {{c.held_short, c.next_short}, {c.next_short, c.held_short}};
    for (int channel = 0; channel < 2; ++channel) {
      const auto sequence = [&](bool is_short) {
        return is_short ? WindowSequence::kEightShort : WindowSequence::kLongStop;
      };
      held->channel[channel].ics.window_sequence = sequence(shorts[channel][0]);
      held->channel[channel].ics.window_shape = 1;
      next->channel[channel].ics.window_sequence = sequence(shorts[channel][1]);
      for (Frame* frame : {held.get(), next.get()}) {
        for (int32_t& line : frame->spectrum[channel])
          line = static_cast<int32_t>(random()) >> (round % 5 * 4);
      }
    }
    const auto before = std::make_unique<Frame>(*held);
    bridge(*held, *next);
    EXPECT_EQ(held->channel[0].ics.window_sequence, c.sequence);
    EXPECT_EQ(held->channel[0].ics.window_shape, 1);
    for (int channel = 0; channel < 2; ++channel) {
      for (int i = 0; i < kFrameLength; ++i) {
        const double expected = expected_line(before->spectrum[channel], next->spectrum[channel],
                                              shorts[channel][0], shorts[channel][1], i);
        ASSERT_NEAR(held->spectrum[channel][i], expected, 4.0) << round << ' ' << channel << ' ' << i;
      }
    }
  }
}

}  // namespace
}  // namespace zdr::aacdec
