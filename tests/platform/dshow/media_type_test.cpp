// CMediaType: partial types, and samples of variable size. The tests of the filter drive the ownership of
// blocks.
#include <gtest/gtest.h>
#include <streams.h>

#include <cstring>
#include <string>

namespace zdr::test {
namespace {

CMediaType make_type(const GUID& major, const GUID& sub, const GUID& format, const std::string& block) {
  CMediaType type;
  type.SetType(&major);
  type.SetSubtype(&sub);
  type.SetFormatType(&format);
  const auto length = static_cast<ULONG>(block.size());
  if (length != 0) std::memcpy(type.AllocFormatBuffer(length), block.data(), length);
  return type;
}

TEST(MediaType, KeptTypeLackingOnlyTheSubtypeIsNotPartial) {
  const CMediaType full = make_type(MEDIATYPE_Audio, MEDIASUBTYPE_PCM, FORMAT_WaveFormatEx, "block");
  const GUID any = GUID_NULL;
  const std::tuple<const char*, CMediaType, bool, bool> cases[] = {
      {"major", make_type(MEDIATYPE_Audio, any, any, ""), true, true},
      {"other major", make_type(MEDIATYPE_Video, any, any, ""), false, true},
      {"sub alone", make_type(any, MEDIASUBTYPE_PCM, any, ""), true, true},
      {"other sub", make_type(MEDIATYPE_Audio, MEDIATYPE_Stream, any, ""), false, true},
      {"sub open", make_type(MEDIATYPE_Audio, any, FORMAT_WaveFormatEx, "block"), true, false},
      {"other block", make_type(any, any, FORMAT_WaveFormatEx, "blocK"), false, true},
      {"other format", make_type(any, any, FORMAT_None, "block"), false, true},
      {"block without a format", make_type(MEDIATYPE_Audio, any, any, "other"), true, true},
  };
  for (const auto& [what, partial, matches, is_partial] : cases) {
    EXPECT_EQ(full.MatchesPartial(&partial) != FALSE, matches) << what;
    EXPECT_EQ(partial.IsPartiallySpecified() != FALSE, is_partial) << what;
  }
  CMediaType without_block = make_type(MEDIATYPE_Audio, any, FORMAT_None, "block");
  without_block.ResetFormatBuffer();
  EXPECT_EQ(without_block.pbFormat, nullptr);
  EXPECT_TRUE(without_block.MatchesPartial(&without_block));
}

TEST(MediaType, KeptSampleSizeStaysWhenItBecomesVariable) {
  CMediaType type;
  type.lSampleSize = 512;
  type.SetVariableSize();
  EXPECT_FALSE(type.bFixedSizeSamples);
  EXPECT_EQ(type.lSampleSize, 512U);
}

}  // namespace
}  // namespace zdr::test
