// See filter_bank.h.
#include "aacdec/filter_bank.h"

#include <algorithm>

#include "aacdec/core_kernels.h"
#include "aacdec/core_synthesis.h"
#include "aacdec/fixed_point.h"
#include "aacdec/tables/window_tables.h"

namespace zdr::aacdec {
namespace {

// Where the short slope of a LONG_START or LONG_STOP window lies, and the first of eight short windows.
constexpr int kShortSlopeStart = (kFrameLength - kShortLength) / 2;
constexpr int kShortSlopeEnd = kShortSlopeStart + kShortLength;

const uint16_t* long_window(int shape) {
  return shape == 0 ? kLongSineWindow.value : kLongKbdWindow.value;
}

const uint16_t* short_window(int shape) {
  return shape == 0 ? kShortSineWindow.value : kShortKbdWindow.value;
}

int32_t weight(int32_t v, uint16_t window) {
  return mul_q31(v, int32_t{window} << 16);
}

// Sample i of a rising half with a short slope: 0, the slope, then the sample as it is.
int32_t weight_short_slope(int32_t v, int i, const uint16_t* window) {
  if (i < kShortSlopeStart) return 0;
  return i < kShortSlopeEnd ? weight(v, window[i - kShortSlopeStart]) : v;
}

// Sample i of the first and of the second half of the inverse transform whose DCT-IV is `y`, cut as the
// window kernels do it.
int32_t first_half(const int32_t* y, int i) {
  constexpr int kHalf = kFrameLength / 2;
  return (i < kHalf ? y[kHalf + i] : sub_wrapping(0, y[3 * kHalf - 1 - i])) >> 8;
}

int32_t second_half(const int32_t* y, int i) {
  constexpr int kHalf = kFrameLength / 2;
  return sub_wrapping(0, i < kHalf ? y[kHalf - 1 - i] : y[i - kHalf]) >> 8;
}

void window_first_half(const int32_t* y, const IcsInfo& ics, int shape, int32_t* time) {
  if (ics.window_sequence != WindowSequence::kLongStop) {
    core_kernels().window_rise(y, kFrameLength, long_window(shape), time);
    return;
  }
  for (int i = 0; i < kFrameLength; ++i) {
    time[i] = weight_short_slope(first_half(y, i), i, short_window(shape));
  }
}

void window_second_half(const int32_t* y, const IcsInfo& ics, int32_t* overlap) {
  if (ics.window_sequence != WindowSequence::kLongStart) {
    core_kernels().window_fall(y, kFrameLength, long_window(ics.window_shape), overlap);
    return;
  }
  for (int i = 0; i < kFrameLength; ++i) {
    overlap[i] = weight_short_slope(second_half(y, i), kFrameLength - 1 - i, short_window(ics.window_shape));
  }
}

// Adds up the eight windows of 2 * kShortLength samples, each kShortLength behind the one before; `sum`
// starts with the first one.
void overlap_short_windows(const int32_t* y, int previous_shape, int shape, int32_t* sum) {
  const CoreKernels& kernels = core_kernels();
  int32_t half[kShortLength];
  for (int w = 0; w < kMaxWindows; ++w) {
    const int32_t* const lines = y + kShortLength * w;
    int32_t* const start = sum + kShortLength * w;
    kernels.window_rise(lines, kShortLength, short_window(w == 0 ? previous_shape : shape), half);
    if (w == 0) {
      std::copy_n(half, kShortLength, start);
    } else {
      for (int i = 0; i < kShortLength; ++i) start[i] += half[i];
    }
    kernels.window_fall(lines, kShortLength, short_window(shape), start + kShortLength);
  }
}

void synthesise_long(const int32_t* spectrum, const IcsInfo& ics, CoreChannelState& state, int32_t* scratch,
                     int16_t* pcm, int stride) {
  int32_t* const time = scratch + kTransformWork;
  int32_t* const y = time + kFrameLength;
  core_kernels().dct4_long(spectrum, y, scratch);
  window_first_half(y, ics, state.previous_window_shape, time);
  core_kernels().put_samples(state.overlap, time, kFrameLength, pcm, stride);
  window_second_half(y, ics, state.overlap);
}

void synthesise_short(const int32_t* spectrum, const IcsInfo& ics, CoreChannelState& state, int32_t* scratch,
                      int16_t* pcm, int stride) {
  int32_t* const time = scratch;
  int32_t* const y = scratch + kTransformWork;
  core_kernels().dct4_short(spectrum, y, scratch);
  // The windows reach from kShortSlopeStart over kShortLength * 9 samples into the next frame.
  std::fill_n(time, 2 * kFrameLength, 0);
  overlap_short_windows(y, state.previous_window_shape, ics.window_shape, time + kShortSlopeStart);
  core_kernels().put_samples(state.overlap, time, kFrameLength, pcm, stride);
  std::copy_n(time + kFrameLength, kFrameLength, state.overlap);
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
  const bool short_rise = ics.window_sequence == WindowSequence::kLongStop;
  const bool short_fall = ics.window_sequence == WindowSequence::kLongStart;
  for (int i = 0; i < kFrameLength; ++i) {
    int32_t& early = signal[i];
    int32_t& late = signal[2 * kFrameLength - 1 - i];
    early = short_rise ? weight_short_slope(early, i, short_window(previous_shape))
                       : weight(early, long_window(previous_shape)[i]);
    late = short_fall ? weight_short_slope(late, i, short_window(ics.window_shape))
                      : weight(late, long_window(ics.window_shape)[i]);
  }
  // The folded signal is cut to 2^4 a step: the sum over a frame would not fit otherwise, and that is the
  // spectrum's scale.
  constexpr int kHalf = kFrameLength / 2;
  for (int i = 0; i < kHalf; ++i) {
    lines[i] = sub_wrapping(sub_wrapping(0, signal[3 * kHalf - 1 - i]), signal[3 * kHalf + i]) >> 3;
    lines[kHalf + i] = sub_wrapping(signal[i], signal[kFrameLength - 1 - i]) >> 3;
  }
  core_kernels().dct4_long(lines, lines, signal);
}

}  // namespace zdr::aacdec
