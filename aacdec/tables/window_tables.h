// Rising window halves of the filter bank (sine and Kaiser-Bessel derived, KBD), in Q15; the falling half is
// the mirror image. Values that round to 1 are 32767. From ISO/IEC 14496-3, 4.6.11.3.2; computed at compile
// time.
#pragma once

#include "aacdec/tables/constant_math.h"

namespace zdr::aacdec {

template <int kLength>
struct WindowTable {
  alignas(64) uint16_t value[kLength];
};

inline constexpr double kQ15 = 32768;
inline constexpr int32_t kMaxQ15 = 32767;

template <int kLength>
constexpr WindowTable<kLength> make_sine_window() {
  WindowTable<kLength> window = {};
  for (int n = 0; n < kLength; ++n) {
    const double value = constant_math::turns(2 * n + 1, 8 * kLength).sin;
    window.value[n] = static_cast<uint16_t>(constant_math::fixed(value, kQ15, kMaxQ15));
  }
  return window;
}

// The Kaiser-Bessel derived window: the square root of the running sum of a Kaiser window of kLength + 1
// values.
template <int kLength>
constexpr WindowTable<kLength> make_kbd_window(double alpha) {
  double kaiser[kLength + 1] = {};
  double sum = 0;
  for (int n = 0; n <= kLength / 2; ++n) {
    const double place = 2.0 * n / kLength - 1;
    kaiser[n] =
        constant_math::bessel_i0(constant_math::kPi * alpha * constant_math::square_root(1 - place * place));
    kaiser[kLength - n] = kaiser[n];
  }
  for (const double value : kaiser) sum += value;
  WindowTable<kLength> window = {};
  double running = 0;
  for (int n = 0; n < kLength; ++n) {
    running += kaiser[n];
    const double value = constant_math::square_root(running / sum);
    window.value[n] = static_cast<uint16_t>(constant_math::fixed(value, kQ15, kMaxQ15));
  }
  return window;
}

// The rising half of a long block after eight short ones: zeros, a short slope, then 1, which is 32768 in
// this table only.
constexpr WindowTable<1024> make_short_slope(const WindowTable<128>& slope) {
  constexpr int kStart = (1024 - 128) / 2;
  WindowTable<1024> window = {};
  for (int n = 0; n < 128; ++n) window.value[kStart + n] = slope.value[n];
  for (int n = kStart + 128; n < 1024; ++n) window.value[n] = 32768;
  return window;
}

inline constexpr WindowTable<1024> kLongSineWindow = make_sine_window<1024>();
inline constexpr WindowTable<1024> kLongKbdWindow = make_kbd_window<1024>(4);
inline constexpr WindowTable<128> kShortSineWindow = make_sine_window<128>();
inline constexpr WindowTable<128> kShortKbdWindow = make_kbd_window<128>(6);
inline constexpr WindowTable<1024> kShortSineSlope = make_short_slope(kShortSineWindow);
inline constexpr WindowTable<1024> kShortKbdSlope = make_short_slope(kShortKbdWindow);

}  // namespace zdr::aacdec
