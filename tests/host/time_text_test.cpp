#include "host/time_text.h"

#include <gtest/gtest.h>

namespace zdr::host {
namespace {

struct TimeCase {
  const char* text;
  std::optional<int64_t> units;
};

TEST(TimeText, ReadsSecondsAndClockTimes) {
  const TimeCase cases[] = {
      {"0", 0},
      {"12.5", 125'000'000},
      {".25", 2'500'000},
      {"7.", 70'000'000},
      {"1.00000019", 10'000'001},  // digits below 100 ns are cut off
      {"0:00:01.5", 15'000'000},
      {"1:02:03.004", 37'230'040'000},
      {"100:00:00", 3'600'000'000'000},
      {"", std::nullopt},
      {".", std::nullopt},
      {"-1", std::nullopt},
      {"1e3", std::nullopt},
      {" 1", std::nullopt},
      {"1:02", std::nullopt},
      {"1:2:3:4", std::nullopt},
      {"0:60:00", std::nullopt},
      {"0:00:60", std::nullopt},
      {"0:000:01", std::nullopt},
      {"::", std::nullopt},
      {"99999999999999999999", std::nullopt},
  };
  for (const TimeCase& c : cases) EXPECT_EQ(parse_time(c.text), c.units) << c.text;
}

TEST(TimeText, FormatsWhatItReads) {
  for (int64_t ms : {0LL, 1LL, 59'999LL, 60'000LL, 3'599'999LL, 3'600'000LL, 450'000'000LL}) {
    EXPECT_EQ(parse_time(format_time(ms * kUnitsPerMillisecond)), ms * kUnitsPerMillisecond);
  }
  EXPECT_EQ(format_time(-15'000'000), "-0:00:01.500");
}

}  // namespace
}  // namespace zdr::host
