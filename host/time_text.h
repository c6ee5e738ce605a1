// Times as people write them, and the 100 ns units of the filter's interfaces.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zdr::host {

constexpr int64_t kUnitsPerSecond = 10'000'000;  // 100 ns
constexpr int64_t kUnitsPerMillisecond = 10'000;

// "12.5" (seconds) or "h:mm:ss.mmm" in 100 ns units; digits below 100 ns are cut off. Nothing for anything
// else, negative times included.
std::optional<int64_t> parse_time(std::string_view text);

// "h:mm:ss.mmm", truncated to milliseconds.
std::string format_time(int64_t units);

}  // namespace zdr::host
