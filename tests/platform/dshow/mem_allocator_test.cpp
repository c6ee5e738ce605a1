// CMemAllocator on one thread: properties, commits, the layout of the memory, the list of free samples.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <ostream>
#include <vector>

#include "tests/platform/dshow/allocator_double.h"
#include "tests/platform/fault_at.h"

bool operator==(const ALLOCATOR_PROPERTIES& a, const ALLOCATOR_PROPERTIES& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}
std::ostream& operator<<(std::ostream& out, const ALLOCATOR_PROPERTIES& p) {
  return out << p.cBuffers << " x " << p.cbBuffer << " align " << p.cbAlign << " prefix " << p.cbPrefix;
}

namespace zdr::test {
namespace {

using com::ComPtr;
using platform::FaultPoint;

HRESULT set_properties(CMemAllocator& allocator, ALLOCATOR_PROPERTIES request) {
  ALLOCATOR_PROPERTIES actual;
  return allocator.SetProperties(&request, &actual);
}

TEST(MemAllocator, KeptOddAlignmentsAndCountsAreAcceptedUntilCommit) {
  const struct {
    ALLOCATOR_PROPERTIES request;
    HRESULT result;
    LONG size;
    HRESULT commit = S_OK;
  } cases[] = {
      {{4, 100, 1, 0}, S_OK, 100},
      {{4, 100, 16, 0}, S_OK, 112},
      {{4, 112, 16, 0}, S_OK, 112},
      {{4, 100, 16, 8}, S_OK, 104},
      {{4, 100, 0x10000, 0}, S_OK, 0x10000},
      {{4, 100, 0x20000, 0}, VFW_E_BADALIGN, 0},
      {{4, 100, 0x10001, 0}, VFW_E_BADALIGN, 0},
      {{4, 100, 0, 0}, VFW_E_BADALIGN, 0},
      {{4, 100, -1, 0}, VFW_E_BADALIGN, 0},
      {{1, INT32_MAX - 1, 16, 0}, E_OUTOFMEMORY, 0},
      {{4, 100, 3, 0}, S_OK, 102},
      {{0, 100, 1, 0}, S_OK, 100, VFW_E_SIZENOTSET},
      {{-1, 0, 1, 0}, S_OK, 0, VFW_E_SIZENOTSET},
      {{1, 0, 1, 0}, S_OK, 0, VFW_E_SIZENOTSET},
      {{1, -5, 1, 0}, S_OK, -5, VFW_E_SIZENOTSET},
      {{1, 100, 1, -50}, S_OK, 100, VFW_E_SIZENOTSET},
      {{2, 0x40000000, 1, 0}, S_OK, 0x40000000, E_OUTOFMEMORY},
      {{1, 1, 1, INT32_MAX}, S_OK, 1, E_OUTOFMEMORY},
      {{INT32_MAX, 1, 1, 1}, S_OK, 1, E_OUTOFMEMORY},
      {{1, 1, 1, 0}, S_OK, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.request));
    ComPtr<CountedAllocator> allocator(new CountedAllocator);
    ALLOCATOR_PROPERTIES request = c.request;
    ALLOCATOR_PROPERTIES expected{};
    if (c.result == S_OK) expected = {c.request.cBuffers, c.size, c.request.cbAlign, c.request.cbPrefix};
    EXPECT_EQ(allocator->SetProperties(&request, &request), c.result);  // one record for both
    EXPECT_EQ(request, expected);
    ALLOCATOR_PROPERTIES stored = {9, 9, 9, 9};
    EXPECT_EQ(allocator->GetProperties(&stored), S_OK);
    EXPECT_EQ(stored, expected);
    const HRESULT commit = c.result == S_OK ? c.commit : VFW_E_SIZENOTSET;
    EXPECT_EQ(allocator->Commit(), commit);
    EXPECT_EQ(take(*allocator.get()).get() != nullptr, commit == S_OK);
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
  EXPECT_EQ(allocator->Decommit(), S_OK) << "again";
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

TEST(MemAllocator, GetBufferReturnsAtOnceWhenItNeedNotWait) {
  const auto allocator = make_committed(1, 10);
  ComPtr<IMediaSample> sample;
  EXPECT_EQ(allocator->GetBuffer(sample.out(), nullptr, nullptr, AM_GBF_NOWAIT), S_OK);
  EXPECT_EQ(sample->AddRef(), 2U) << "the sample comes with one reference";
  sample->Release();
  for (const HRESULT result : {VFW_E_TIMEOUT, VFW_E_NOT_COMMITTED}) {
    IMediaSample* none = sample.get();
    EXPECT_EQ(allocator->GetBuffer(&none, nullptr, nullptr, AM_GBF_NOWAIT), result);
    EXPECT_EQ(none, nullptr);
    allocator->Decommit();
  }
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

}  // namespace
}  // namespace zdr::test
