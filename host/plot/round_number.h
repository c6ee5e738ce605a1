// Round numbers for columns and axes.
#pragma once

#include <algorithm>
#include <cmath>
#include <iterator>

namespace zdr::host::plot {

// The smallest number that is 1, 2 or 5 times a power of ten and not less than `value`, which is positive.
inline double round_up(double value) {
  const double power = std::pow(10.0, std::floor(std::log10(value)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= value * (1 - 1e-9)) return factor * power;
  }
  return 10 * power;
}

// The same for seconds on a clock: 10 s, 15 s, 30 s, 1 min ...
inline double round_time(double seconds) {
  constexpr double kSteps[] = {10,   15,   30,   60,    120,   300,   600,  900,
                               1800, 3600, 7200, 14400, 21600, 43200, 86400};
  const double value = seconds * (1 - 1e-9);
  if (value <= 5) return round_up(seconds);
  const auto* const step = std::lower_bound(std::begin(kSteps), std::end(kSteps), value);
  constexpr double kDay = 86400;
  return step != std::end(kSteps) ? *step : round_up(seconds / kDay) * kDay;
}

}  // namespace zdr::host::plot
