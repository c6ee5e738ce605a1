// CMediaSample: what survives the return to the allocator, times, flags, the record of all properties.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <optional>

#include "tests/platform/dshow/allocator_double.h"
#include "tests/platform/fault_at.h"

using zdr::com::ComPtr;

using zdr::platform::FaultPoint;

namespace {

constexpr LONG kSize = 100;

class MediaSample : public testing::Test {
 protected:
  void SetUp() override { take_sample(); }
  void TearDown() override {
    sample2_.reset();
    sample_.reset();
    allocator_->Decommit();
  }

  void take_sample() {
    sample_ = take(*allocator_.get());
    ASSERT_EQ(sample_->QueryInterface(IID_IMediaSample2, sample2_.out_void()), S_OK);
  }
  void take_again() {
    sample2_.reset();
    sample_.reset();
    take_sample();
  }
  AM_SAMPLE2_PROPERTIES properties() {
    AM_SAMPLE2_PROPERTIES record{};
    EXPECT_EQ(sample2_->GetProperties(sizeof record, reinterpret_cast<BYTE*>(&record)), S_OK);
    return record;
  }

  ComPtr<WatchedAllocator> allocator_ = make_committed(1, kSize);
  ComPtr<IMediaSample> sample_;
  ComPtr<IMediaSample2> sample2_;
};

TEST_F(MediaSample, RequiredReturnClearsFlagsButNeitherLengthNorStoredTimes) {
  EXPECT_EQ(sample_->GetActualDataLength(), kSize) << "of a new sample";
  REFERENCE_TIME start = 1000;
  REFERENCE_TIME end = 2000;
  CMediaType type(&MEDIATYPE_Audio);
  sample_->SetTime(&start, &end);
  sample_->SetMediaTime(&start, &end);
  sample_->SetSyncPoint(TRUE);
  sample_->SetPreroll(TRUE);
  sample_->SetDiscontinuity(TRUE);
  sample_->SetMediaType(&type);
  sample_->SetActualDataLength(7);
  AM_SAMPLE2_PROPERTIES record = properties();
  record.dwTypeSpecificFlags = 0xABCD;
  record.dwStreamId = AM_STREAM_CONTROL;
  ASSERT_EQ(sample2_->SetProperties(sizeof record, reinterpret_cast<const BYTE*>(&record)), S_OK);

  take_again();
  EXPECT_EQ(sample_->GetTime(&start, &end), VFW_E_SAMPLE_TIME_NOT_SET);
  EXPECT_EQ(sample_->GetMediaTime(&start, &end), VFW_E_MEDIA_TIME_NOT_SET);
  EXPECT_EQ(sample_->GetActualDataLength(), 7);
  record = properties();
  EXPECT_EQ(record.dwSampleFlags, 0U);
  EXPECT_EQ(record.dwTypeSpecificFlags, 0U);
  EXPECT_EQ(record.dwStreamId, AM_STREAM_MEDIA);
  EXPECT_EQ(record.pMediaType, nullptr);
  EXPECT_EQ(record.tStart, 1000);
  EXPECT_EQ(record.tStop, 2000);
}

TEST_F(MediaSample, TimesComeInThreeForms) {
  struct Case {
    std::optional<REFERENCE_TIME> start;
    std::optional<REFERENCE_TIME> end;
    HRESULT result;
    REFERENCE_TIME read_end;
  };
  const Case cases[] = {
      {100, 200, S_OK, 200},
      {100, std::nullopt, VFW_S_NO_STOP_TIME, 101},
      {200, 100, S_OK, 100},  // kept as it is: only debug builds object
      {INT64_MAX, std::nullopt, VFW_S_NO_STOP_TIME, INT64_MIN},
      {std::nullopt, std::nullopt, VFW_E_SAMPLE_TIME_NOT_SET, 0},
      {std::nullopt, 5, VFW_E_SAMPLE_TIME_NOT_SET, 0},
  };
  for (Case c : cases) {
    EXPECT_EQ(sample_->SetTime(c.start ? &*c.start : nullptr, c.end ? &*c.end : nullptr), S_OK);
    REFERENCE_TIME start = 0;
    REFERENCE_TIME end = 0;
    EXPECT_EQ(sample_->GetTime(&start, &end), c.result);
    EXPECT_EQ(start, c.start.value_or(0));
    EXPECT_EQ(end, c.read_end);
    const DWORD valid = properties().dwSampleFlags & (AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID);
    EXPECT_EQ(valid, (c.start ? AM_SAMPLE_TIMEVALID : 0U) | (c.start && c.end ? AM_SAMPLE_STOPVALID : 0U));
  }
}

TEST_F(MediaSample, RequiredMediaTimeKeepsItsEndAsA32BitDistance) {
  struct Case {
    LONGLONG start;
    LONGLONG end;
    LONGLONG read_end;
  };
  const Case cases[] = {
      {0, 10, 10},
      {1LL << 40, (1LL << 40) + 5, (1LL << 40) + 5},
      {10, 3, 3},
      {0, 0x1'0000'0005, 5},
      {0, 0x8000'0000, -0x8000'0000LL},
  };
  for (Case c : cases) {
    EXPECT_EQ(sample_->SetMediaTime(&c.start, &c.end), S_OK);
    LONGLONG start = 0;
    LONGLONG end = 0;
    EXPECT_EQ(sample_->GetMediaTime(&start, &end), S_OK);
    EXPECT_EQ(start, c.start);
    EXPECT_EQ(end, c.read_end) << c.end;
    EXPECT_EQ(properties().dwSampleFlags, 0U) << "an inner flag shows";
  }
  LONGLONG time = 0;
  EXPECT_EQ(sample_->SetMediaTime(nullptr, nullptr), S_OK);
  EXPECT_EQ(sample_->GetMediaTime(&time, &time), VFW_E_MEDIA_TIME_NOT_SET);
}

TEST_F(MediaSample, DataStaysWithinTheBuffer) {
  for (const auto& [length, result] :
       {std::pair{0, S_OK}, std::pair{int{kSize}, S_OK}, std::pair{int{kSize} + 1, VFW_E_BUFFER_OVERFLOW},
        std::pair{-1, VFW_E_BUFFER_OVERFLOW}}) {
    sample_->SetActualDataLength(50);
    EXPECT_EQ(sample_->SetActualDataLength(length), result) << length;
    EXPECT_EQ(sample_->GetActualDataLength(), result == S_OK ? length : 50);
  }
}

TEST_F(MediaSample, TypeIsCopiedInAndOut) {
  CMediaType type(&MEDIATYPE_Audio);
  type.SetFormat(reinterpret_cast<const BYTE*>("abc"), 3);
  ASSERT_EQ(sample_->SetMediaType(&type), S_OK);
  type.Format()[0] = 'X';
  AM_MEDIA_TYPE* copy = nullptr;
  ASSERT_EQ(sample_->GetMediaType(&copy), S_OK);
  EXPECT_EQ(std::memcmp(copy->pbFormat, "abc", 3), 0);
  EXPECT_NE(copy, properties().pMediaType);
  DeleteMediaType(copy);
  {
    const FaultAt fault(FaultPoint::kTaskAllocation, 1);
    EXPECT_EQ(sample_->GetMediaType(&copy), E_OUTOFMEMORY);
    EXPECT_EQ(copy, nullptr);
  }
  {
    const FaultAt fault(FaultPoint::kTaskAllocation, 2);
    EXPECT_EQ(sample_->SetMediaType(&type), E_OUTOFMEMORY);
  }
  // The record that GetProperties shows is the sample's own, and may be set again.
  EXPECT_EQ(sample_->SetMediaType(properties().pMediaType), S_OK);
  EXPECT_EQ(std::memcmp(properties().pMediaType->pbFormat, "abc", 3), 0);
  EXPECT_EQ(sample_->SetMediaType(nullptr), S_OK);
  EXPECT_EQ(sample_->GetMediaType(&copy), S_FALSE);
}

TEST_F(MediaSample, PropertiesAreGivenAsFarAsAskedFor) {
  sample_->SetActualDataLength(9);
  sample_->SetSyncPoint(TRUE);
  const AM_SAMPLE2_PROPERTIES whole = properties();
  EXPECT_EQ(whole.cbData, sizeof whole);
  EXPECT_EQ(whole.lActual, 9);
  EXPECT_EQ(whole.dwSampleFlags, AM_SAMPLE_SPLICEPOINT);
  EXPECT_EQ(whole.pbBuffer, pointer_of(*sample_.get()));
  EXPECT_EQ(whole.cbBuffer, kSize);
  for (const DWORD size : {0U, 4U, 16U, 17U, 63U, 64U, 80U}) {
    BYTE bytes[80];
    std::memset(bytes, 0xEE, sizeof bytes);
    EXPECT_EQ(sample2_->GetProperties(size, size != 0 ? bytes : nullptr), S_OK);
    const DWORD given = std::min<DWORD>(size, sizeof whole);
    AM_SAMPLE2_PROPERTIES expected = whole;
    expected.cbData = given;
    EXPECT_EQ(std::memcmp(bytes, &expected, given), 0) << size;
    for (std::size_t i = given; i < sizeof bytes; ++i) ASSERT_EQ(bytes[i], 0xEE) << size;
  }
  EXPECT_EQ(sample2_->GetProperties(8, nullptr), E_POINTER);
}

TEST_F(MediaSample, PropertiesAreTakenWholeOrNotAtAll) {
  BYTE other = 0;
  struct Case {
    const char* what;
    void (*change)(AM_SAMPLE2_PROPERTIES&, BYTE*);
    HRESULT result;
  };
  const Case cases[] = {
      {"as read", [](AM_SAMPLE2_PROPERTIES&, BYTE*) {}, S_OK},
      {"unknown flag", [](AM_SAMPLE2_PROPERTIES& p, BYTE*) { p.dwSampleFlags = 0x200; }, E_INVALIDARG},
      {"other buffer", [](AM_SAMPLE2_PROPERTIES& p, BYTE* b) { p.pbBuffer = b; }, E_INVALIDARG},
      {"no buffer", [](AM_SAMPLE2_PROPERTIES& p, BYTE*) { p.pbBuffer = nullptr, p.cbBuffer = 0; }, S_OK},
      {"other size", [](AM_SAMPLE2_PROPERTIES& p, BYTE*) { p.cbBuffer = kSize - 1; }, E_INVALIDARG},
      {"too much data", [](AM_SAMPLE2_PROPERTIES& p, BYTE*) { p.lActual = kSize + 1; }, E_INVALIDARG},
      {"less than no data", [](AM_SAMPLE2_PROPERTIES& p, BYTE*) { p.lActual = -1; }, E_INVALIDARG},
      {"type without a type",
       [](AM_SAMPLE2_PROPERTIES& p, BYTE*) { p.dwSampleFlags = AM_SAMPLE_TYPECHANGED; }, E_INVALIDARG},
  };
  for (const Case& c : cases) {
    AM_SAMPLE2_PROPERTIES record = properties();
    record.tStart = 77;
    record.dwSampleFlags = AM_SAMPLE_PREROLL;
    c.change(record, &other);
    take_again();
    REFERENCE_TIME before = 5;
    sample_->SetTime(&before, nullptr);
    EXPECT_EQ(sample2_->SetProperties(sizeof record, reinterpret_cast<const BYTE*>(&record)), c.result)
        << c.what;
    EXPECT_EQ(properties().tStart, c.result == S_OK ? 77 : 5) << c.what;
    EXPECT_EQ(properties().dwSampleFlags,
              c.result == S_OK ? record.dwSampleFlags : DWORD{AM_SAMPLE_TIMEVALID});
  }
}

TEST_F(MediaSample, PropertiesThatAreNotReachedStay) {
  REFERENCE_TIME start = 5;
  REFERENCE_TIME end = 6;
  sample_->SetTime(&start, &end);
  AM_SAMPLE2_PROPERTIES record{};
  record.dwTypeSpecificFlags = 3;
  record.dwSampleFlags = AM_SAMPLE_PREROLL;
  record.lActual = 20;
  record.tStart = 88;
  record.tStop = 99;
  constexpr DWORD kSizeSet = offsetof(AM_SAMPLE2_PROPERTIES, tStop);
  ASSERT_EQ(sample2_->SetProperties(kSizeSet, reinterpret_cast<const BYTE*>(&record)), S_OK);
  AM_SAMPLE2_PROPERTIES expected = record;
  expected.tStop = 6;
  const AM_SAMPLE2_PROPERTIES now = properties();
  expected.cbData = now.cbData;
  expected.pbBuffer = now.pbBuffer;
  expected.cbBuffer = now.cbBuffer;
  EXPECT_EQ(std::memcmp(&now, &expected, sizeof now), 0);
}

TEST_F(MediaSample, TypeMayComeWithTheProperties) {
  CMediaType type(&MEDIATYPE_Video);
  AM_SAMPLE2_PROPERTIES record = properties();
  const auto set = [&] {
    return sample2_->SetProperties(sizeof record, reinterpret_cast<const BYTE*>(&record));
  };
  record.dwSampleFlags = AM_SAMPLE_TYPECHANGED;
  record.pMediaType = &type;
  EXPECT_EQ(set(), S_OK);
  EXPECT_EQ(properties().pMediaType->majortype, MEDIATYPE_Video);
  EXPECT_NE(properties().pMediaType, &type);
  {
    const FaultAt fault(FaultPoint::kTaskAllocation, 1);
    EXPECT_EQ(set(), E_OUTOFMEMORY);
  }
  record.dwSampleFlags = 0;
  EXPECT_EQ(set(), S_OK);
  EXPECT_EQ(properties().pMediaType, nullptr);
}

TEST_F(MediaSample, NullPointersAreRefusedByItAndItsAllocator) {
  LONGLONG time = 0;
  ALLOCATOR_PROPERTIES record{};
  for (const HRESULT hr :
       {sample_->SetMediaTime(&time, nullptr), sample2_->SetProperties(8, nullptr),
        allocator_->SetProperties(nullptr, &record), allocator_->SetProperties(&record, nullptr),
        allocator_->GetProperties(nullptr), allocator_->GetBuffer(nullptr, nullptr, nullptr, 0)}) {
    EXPECT_EQ(hr, E_POINTER);
  }
  EXPECT_EQ(sample2_->SetProperties(0, nullptr), S_OK) << "of no size";
}

}  // namespace
