// Converts between times as text and the 100 ns units of the filter's interfaces.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zdr::host {

constexpr int64_t kUnitsPerSecond = 10'000'000;  // 100 ns
constexpr int64_t kUnitsPerMillisecond = 10'000;

// Parses "12.5" (seconds) or "h:mm:ss.mmm" into 100 ns units, ignoring digits below them. Anything else,
// negative times included, yields nothing.
std::optional<int64_t> parse_time(std::string_view text);

// Writes "h:mm:ss.mmm", truncated to milliseconds.
std::string format_time(int64_t units);

// Writes a time of an ISO media file, in seconds since the start of 1904, as "2024-02-29T12:00:00Z" into
// `digits`. Returns an empty text for 0, which means that the time is not known, and for years with more than
// four digits.
using DateDigits = std::array<char, 32>;
std::string_view format_date(uint64_t seconds_since_1904, DateDigits& digits);

}  // namespace zdr::host
