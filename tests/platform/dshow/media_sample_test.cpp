// CMediaSample: what survives the return to the allocator, times, data length.
#include <gtest/gtest.h>

#include <cstring>
#include <optional>

#include "tests/platform/dshow/allocator_double.h"

namespace zdr::test {
namespace {

using com::ComPtr;

constexpr LONG kSize = 100;

class MediaSample : public testing::Test {
 protected:
  ~MediaSample() override {
    sample_.reset();
    allocator_->Decommit();
  }

  AM_SAMPLE2_PROPERTIES properties(DWORD size = sizeof(AM_SAMPLE2_PROPERTIES)) {
    ComPtr<IMediaSample2> sample2;
    EXPECT_EQ(sample_->QueryInterface(IID_IMediaSample2, sample2.out_void()), S_OK);
    AM_SAMPLE2_PROPERTIES record;
    std::memset(&record, 0xEE, sizeof record);
    EXPECT_EQ(sample2->GetProperties(size, reinterpret_cast<BYTE*>(&record)), S_OK);
    return record;
  }

  ComPtr<CountedAllocator> allocator_ = make_committed(1, kSize);
  ComPtr<IMediaSample> sample_ = take(*allocator_.get());
};

TEST_F(MediaSample, KeptReturnClearsFlagsButNeitherLengthNorStoredTimes) {
  EXPECT_EQ(sample_->GetActualDataLength(), kSize) << "of a new sample";
  REFERENCE_TIME start = 1000;
  REFERENCE_TIME end = 2000;
  sample_->SetTime(&start, &end);
  sample_->SetSyncPoint(TRUE);
  sample_->SetPreroll(TRUE);
  sample_->SetDiscontinuity(TRUE);
  sample_->SetActualDataLength(7);
  AM_SAMPLE2_PROPERTIES record = properties();
  EXPECT_EQ(record.dwSampleFlags, AM_SAMPLE_SPLICEPOINT | AM_SAMPLE_PREROLL | AM_SAMPLE_DATADISCONTINUITY |
                                      AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID);
  EXPECT_EQ(record.pbBuffer, pointer_of(*sample_.get()));
  EXPECT_EQ(record.cbBuffer, kSize);

  sample_.reset();
  sample_ = take(*allocator_.get());
  EXPECT_EQ(sample_->GetTime(&start, &end), VFW_E_SAMPLE_TIME_NOT_SET);
  record = properties();
  EXPECT_EQ(record.dwSampleFlags, 0U);
  EXPECT_EQ(record.lActual, 7);
  EXPECT_EQ(record.tStart, 1000);
  EXPECT_EQ(record.tStop, 2000);
  record = properties(offsetof(AM_SAMPLE2_PROPERTIES, tStop));
  EXPECT_EQ(record.cbData, offsetof(AM_SAMPLE2_PROPERTIES, tStop));
  EXPECT_EQ(record.tStart, 1000);
  EXPECT_LT(record.tStop, 0) << "not written";
}

TEST_F(MediaSample, TimesHaveThreeForms) {
  const struct {
    std::optional<REFERENCE_TIME> start;
    std::optional<REFERENCE_TIME> end;
    HRESULT result;
    REFERENCE_TIME read_end;
  } cases[] = {
      {100, 200, S_OK, 200},
      {100, std::nullopt, VFW_S_NO_STOP_TIME, 101},
      {200, 100, S_OK, 100},
      {INT64_MAX, std::nullopt, VFW_S_NO_STOP_TIME, INT64_MIN},
      {std::nullopt, std::nullopt, VFW_E_SAMPLE_TIME_NOT_SET, 0},
      {std::nullopt, 5, VFW_E_SAMPLE_TIME_NOT_SET, 0},
  };
  for (auto c : cases) {
    EXPECT_EQ(sample_->SetTime(c.start ? &*c.start : nullptr, c.end ? &*c.end : nullptr), S_OK);
    REFERENCE_TIME start = 0;
    REFERENCE_TIME end = 0;
    EXPECT_EQ(sample_->GetTime(&start, &end), c.result);
    EXPECT_EQ(start, c.start.value_or(0));
    EXPECT_EQ(end, c.read_end);
  }
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

}  // namespace
}  // namespace zdr::test
