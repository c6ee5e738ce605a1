// CMemAllocator: properties, commits, the layout of the memory, the list of free samples; its samples: what
// survives their return, times, data length; and waits and returns between threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <future>
#include <random>
#include <thread>
#include <tuple>
#include <vector>

#include "tests/platform/dshow/allocator_double.h"
#include "tests/platform/fault_at.h"

namespace zdr::test {
namespace {

using com::ComPtr;
using platform::FaultPoint;

using Values = std::array<LONG, 4>;

Values values_of(const ALLOCATOR_PROPERTIES& properties) {
  return {properties.cBuffers, properties.cbBuffer, properties.cbAlign, properties.cbPrefix};
}

HRESULT set_properties(CMemAllocator& allocator, ALLOCATOR_PROPERTIES request) {
  ALLOCATOR_PROPERTIES actual;
  return allocator.SetProperties(&request, &actual);
}

TEST(MemAllocator, KeptOddAlignmentsAndCountsAreAcceptedUntilCommit) {
  // The request; the result and the rounded size; the result of the commit.
  const std::tuple<ALLOCATOR_PROPERTIES, HRESULT, LONG, HRESULT> cases[] = {
      {{4, 100, 16, 0}, S_OK, 112, S_OK},
      {{4, 112, 16, 0}, S_OK, 112, S_OK},
      {{4, 100, 16, 8}, S_OK, 104, S_OK},
      {{4, 100, 0x10000, 0}, S_OK, 0x10000, S_OK},
      {{4, 100, 0x20000, 0}, VFW_E_BADALIGN, 0, VFW_E_SIZENOTSET},
      {{4, 100, 0, 0}, VFW_E_BADALIGN, 0, VFW_E_SIZENOTSET},
      {{1, INT32_MAX - 1, 16, 0}, E_OUTOFMEMORY, 0, VFW_E_SIZENOTSET},
      {{4, 100, 3, 0}, S_OK, 102, S_OK},
      {{0, 100, 1, 0}, S_OK, 100, VFW_E_SIZENOTSET},
      {{1, 0, 1, 0}, S_OK, 0, VFW_E_SIZENOTSET},
      {{1, 100, 1, -50}, S_OK, 100, VFW_E_SIZENOTSET},
      {{2, 0x40000000, 1, 0}, S_OK, 0x40000000, E_OUTOFMEMORY},
      {{1, 1, 1, INT32_MAX}, S_OK, 1, E_OUTOFMEMORY},
      {{INT32_MAX, 1, 1, 1}, S_OK, 1, E_OUTOFMEMORY},
      {{1, 1, 1, 0}, S_OK, 1, S_OK},
  };
  for (const auto& [wanted, result, size, committed] : cases) {
    SCOPED_TRACE(testing::PrintToString(values_of(wanted)));
    ComPtr<CountedAllocator> allocator(new CountedAllocator);
    ALLOCATOR_PROPERTIES request = wanted;
    Values expected{};
    if (result == S_OK) expected = {wanted.cBuffers, size, wanted.cbAlign, wanted.cbPrefix};
    EXPECT_EQ(allocator->SetProperties(&request, &request), result);  // one record for both
    EXPECT_EQ(values_of(request), expected);
    EXPECT_EQ(allocator->GetProperties(&request), S_OK);
    EXPECT_EQ(values_of(request), expected);
    EXPECT_EQ(allocator->Commit(), committed);
    EXPECT_EQ(take(*allocator.get()).get() != nullptr, committed == S_OK);
    allocator->Decommit();
  }
}

TEST(MemAllocator, PropertiesCannotChangeWhileBuffersAreInUse) {
  const auto allocator = make_committed(2, 10);
  const ALLOCATOR_PROPERTIES request{3, 10, 1, 0};
  EXPECT_EQ(allocator->Commit(), S_OK) << "again";
  EXPECT_EQ(set_properties(*allocator.get(), request), VFW_E_ALREADY_COMMITTED);
  auto sample = take(*allocator.get());
  EXPECT_EQ(allocator->Decommit(), S_OK);
  EXPECT_EQ(set_properties(*allocator.get(), request), VFW_E_BUFFERS_OUTSTANDING);
  sample.reset();
  EXPECT_EQ(set_properties(*allocator.get(), request), S_OK);
  ASSERT_EQ(allocator->Commit(), S_OK);
  EXPECT_EQ(allocator->free_count(), 3);
  allocator->Decommit();
}

TEST(MemAllocator, BuffersFollowTheirPrefixesInOneBlock) {
  const auto allocator = make_allocator({5, 100, 64, 24});
  ASSERT_EQ(allocator->Commit(), S_OK);
  std::vector<ComPtr<IMediaSample>> samples;
  std::vector<BYTE*> starts;
  for (int i = 0; i < 5; ++i) {
    samples.push_back(take(*allocator.get()));
    EXPECT_EQ(samples.back()->GetSize(), 104);
    starts.push_back(pointer_of(*samples.back().get()) - 24);
    std::memset(starts.back(), i, 128);  // prefix and data belong to this sample alone
  }
  std::sort(starts.begin(), starts.end());
  EXPECT_EQ(reinterpret_cast<uintptr_t>(starts[0]) % 0x10000, 0U);
  for (std::size_t i = 1; i < 5; ++i) EXPECT_EQ(starts[i] - starts[i - 1], 128);
  allocator->Decommit();
}

TEST(MemAllocator, CanCommitAgainAfterRunningOutOfMemory) {
  // The block and each of three samples may fail.
  for (int nth = 1; nth <= 4; ++nth) {
    auto allocator = make_allocator({3, 10, 1, 0});
    {
      const FaultAt fault(FaultPoint::kHeapAllocation, nth);
      EXPECT_EQ(allocator->Commit(), E_OUTOFMEMORY) << nth;
      EXPECT_TRUE(fault.triggered()) << nth;
    }
    EXPECT_FALSE(take(*allocator.get()));
    EXPECT_EQ(allocator->Commit(), S_OK) << "after failure " << nth;
    EXPECT_EQ(allocator->free_count(), 3);
    allocator->Decommit();
    allocator.reset();
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
  }
}

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
  AM_SAMPLE2_PROPERTIES record = properties();
  EXPECT_TRUE(record.lActual == kSize && record.dwSampleFlags == 0) << "of a new sample";
  REFERENCE_TIME start = 1000;
  REFERENCE_TIME end = 2000;
  sample_->SetTime(&start, &end);
  sample_->SetSyncPoint(TRUE);
  sample_->SetPreroll(TRUE);
  sample_->SetDiscontinuity(TRUE);
  sample_->SetActualDataLength(7);
  record = properties();
  EXPECT_EQ(record.dwSampleFlags, AM_SAMPLE_SPLICEPOINT | AM_SAMPLE_PREROLL | AM_SAMPLE_DATADISCONTINUITY |
                                      AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID);
  EXPECT_EQ(record.pbBuffer, pointer_of(*sample_.get()));
  EXPECT_EQ(record.cbBuffer, kSize);

  sample_.reset();
  sample_ = take(*allocator_.get());
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
  using Times = std::tuple<HRESULT, REFERENCE_TIME, REFERENCE_TIME>;
  const auto stored = [&](REFERENCE_TIME* start, REFERENCE_TIME* end) {
    EXPECT_EQ(sample_->SetTime(start, end), S_OK);
    Times times{};
    std::get<0>(times) = sample_->GetTime(&std::get<1>(times), &std::get<2>(times));
    return times;
  };
  REFERENCE_TIME last = INT64_MAX;
  REFERENCE_TIME end = 100;
  EXPECT_EQ(stored(&last, &end), Times(S_OK, INT64_MAX, 100));
  EXPECT_EQ(stored(&end, nullptr), Times(VFW_S_NO_STOP_TIME, 100, 101));
  EXPECT_EQ(stored(&last, nullptr), Times(VFW_S_NO_STOP_TIME, INT64_MAX, INT64_MIN));
  EXPECT_EQ(stored(nullptr, &end), Times(VFW_E_SAMPLE_TIME_NOT_SET, 0, 0));
}

TEST_F(MediaSample, DataStaysWithinTheBuffer) {
  for (const LONG good : {LONG{0}, kSize}) EXPECT_EQ(sample_->SetActualDataLength(good), S_OK);
  for (const LONG bad : {LONG{-1}, kSize + 1}) {
    EXPECT_EQ(sample_->SetActualDataLength(bad), VFW_E_BUFFER_OVERFLOW);
    EXPECT_EQ(sample_->GetActualDataLength(), kSize);
  }
}

// --- Between threads ---

TEST(AllocatorThreads, ReturnedBufferOrDecommitEndsAWait) {
  enum { kReturn, kDecommit, kDecommitAndCommit };
  for (const int end : {kReturn, kDecommit, kDecommitAndCommit}) {
    auto allocator = make_committed(1, 10);
    auto held = take(*allocator.get());
    ComPtr<IMediaSample> sample;
    auto asker = std::async(std::launch::async,
                            [&] { return allocator->GetBuffer(sample.out(), nullptr, nullptr, 0); });
    allocator->wait_for_waiters(1);
    {
      const CAutoLock lock(allocator.get());  // the waiter sees only the result
      if (end != kReturn) allocator->Decommit();
      if (end == kDecommitAndCommit) allocator->Commit();
      held.reset();
    }
    EXPECT_EQ(asker.get(), end == kReturn ? S_OK : VFW_E_NOT_COMMITTED) << end;
    allocator->Decommit();
    allocator.reset();
    sample.reset();  // the last return destroys the allocator
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
  }
}

// Takes and marks buffers until `stop` is set, and checks and returns each after the next one. A buffer that
// two threads hold would show two marks. A thread waits with at most one of the five buffers, so the three
// cannot all wait.
void use_buffers(CountedAllocator& allocator, BYTE mark, const std::atomic<bool>& stop,
                 std::atomic<int>& uses) {
  std::mt19937 random(mark);
  ComPtr<IMediaSample> held;
  while (!stop) {
    ComPtr<IMediaSample> sample = take(allocator, random() % 3 == 0 ? DWORD{0} : DWORD{AM_GBF_NOWAIT});
    if (sample) {
      std::memset(pointer_of(*sample.get()), mark, 64);
      sample->SetActualDataLength(static_cast<LONG>(mark));
      ++uses;
    }
    if (held) {
      const BYTE* const data = pointer_of(*held.get());
      ASSERT_EQ(std::count(data, data + 64, mark), 64);
      ASSERT_EQ(held->GetActualDataLength(), mark);
    }
    held = std::move(sample);
  }
}

TEST(AllocatorThreads, NoBufferIsLentTwiceWhileCommitsComeAndGo) {
  constexpr int kUses = 20000;
  auto allocator = make_committed(5, 64);
  std::atomic<bool> stop{false};
  std::atomic<int> uses{0};
  std::vector<std::thread> threads;
  for (BYTE mark = 1; mark <= 3; ++mark) {
    threads.emplace_back([&, mark] { use_buffers(*allocator.get(), mark, stop, uses); });
  }
  while (uses < kUses) {
    ASSERT_EQ(allocator->Decommit(), S_OK);
    ASSERT_EQ(allocator->Commit(), S_OK);
    std::this_thread::yield();
  }
  stop = true;
  allocator->Decommit();  // ends the waits
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(allocator->free_count(), 5);
  allocator.reset();
  EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

}  // namespace
}  // namespace zdr::test
