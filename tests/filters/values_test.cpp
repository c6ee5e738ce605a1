// Computations of the filter that need no file: the kind of an extension, and conversions at their limits.
#include <gtest/gtest.h>

#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/interfaces/source_kind.h"

namespace zdr::test {
namespace {

using namespace mp4source;

constexpr uint32_t kLargest = std::numeric_limits<uint32_t>::max();
constexpr REFERENCE_TIME kLatest = std::numeric_limits<REFERENCE_TIME>::max();

TEST(SourceKind, KeptExtensionStartsAtTheLastDotOfThePath) {
  const std::pair<SourceKind, std::vector<std::u16string>> kCases[] = {
      {SOURCE_KIND_MP4, {u"clip.MP4",     u"/media/a.b/clip.3gPA-Drm",
                         u"clip.aac.m4a", u"/folder.x/clip.mp4",
                         u".3gp",         u".3gpp",
                         u".3ga",         u".3g2",
                         u".mp4",         u".k3g",
                         u".skm",         u".mpg",
                         u".m4a",         u".m4v",
                         u".rec",         u".mp4-odf",
                         u".k3g-odf",     u".3gpa",
                         u".3gpa-drm",    u".mp4a",
                         u".mp4a-drm"}},
      {SOURCE_KIND_AMR, {u"voice.AWB", u"voice.amr"}},
      {SOURCE_KIND_AAC, {u"song.Aac"}},
      {SOURCE_KIND_NONE,
       {u"clip.mp4.bak", u"clip.mp", u"clip.mp4 ", u"clip.\u00C1AC", u"clip.\u0161mp4", u"clip", u"mp4",
        u"clip.", u"", u"/old.mp4/clip"}},
  };
  for (const auto& [kind, names] : kCases) {
    for (const std::u16string& name : names) {
      const std::string narrow(name.begin(), name.end());
      EXPECT_EQ(source_kind_of(name), kind) << narrow;
      EXPECT_EQ(source_kind_of(narrow), kind) << narrow;
    }
  }
}

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

TEST(Conversions, SeekTargetsSaturate) {
  const std::tuple<REFERENCE_TIME, uint32_t, uint32_t> kCases[] = {
      {0, 600, 0},
      {9999, 600, 0},         // below a millisecond
      {16689999, 600, 1000},  // 1668 ms * 600 / 1000 = 1000.8
      {10000000, 44100, 44100},
      {-10000000, 44100, 0},
      {-kLatest - 1, 1, 0},
      {kLatest, 1, kLargest},
      {kLatest, kLargest, kLargest},
      {10000000, 0, 0},
      {REFERENCE_TIME{kLargest} * 10000000, 1, kLargest},
  };
  for (const auto& [target, time_scale, expected] : kCases) {
    EXPECT_EQ(seek_media_time(target, time_scale), expected) << target;
  }
  EXPECT_EQ(seek_ms(kLatest, 0), kLargest);
  EXPECT_EQ(seek_ms(-kLatest, 1), 1u);
}

}  // namespace
}  // namespace zdr::test
