// Converts between times as text and the 100 ns units of the filter's interfaces.
#pragma once

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

}  // namespace zdr::host
