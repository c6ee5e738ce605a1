#include "filters/source/mp4/interfaces/source_kind.h"

#include <gtest/gtest.h>

namespace zdr::mp4source {
namespace {

TEST(SourceKind, FollowsTheExtensionAlone) {
  const std::pair<std::u16string_view, SourceKind> kCases[] = {
      {u"clip.MP4", SOURCE_KIND_MP4},
      {u"/media/a.b/clip.3gPA-Drm", SOURCE_KIND_MP4},
      {u"clip.aac.m4a", SOURCE_KIND_MP4},
      {u"voice.AWB", SOURCE_KIND_AMR},
      {u"voice.amr", SOURCE_KIND_AMR},
      {u"song.Aac", SOURCE_KIND_AAC},
      {u"clip.mp4.bak", SOURCE_KIND_NONE},
      {u"clip.mp", SOURCE_KIND_NONE},
      {u"clip.mp4 ", SOURCE_KIND_NONE},
      {u"clip.\u00C1AC", SOURCE_KIND_NONE},
      {u"clip", SOURCE_KIND_NONE},
      {u"mp4", SOURCE_KIND_NONE},
      {u"clip.", SOURCE_KIND_NONE},
      {u"", SOURCE_KIND_NONE},
      // The last dot of the whole name counts, even if it stands in a folder's.
      {u"/old.mp4/clip", SOURCE_KIND_NONE},
      {u"/folder.x/clip.mp4", SOURCE_KIND_MP4},
      {u"folder.mp4", SOURCE_KIND_MP4},
  };
  for (const std::u16string_view extension :
       {u".3gp", u".3gpp", u".3ga", u".3g2", u".mp4", u".k3g", u".skm", u".mpg", u".m4a", u".m4v", u".rec",
        u".mp4-odf", u".k3g-odf", u".3gpa", u".3gpa-drm", u".mp4a", u".mp4a-drm"}) {
    EXPECT_EQ(source_kind_of(extension), SOURCE_KIND_MP4) << std::string(extension.begin(), extension.end());
  }
  for (const auto& [name, kind] : kCases) {
    EXPECT_EQ(source_kind_of(name), kind) << std::string(name.begin(), name.end());
  }
}

}  // namespace
}  // namespace zdr::mp4source
