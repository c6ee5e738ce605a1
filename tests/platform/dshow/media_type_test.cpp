// CMediaType and the functions over plain records: ownership and partial types.
#include <gtest/gtest.h>
#include <streams.h>

#include <cstring>
#include <string>

namespace zdr::test {
namespace {

class Counted final : public IUnknown {
 public:
  HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG AddRef() override { return ++references; }
  ULONG Release() override { return --references; }

  ULONG references = 1;
};

CMediaType make_type(const GUID& major, const GUID& sub, const GUID& format, const std::string& block) {
  CMediaType type;
  type.SetType(&major);
  type.SetSubtype(&sub);
  type.SetFormatType(&format);
  const auto length = static_cast<ULONG>(block.size());
  if (length != 0) std::memcpy(type.AllocFormatBuffer(length), block.data(), length);
  return type;
}

CMediaType audio_type() {
  return make_type(MEDIATYPE_Audio, MEDIASUBTYPE_PCM, FORMAT_WaveFormatEx, "block");
}

std::string block_of(const AM_MEDIA_TYPE& type) {
  return {reinterpret_cast<const char*>(type.pbFormat), type.cbFormat};
}

TEST(MediaType, CopiesOwnTheirBlockAndShareTheObject) {
  Counted object;
  {
    CMediaType original = audio_type();
    original.pUnk = &object;
    object.AddRef();
    CMediaType copy = make_type(GUID_NULL, GUID_NULL, GUID_NULL, "old");
    copy = CMediaType(original);
    EXPECT_EQ(copy.Set(copy), S_OK);
    AM_MEDIA_TYPE* in_task_memory = CreateMediaType(&original);
    ASSERT_NE(in_task_memory, nullptr);
    EXPECT_EQ(object.references, 4U);

    original.pbFormat[0] = 'X';
    EXPECT_EQ(block_of(copy), "block");
    EXPECT_EQ(block_of(*in_task_memory), "block");
    DeleteMediaType(in_task_memory);
    FreeMediaType(copy);
    EXPECT_EQ(object.references, 2U);
  }
  EXPECT_EQ(object.references, 1U);
}

TEST(MediaType, KeptTypeLackingOnlyTheSubTypeIsNotPartial) {
  const CMediaType full = audio_type();
  const GUID any = GUID_NULL;
  const struct {
    const char* what;
    CMediaType partial;
    bool matches;
    bool is_partial;
  } cases[] = {
      {"major", make_type(MEDIATYPE_Audio, any, any, ""), true, true},
      {"other major", make_type(MEDIATYPE_Video, any, any, ""), false, true},
      {"sub alone", make_type(any, MEDIASUBTYPE_PCM, any, ""), true, true},
      {"other sub", make_type(MEDIATYPE_Audio, MEDIATYPE_Stream, any, ""), false, true},
      {"sub open", make_type(MEDIATYPE_Audio, any, FORMAT_WaveFormatEx, "block"), true, false},
      {"other block", make_type(any, any, FORMAT_WaveFormatEx, "blocK"), false, true},
      {"other format", make_type(any, any, FORMAT_None, "block"), false, true},
      {"block without a format", make_type(MEDIATYPE_Audio, any, any, "other"), true, true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(full.MatchesPartial(&c.partial) != FALSE, c.matches) << c.what;
    EXPECT_EQ(c.partial.IsPartiallySpecified() != FALSE, c.is_partial) << c.what;
  }
  const CMediaType without_block = make_type(MEDIATYPE_Audio, any, FORMAT_None, "");
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
