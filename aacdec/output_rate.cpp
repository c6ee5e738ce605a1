// Chooses whether SBR doubles the rate and which conversion follows.
#include "aacdec/output_rate.h"

namespace zdr::aacdec {
namespace {

constexpr int32_t kNarrowbandHz = 8000;
constexpr int32_t kWidebandHz = 16000;
// Above this core rate SBR runs at the core rate and only fills the bands that the core leaves empty.
constexpr int32_t kHighestDoubledHz = 24000;

// The conversions that the resampler supports, by class.
struct Ratio {
  int32_t input;
  int32_t output;
};
constexpr Ratio kClasses[] = {{2, 1},         {4, 1}, {22050, 16000}, {44100, 16000},
                              {88200, 16000}, {3, 2}, {3, 1},         {6, 1}};

int class_of(int32_t input_hz, int32_t output_hz) {
  for (int i = 0; const Ratio& ratio : kClasses) {
    ++i;
    if (int64_t{input_hz} * ratio.output == int64_t{output_hz} * ratio.input) return i;
  }
  return 0;
}

}  // namespace

OutputRate choose_output_rate(int32_t core_rate_hz, int32_t requested_hz, bool single_rate) {
  const int32_t limited_hz = requested_hz < 2 * core_rate_hz ? requested_hz : 2 * core_rate_hz;
  if (limited_hz == kNarrowbandHz || limited_hz == kWidebandHz) {
    const bool doubled = limited_hz == kWidebandHz && core_rate_hz <= 12000;
    const int multiplier = doubled ? 2 : 1;
    return {multiplier, class_of(multiplier * core_rate_hz, limited_hz)};
  }
  const bool doubled = !single_rate && core_rate_hz <= kHighestDoubledHz && limited_hz != core_rate_hz;
  return {doubled ? 2 : 1, 0};
}

}  // namespace zdr::aacdec
