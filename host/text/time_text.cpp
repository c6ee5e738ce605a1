// Parses and formats with integer arithmetic, so that no typed digit is rounded.
#include "host/text/time_text.h"

#include <array>
#include <chrono>
#include <cstdio>

namespace zdr::host {
namespace {

constexpr int64_t kLargestSeconds = 900'000'000'000;  // keeps every product below 2^63

std::optional<int64_t> parse_digits(std::string_view text) {
  if (text.empty()) return std::nullopt;
  int64_t value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    value = value * 10 + (c - '0');
    if (value > kLargestSeconds) return std::nullopt;
  }
  return value;
}

// Parses seconds with an optional fraction, such as "5.25", ".5" or "7.". There must be at least one digit.
std::optional<int64_t> parse_seconds(std::string_view text) {
  const size_t point = text.find('.');
  const std::string_view whole = text.substr(0, point);
  const std::string_view fraction = point == std::string_view::npos ? "" : text.substr(point + 1);
  if (whole.empty() && fraction.empty()) return std::nullopt;
  const std::optional<int64_t> seconds = whole.empty() ? 0 : parse_digits(whole);
  if (!seconds) return std::nullopt;
  int64_t units = 0;
  int64_t weight = kUnitsPerSecond / 10;
  for (char c : fraction) {
    if (c < '0' || c > '9') return std::nullopt;
    units += (c - '0') * weight;
    weight /= 10;
  }
  return *seconds * kUnitsPerSecond + units;
}

}  // namespace

std::optional<int64_t> parse_time(std::string_view text) {
  const size_t last_colon = text.rfind(':');
  if (last_colon == std::string_view::npos) return parse_seconds(text);
  const size_t first_colon = text.find(':');
  if (first_colon == last_colon || text.find(':', first_colon + 1) != last_colon) return std::nullopt;
  const std::string_view minute_text = text.substr(first_colon + 1, last_colon - first_colon - 1);
  const auto hours = parse_digits(text.substr(0, first_colon));
  const auto minutes = parse_digits(minute_text);
  const auto seconds = parse_seconds(text.substr(last_colon + 1));
  if (!hours || !minutes || !seconds || minute_text.size() > 2) return std::nullopt;
  if (*minutes >= 60 || *seconds >= 60 * kUnitsPerSecond || *hours > kLargestSeconds / 3600)
    return std::nullopt;
  return (*hours * 3600 + *minutes * 60) * kUnitsPerSecond + *seconds;
}

std::string format_time(int64_t units) {
  const char* sign = units < 0 ? "-" : "";
  const auto ms = static_cast<unsigned long long>((units < 0 ? -units : units) / kUnitsPerMillisecond);
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "%s%llu:%02llu:%02llu.%03llu", sign, ms / 3'600'000,
                ms / 60'000 % 60, ms / 1000 % 60, ms % 1000);
  return text.data();
}

std::string_view format_date(uint64_t seconds_since_1904, DateDigits& digits) {
  using namespace std::chrono;
  constexpr sys_seconds kBegin = sys_days(year(1904) / 1 / 1);
  constexpr sys_seconds kEnd = sys_days(year(10000) / 1 / 1);
  constexpr auto kMost = static_cast<uint64_t>((kEnd - kBegin).count());
  if (seconds_since_1904 == 0 || seconds_since_1904 >= kMost) return {};
  const sys_seconds time = kBegin + seconds(seconds_since_1904);
  const sys_days day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  std::snprintf(digits.data(), digits.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return digits.data();
}

}  // namespace zdr::host
