// Places the marks of axes and formats their values. Units are decimal, because offsets and sizes are decimal
// everywhere else in the program.
#include "host/plot/svg/scale.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <span>

#include "host/plot/round_number.h"

namespace zdr::host::plot {
namespace {

struct Unit {
  double size;
  const char* name;
};
constexpr Unit kByteUnits[] = {{1, "bytes"}, {1e3, "kB"}, {1e6, "MB"}, {1e9, "GB"}, {1e12, "TB"}};
constexpr Unit kRateUnits[] = {
    {1, "bit/s"}, {1e3, "kbit/s"}, {1e6, "Mbit/s"}, {1e9, "Gbit/s"}, {1e12, "Tbit/s"}};

// The largest unit of which `value` is at least one.
const Unit& unit_of(double value, std::span<const Unit> units) {
  const auto* unit = &units.front();
  for (const Unit& each : units) {
    if (value >= each.size) unit = &each;
  }
  return *unit;
}

template <class... Values>
std::string formatted(const char* format, Values... values) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), format, values...);
  return text.data();
}

int decimals_of(double step) {
  return std::clamp(static_cast<int>(std::ceil(-std::log10(step) - 1e-9)), 0, 6);
}

// Marks at multiples of `step`, of which there are few.
template <class Text>
std::vector<Axis::Mark> marks_of(double least, double most, double step, Text text) {
  std::vector<Axis::Mark> marks;
  const auto last = static_cast<int>(std::floor(most / step + 1e-9));
  for (int i = static_cast<int>(std::ceil(least / step - 1e-9)); i <= last; ++i)
    marks.push_back({i * step, text(i * step)});
  return marks;
}

Axis decimal_axis(double most, int count, std::span<const Unit> units) {
  const Unit& unit = unit_of(most, units);
  double step = most > 0 ? round_up(most / count) : 1;
  if (&units.front() == &unit) step = std::max(step, 1.0);
  const int decimals = decimals_of(step / unit.size);
  return {unit.name, marks_of(0, most, step,
                              [&](double value) { return formatted("%.*f", decimals, value / unit.size); })};
}

std::string short_number(double value, std::span<const Unit> units) {
  const Unit& unit = unit_of(value, units);
  const double number = value / unit.size;
  const int decimals = &unit == &units.front() || number >= 100 ? 0 : number >= 10 ? 1 : 2;
  return formatted("%.*f", decimals, number) + " " + unit.name;
}

}  // namespace

Axis byte_axis(double most, int count) {
  return decimal_axis(most, count, kByteUnits);
}

Axis rate_axis(double most, int count) {
  return decimal_axis(most, count, kRateUnits);
}

Axis time_axis(double most, int count) {
  constexpr double kMostPlainSeconds = 100;
  constexpr double kHour = 3600;
  if (most <= kMostPlainSeconds) {
    const double step = most > 0 ? round_up(most / count) : 1;
    const int decimals = decimals_of(step);
    return {"s", marks_of(0, most, step, [&](double value) { return formatted("%.*f", decimals, value); })};
  }
  const bool has_hours = most >= kHour;
  return {has_hours ? "h:mm:ss" : "m:ss", marks_of(0, most, round_time(most / count), [&](double value) {
            const auto seconds = static_cast<long long>(std::llround(value));
            if (!has_hours) return formatted("%lld:%02lld", seconds / 60, seconds % 60);
            return formatted("%lld:%02lld:%02lld", seconds / 3600, seconds / 60 % 60, seconds % 60);
          })};
}

Axis signed_axis(double least, double most, int count) {
  const double step = round_up((most - least) / count);
  const int decimals = decimals_of(step);
  return {"s", marks_of(least, most, step, [&](double value) {
            return formatted(value == 0 ? "%.*f" : "%+.*f", decimals, value);
          })};
}

std::string short_bytes(double bytes) {
  return short_number(bytes, kByteUnits);
}

std::string short_rate(double bits_per_second) {
  return short_number(bits_per_second, kRateUnits);
}

std::string width_text(double seconds) {
  constexpr double kMinute = 60;
  constexpr double kHour = 3600;
  if (seconds < 1) return formatted("%.3g ms", seconds * 1000);
  if (seconds < kMinute) return formatted("%.3g s", seconds);
  return seconds < kHour ? formatted("%.3g min", seconds / kMinute) : formatted("%.3g h", seconds / kHour);
}

std::string grouped(uint64_t number) {
  std::string text = std::to_string(number);
  for (size_t place = text.size(); place > 3; place -= 3) text.insert(place - 3, 1, ',');
  return text;
}

}  // namespace zdr::host::plot
