// CSource and CSourceStream as a filter and its pins: numbers, identifiers, types, life.
#include <com_ptr.h>
#include <gtest/gtest.h>
#include <streams.h>

#include "tests/platform/fault_at.h"
#include "tests/support/test_chain.h"

namespace zdr::tests {
namespace {

using com::ComPtr;

TEST(Source, NumbersItsPinsFromOne) {
  const auto source = TestSource::create({{}, {}, {}});
  EXPECT_EQ(source->GetPinCount(), 3);
  EXPECT_EQ(source->GetPin(3), nullptr);
  EXPECT_EQ(source->GetPin(-1), nullptr);
  for (int i = 0; i < 3; ++i) {
    LPWSTR id = nullptr;
    ASSERT_EQ(source->stream(i).QueryId(&id), S_OK);
    EXPECT_EQ(std::u16string(id), std::u16string(1, static_cast<WCHAR>(u'1' + i)));
    ComPtr<IPin> found;
    EXPECT_EQ(source->FindPin(id, found.out()), S_OK);
    EXPECT_EQ(found.get(), static_cast<IPin*>(&source->stream(i)));
    EXPECT_EQ(source->FindPinNumber(found.get()), i);
    CoTaskMemFree(id);
  }
  for (const WCHAR* id : {u"0", u"4", u"-1", u"Out1", u"", u"99999999999999999999"}) {
    ComPtr<IPin> found(&source->stream(0));
    EXPECT_EQ(source->FindPin(id, found.out()), VFW_E_NOT_FOUND);
    EXPECT_FALSE(found);
  }
  EXPECT_EQ(source->FindPin(u"1", nullptr), E_POINTER);
}

TEST(Source, ClosesTheGapWhenAPinGoes) {
  const auto source = TestSource::create({{}, {}, {}});
  TestStream& last = source->stream(2);
  const LONG version = source->GetPinVersion();
  delete &source->stream(1);
  EXPECT_EQ(source->GetPinCount(), 2);
  EXPECT_EQ(source->FindPinNumber(&last), 1);
  // The filter that changes its pins tells so itself.
  EXPECT_EQ(source->GetPinVersion(), version);
  EXPECT_EQ(source->RemovePin(&last), S_OK);
  EXPECT_EQ(source->RemovePin(&last), S_FALSE);
  LPWSTR id = nullptr;
  EXPECT_EQ(last.QueryId(&id), VFW_E_NOT_FOUND);
  EXPECT_EQ(id, nullptr);
  EXPECT_EQ(source->AddPin(&last), S_OK);
}

TEST(Source, ReportsAPinThatFindsNoRoom) {
  const auto source = TestSource::create({});
  HRESULT hr = S_OK;
  {
    const FaultAt fault(platform::FaultPoint::kHeapAllocation, 1);
    const TestStream stream(source.get(), {}, u"Out", &hr);
    EXPECT_EQ(hr, E_OUTOFMEMORY);
    EXPECT_EQ(source->GetPinCount(), 0);
  }
  // A success is stored as well, whatever stood there before.
  const TestStream stream(source.get(), {}, u"Out", &hr);
  EXPECT_EQ(hr, S_OK);
}

TEST(Source, DiesWithItsPinsWhenTheLastReferenceToAPinGoes) {
  const LONG before = CBaseObject::ObjectsActive();
  ComPtr<IPin> pin;
  {
    const auto source = TestSource::create({{}, {}});
    pin = ComPtr<IPin>(&source->stream(0));
  }
  EXPECT_GT(CBaseObject::ObjectsActive(), before);
  pin.reset();
  EXPECT_EQ(CBaseObject::ObjectsActive(), before);
}

TEST(SourceStream, OffersAndAcceptsItsOneType) {
  StreamOptions options;
  options.type.SetSubtype(&MEDIASUBTYPE_PCM);
  const auto source = TestSource::create({options});
  TestStream& stream = source->stream(0);
  CMediaType type;
  EXPECT_EQ(stream.GetMediaType(-1, &type), E_INVALIDARG);
  EXPECT_EQ(stream.GetMediaType(1, &type), VFW_S_NO_MORE_ITEMS);
  ASSERT_EQ(stream.GetMediaType(0, &type), S_OK);
  EXPECT_TRUE(type == options.type);
  EXPECT_EQ(stream.CheckMediaType(&type), S_OK);
  // Flags and sample size do not matter, the format block does.
  type.SetTemporalCompression(TRUE);
  type.SetSampleSize(100);
  EXPECT_EQ(stream.CheckMediaType(&type), S_OK);
  const BYTE block[] = {1, 2, 3};
  type.SetFormat(block, sizeof block);
  EXPECT_EQ(stream.CheckMediaType(&type), E_FAIL);
}

}  // namespace
}  // namespace zdr::tests
