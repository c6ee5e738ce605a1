// Computations of the filter that need no file: the kind of an extension, and conversions at their limits.
#include <gtest/gtest.h>
#include <objbase.h>

#include <array>

#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/interfaces/source_kind.h"
#include "filters/source/mp4/interfaces/zdr_guids.h"

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

// Decoders and hosts of other makers use these values, so they never change.
TEST(Guids, OfTheClassTheInterfaceAndTheTypesAreFixed) {
  const std::pair<GUID, std::u16string> kGuids[] = {
      {kClsidSourceFilter, u"{7C0B2D5E-3A94-4E61-9F27-5D8B1A6E40C3}"},
      {kIidZandorVideoSource, u"{904023D8-3EB6-4079-B062-45C68095682E}"},
      {kSubtypeAmrNarrowBand, u"{A49B9696-751E-4402-A733-3AD46F48A5A0}"},
      {kSubtypeAmrWideBand, u"{E5E8F6BE-7753-4041-880B-16D31F61397E}"},
      {kSubtypeAac, u"{D107033F-3A53-4406-AF19-13543470DDB2}"},
      {kSubtypeAacAccepted[0], u"{D107033F-3A53-4406-AF19-13543470DDB2}"},
      {kSubtypeAacAccepted[1], u"{5B584C94-8FB4-4647-AFE6-879085600DBF}"},
      {kSubtypeAacAccepted[2], u"{5D343B47-FDD0-4802-930B-EADDA0CE37D9}"},
      {kSubtypeAacAccepted[3], u"{0000A106-0000-0010-8000-00AA00389B71}"},
      {kSubtypeQcelp, u"{8080AF8D-857A-45C4-8296-AB1301ADFA28}"},
      {kFormatQcelp, u"{A2AC77FD-36C6-4C2A-B238-F89B35DAA570}"},
      {kSubtypeEvrc, u"{565B8FB4-EE30-4EE3-9B5B-E285678F1F9D}"},
      {kFormatEvrc, u"{F089A5D3-01B2-4B44-817B-200F94489BBD}"},
      {kFormatAudioAccepted, u"{DFDABA17-D518-42A6-81DE-C90C8EC32BCF}"},
      {kSubtypeDolbyAc3, u"{E06D802C-DB46-11CF-B4D1-00805F6CBBEA}"},
      {kSubtypeMpeg4Visual, u"{3253344D-0000-0010-8000-00AA00389B71}"},
      {kSubtypeH263, u"{92A25D95-3963-45EF-895F-EA42B4DD37AA}"},
      {kSubtypeAvc, u"{931F33F5-525B-4613-A5A7-D0E28115DD9A}"},
      {kSubtypeAnyVideo, u"{B006C93F-3057-4F95-8184-9382035E26FB}"},
  };
  for (const auto& [guid, expected] : kGuids) {
    std::array<WCHAR, 39> text{};
    ASSERT_EQ(StringFromGUID2(guid, text.data(), 39), 39);
    EXPECT_EQ(text.data(), expected);
  }
  EXPECT_EQ(std::size(kSubtypeAacAccepted), 4u);
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
