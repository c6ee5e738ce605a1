// CMediaType and the functions over plain records: ownership, comparison, partial types.
#include <gtest/gtest.h>
#include <streams.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/platform/fault_at.h"

using zdr::platform::FaultPoint;

namespace {

class Counted final : public IUnknown {
 public:
  HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG AddRef() override { return ++references; }
  ULONG Release() override { return --references; }

  ULONG references = 1;
};

CMediaType make_type(const GUID& major, const GUID& sub, const GUID& format, const std::string& block) {
  CMediaType type(&major);
  type.SetSubtype(&sub);
  type.SetFormatType(&format);
  type.SetFormat(reinterpret_cast<const BYTE*>(block.data()), static_cast<ULONG>(block.size()));
  return type;
}

CMediaType audio_type() {
  return make_type(MEDIATYPE_Audio, MEDIASUBTYPE_PCM, FORMAT_WaveFormatEx, "block");
}

std::string block_of(const CMediaType& type) {
  return {reinterpret_cast<const char*>(type.Format()), type.FormatLength()};
}

TEST(MediaType, CopiesOwnTheirBlockAndShareTheObject) {
  Counted object;
  {
    CMediaType original = audio_type();
    original.pUnk = &object;
    object.AddRef();
    CMediaType copy(original);
    CMediaType assigned;
    assigned.SetFormat(reinterpret_cast<const BYTE*>("old"), 3);
    assigned = original;
    EXPECT_EQ(assigned.Set(assigned), S_OK);
    AM_MEDIA_TYPE* in_task_memory = CreateMediaType(&original);
    ASSERT_NE(in_task_memory, nullptr);
    EXPECT_EQ(object.references, 5U);

    original.Format()[0] = 'X';
    EXPECT_EQ(block_of(copy), "block");
    EXPECT_EQ(block_of(assigned), "block");
    EXPECT_EQ(block_of(*AsMediaType(in_task_memory)), "block");
    DeleteMediaType(in_task_memory);
    DeleteMediaType(nullptr);
    FreeMediaType(copy);
    EXPECT_EQ(copy.FormatLength(), 0U);
    EXPECT_EQ(copy.pUnk, nullptr);
    EXPECT_EQ(object.references, 3U);
  }
  EXPECT_EQ(object.references, 1U);
}

TEST(MediaType, CopyWithoutMemoryOwnsNothing) {
  Counted object;
  CMediaType original = audio_type();
  original.pUnk = &object;
  object.AddRef();
  {
    const FaultAt fault(FaultPoint::kTaskAllocation, 1);
    HRESULT hr = S_OK;
    const CMediaType copy(original, &hr);
    EXPECT_EQ(hr, E_OUTOFMEMORY);
    EXPECT_EQ(copy.FormatLength(), 0U);
    EXPECT_EQ(copy.pUnk, nullptr);
  }
  for (const int nth : {1, 2}) {
    const FaultAt fault(FaultPoint::kTaskAllocation, nth);
    EXPECT_EQ(CreateMediaType(&original), nullptr);
    EXPECT_TRUE(fault.struck());
  }
  EXPECT_EQ(object.references, 2U);
}

TEST(MediaType, ComparesTypesAndBlockOnlyAsRequired) {
  const CMediaType base = audio_type();
  struct Case {
    const char* what;
    void (*change)(CMediaType&);
    bool equal;
  };
  const Case cases[] = {
      {"nothing", [](CMediaType&) {}, true},
      {"major type", [](CMediaType& t) { t.SetType(&MEDIATYPE_Video); }, false},
      {"sub type", [](CMediaType& t) { t.SetSubtype(&MEDIASUBTYPE_WAVE); }, false},
      {"format type", [](CMediaType& t) { t.SetFormatType(&FORMAT_None); }, false},
      {"block content", [](CMediaType& t) { t.Format()[4] ^= 1; }, false},
      {"block length", [](CMediaType& t) { t.ReallocFormatBuffer(4); }, false},
      {"no block", [](CMediaType& t) { t.ResetFormatBuffer(); }, false},
      {"sample size", [](CMediaType& t) { t.SetSampleSize(77); }, true},
      {"variable size", [](CMediaType& t) { t.SetVariableSize(); }, true},
      {"compression", [](CMediaType& t) { t.SetTemporalCompression(TRUE); }, true},
  };
  for (const Case& c : cases) {
    CMediaType other(base);
    c.change(other);
    EXPECT_EQ(base == other, c.equal) << c.what;
    EXPECT_EQ(other == base, c.equal) << c.what;
    EXPECT_EQ(base != other, !c.equal) << c.what;
  }
  EXPECT_TRUE(CMediaType() == CMediaType());
}

TEST(MediaType, PartialTypesMatchInWhatTheySayAsRequired) {
  const CMediaType full = audio_type();
  struct Case {
    const char* what;
    CMediaType partial;
    bool matches;
    bool is_partial;
  };
  const GUID any = GUID_NULL;
  const Case cases[] = {
      {"all open", CMediaType(), true, true},
      {"major", make_type(MEDIATYPE_Audio, any, any, ""), true, true},
      {"other major", make_type(MEDIATYPE_Video, any, any, ""), false, true},
      {"sub alone", make_type(any, MEDIASUBTYPE_PCM, any, ""), true, true},
      {"other sub", make_type(MEDIATYPE_Audio, MEDIASUBTYPE_WAVE, any, ""), false, true},
      {"sub open", make_type(MEDIATYPE_Audio, any, FORMAT_WaveFormatEx, "block"), true, false},
      {"everything", make_type(MEDIATYPE_Audio, MEDIASUBTYPE_PCM, FORMAT_WaveFormatEx, "block"), true, false},
      {"other block", make_type(any, any, FORMAT_WaveFormatEx, "blocK"), false, true},
      {"format without its block", make_type(any, any, FORMAT_WaveFormatEx, ""), false, true},
      {"other format", make_type(any, any, FORMAT_None, "block"), false, true},
      {"block without a format", make_type(MEDIATYPE_Audio, any, any, "other"), true, true},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(full.MatchesPartial(&c.partial) != FALSE, c.matches) << c.what;
    EXPECT_EQ(c.partial.IsPartiallySpecified() != FALSE, c.is_partial) << c.what;
  }
}

TEST(MediaType, RequiredSampleSizeOutlivesItsFlag) {
  CMediaType type;
  EXPECT_TRUE(type.IsFixedSize());
  EXPECT_EQ(type.GetSampleSize(), 1U);
  EXPECT_FALSE(type.IsValid());
  type.SetSampleSize(0);
  EXPECT_FALSE(type.IsFixedSize());
  EXPECT_EQ(type.GetSampleSize(), 0U);
  EXPECT_EQ(type.lSampleSize, 1U) << "the number stays";
  type.SetSampleSize(512);
  EXPECT_TRUE(type.IsFixedSize());
  EXPECT_EQ(type.GetSampleSize(), 512U);
}

TEST(MediaType, BlockSurvivesWantOfMemory) {
  CMediaType type = audio_type();
  using Resize = BYTE* (CMediaType::*)(ULONG) noexcept;
  for (const Resize resize : {&CMediaType::AllocFormatBuffer, &CMediaType::ReallocFormatBuffer}) {
    for (const ULONG length : {3U, 9U}) {
      const FaultAt fault(FaultPoint::kTaskAllocation, 1);
      EXPECT_EQ((type.*resize)(length), length < 5 ? type.Format() : nullptr) << "a shorter block is there";
      EXPECT_TRUE(fault.struck());
      EXPECT_EQ(block_of(type), "block");
    }
  }
  ASSERT_NE(type.ReallocFormatBuffer(9), nullptr);
  EXPECT_EQ(block_of(type).substr(0, 5), "block");
  ASSERT_NE(type.ReallocFormatBuffer(3), nullptr);
  EXPECT_EQ(block_of(type), "blo");
  EXPECT_EQ(type.AllocFormatBuffer(0), nullptr);
  EXPECT_EQ(type.FormatLength(), 0U);
}

TEST(MediaType, DescribesWaveAudio) {
  struct Case {
    WORD tag;
    WORD extra;
    bool with_block;
    GUID subtype;
    ULONG length;
  };
  const GUID extensible = {0x12345678, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
  const Case cases[] = {
      {WAVE_FORMAT_PCM, 7, true, MEDIASUBTYPE_PCM, 18},
      {WAVE_FORMAT_PCM, 0, false, MEDIASUBTYPE_PCM, 0},
      {0x00FF, 5, true, zdr::dshow::fourcc_guid(0xFF), 23},
      {WAVE_FORMAT_EXTENSIBLE, 22, true, extensible, 40},
      {WAVE_FORMAT_EXTENSIBLE, 21, true, zdr::dshow::fourcc_guid(0xFFFE), 39},
  };
  for (const Case& c : cases) {
    std::vector<BYTE> source(sizeof(WAVEFORMATEX) + c.extra, 0x5A);
    WAVEFORMATEX wave = {c.tag, 2, 44100, 176400, 4, 16, c.extra};
    std::memcpy(source.data(), &wave, sizeof wave);
    if (c.extra >= 22) std::memcpy(source.data() + 24, &extensible, sizeof extensible);

    CMediaType type;
    ASSERT_EQ(CreateAudioMediaType(reinterpret_cast<const WAVEFORMATEX*>(source.data()), &type, c.with_block),
              S_OK);
    EXPECT_EQ(*type.Type(), MEDIATYPE_Audio);
    EXPECT_EQ(*type.Subtype(), c.subtype) << c.tag;
    EXPECT_EQ(*type.FormatType(), FORMAT_WaveFormatEx);
    EXPECT_EQ(type.GetSampleSize(), 4U);
    ASSERT_EQ(type.FormatLength(), c.length);
    if (c.length == 0) continue;
    if (c.tag == WAVE_FORMAT_PCM) source[16] = 0;
    EXPECT_EQ(std::memcmp(type.Format(), source.data(), c.length), 0) << c.tag;
  }
}

}  // namespace
