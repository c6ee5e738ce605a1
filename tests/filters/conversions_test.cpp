#include "filters/source/mp4/core/conversions.h"

#include <gtest/gtest.h>

#include <limits>

namespace zdr::mp4source {
namespace {

constexpr uint32_t kLargest = std::numeric_limits<uint32_t>::max();

TEST(Conversions, DoublesTruncateTowardZeroAndKeepTheLow32Bits) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const std::pair<double, uint32_t> kCases[] = {
      {1668.99, 1668},
      {0.99, 0},
      {-0.99, 0},
      {-1.5, kLargest},
      {4294967296.0 + 7, 7},
      {1e300, 0},
      {kInfinity, 0},
      {-kInfinity, 0},
      {std::nan(""), 0},
      {4294967295.0, kLargest},
      {9.3e18, 0},
      {-4294967297.0, kLargest},
  };
  for (const auto& [value, expected] : kCases) EXPECT_EQ(trunc_to_u32(value), expected) << value;
}

TEST(Conversions, SeekTargetsSaturateInsteadOfWrapping) {
  const std::tuple<REFERENCE_TIME, uint32_t, uint32_t> kCases[] = {
      {0, 600, 0},
      {9999, 600, 0},         // below a millisecond
      {16689999, 600, 1000},  // 1668 ms * 600 / 1000 = 1000.8
      {10000000, 44100, 44100},
      {-10000000, 44100, 0},
      {std::numeric_limits<REFERENCE_TIME>::min(), 1, 0},
      {std::numeric_limits<REFERENCE_TIME>::max(), 1, kLargest},
      {std::numeric_limits<REFERENCE_TIME>::max(), kLargest, kLargest},
      {10000000, 0, 0},
      {REFERENCE_TIME{kLargest} * 10000000, 1, kLargest},
  };
  for (const auto& [target, time_scale, expected] : kCases) {
    EXPECT_EQ(seek_media_time(target, time_scale), expected) << target;
  }
}

}  // namespace
}  // namespace zdr::mp4source
