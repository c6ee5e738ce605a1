// Chooses windows and overlaps long and short blocks; the transforms are kernels.
#include "aacdec/core/filter_bank.h"

#include <algorithm>

#include "aacdec/core/core_kernels.h"
#include "aacdec/core/sample_order.h"
#include "aacdec/fixed/fixed_point.h"
#include "aacdec/tables/window_tables.h"

namespace zdr::aacdec {
namespace {

// The sample at which the first of the eight short windows begins.
constexpr int kShortWindowsStart = (kFrameLength - kShortLength) / 2;

struct LongWindow {
  alignas(64) int32_t ordered[kFrameLength];  // for LongWindows
  alignas(64) uint16_t value[kFrameLength];
};

constexpr LongWindow both_orders(const WindowTable<kFrameLength>& window) {
  LongWindow both = {};
  SampleOrder::for_each([&](int place, int i) {
    both.ordered[place] = static_cast<int32_t>(window.value[i] * 0x10001U);
    both.value[i] = window.value[i];
  });
  return both;
}

// By window shape.
constexpr LongWindow kLongWindows[2] = {both_orders(kLongSineWindow), both_orders(kLongKbdWindow)};
constexpr LongWindow kShortSlopes[2] = {both_orders(kShortSineSlope), both_orders(kShortKbdSlope)};

const uint16_t* short_window(int shape) {
  return shape == 0 ? kShortSineWindow.value : kShortKbdWindow.value;
}

// The two halves of a long block's window, both in rising order.
const LongWindow& first_window(const IcsInfo& ics, int previous_shape) {
  return ics.window_sequence == WindowSequence::kLongStop ? kShortSlopes[previous_shape]
                                                          : kLongWindows[previous_shape];
}

const LongWindow& second_window(const IcsInfo& ics) {
  return ics.window_sequence == WindowSequence::kLongStart ? kShortSlopes[ics.window_shape]
                                                           : kLongWindows[ics.window_shape];
}

// mul_q31 by a Q15 window; 32768 leaves v unchanged.
int32_t weight(int32_t v, uint16_t window) {
  return with_sign_of(static_cast<uint32_t>(uint64_t{magnitude(v)} * window >> 15), v);
}

// Overlaps eight windows of 2 * kShortLength samples, each kShortLength after the previous one. `sum` begins
// with the first one and must be zero.
void overlap_short_windows(const int32_t* y, int previous_shape, int shape, int32_t* sum) {
  const CoreKernels& kernels = core_kernels();
  int32_t half[kShortLength];
  for (int w = 0; w < kMaxWindows; ++w) {
    const int32_t* const lines = y + kShortLength * w;
    int32_t* const start = sum + kShortLength * w;
    kernels.window_rise(lines, kShortLength, short_window(w == 0 ? previous_shape : shape), half);
    for (int i = 0; i < kShortLength; ++i) start[i] += half[i];
    kernels.window_fall(lines, kShortLength, short_window(shape), start + kShortLength);
  }
}

void synthesise_long(const int32_t* spectrum, const IcsInfo& ics, CoreChannelState& state, int32_t* scratch,
                     int16_t* pcm, int stride) {
  const LongWindows windows = {first_window(ics, state.previous_window_shape).ordered,
                               second_window(ics).ordered};
  core_kernels().put_long_block(spectrum, windows, state.overlap, pcm, stride, scratch);
}

void synthesise_short(const int32_t* spectrum, const IcsInfo& ics, CoreChannelState& state, int32_t* scratch,
                      int16_t* pcm, int stride) {
  int32_t* const time = scratch;
  int32_t* const y = scratch + kTransformWork;
  core_kernels().dct4_short(spectrum, y, scratch);
  // The windows cover kShortLength * 9 samples from kShortWindowsStart on, into the next frame.
  std::fill_n(time, 2 * kFrameLength, 0);
  overlap_short_windows(y, state.previous_window_shape, ics.window_shape, time + kShortWindowsStart);
  core_kernels().put_samples(time, state.overlap, pcm, stride);
}

}  // namespace

void synthesise_channel(const int32_t* spectrum, const IcsInfo& ics, CoreChannelState& state,
                        int32_t* scratch, int16_t* pcm, int stride) {
  if (ics.is_short()) {
    synthesise_short(spectrum, ics, state, scratch, pcm, stride);
  } else {
    synthesise_long(spectrum, ics, state, scratch, pcm, stride);
  }
  state.previous_window_shape = ics.window_shape;
}

void analyse_long(int32_t* signal, const IcsInfo& ics, int previous_shape, int32_t* lines) {
  const uint16_t* const rise = first_window(ics, previous_shape).value;
  const uint16_t* const fall = second_window(ics).value;
  for (int i = 0; i < kFrameLength; ++i) {
    int32_t& early = signal[i];
    int32_t& late = signal[2 * kFrameLength - 1 - i];
    early = weight(early, rise[i]);
    late = weight(late, fall[i]);
  }
  // The folded signal is reduced to 2^4 per step, which keeps the sum over a frame from overflowing and
  // yields the scale of the spectrum.
  constexpr int kHalf = kFrameLength / 2;
  for (int i = 0; i < kHalf; ++i) {
    lines[i] = sub_wrapping(sub_wrapping(0, signal[3 * kHalf - 1 - i]), signal[3 * kHalf + i]) >> 3;
    lines[kHalf + i] = sub_wrapping(signal[i], signal[kFrameLength - 1 - i]) >> 3;
  }
  core_kernels().dct4_long(lines, lines, signal);
}

}  // namespace zdr::aacdec
