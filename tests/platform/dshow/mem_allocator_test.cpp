// CMemAllocator on one thread: properties, the life of commits, geometry of the memory, the free list.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <future>
#include <ostream>
#include <vector>

#include "tests/platform/dshow/allocator_double.h"
#include "tests/platform/fault_at.h"

using zdr::com::ComPtr;

using zdr::platform::FaultPoint;

bool operator==(const ALLOCATOR_PROPERTIES& a, const ALLOCATOR_PROPERTIES& b) {
  return a.cBuffers == b.cBuffers && a.cbBuffer == b.cbBuffer && a.cbAlign == b.cbAlign &&
         a.cbPrefix == b.cbPrefix;
}
std::ostream& operator<<(std::ostream& out, const ALLOCATOR_PROPERTIES& p) {
  return out << p.cBuffers << " x " << p.cbBuffer << " align " << p.cbAlign << " prefix " << p.cbPrefix;
}

namespace {

HRESULT set_properties(CMemAllocator& allocator, ALLOCATOR_PROPERTIES request) {
  ALLOCATOR_PROPERTIES actual;
  return allocator.SetProperties(&request, &actual);
}

LONG free_count(CMemAllocator& allocator) {
  LONG count = -1;
  EXPECT_EQ(allocator.GetFreeCount(&count), S_OK);
  return count;
}

TEST(MemAllocator, TakesOrRefusesPropertiesAsRequired) {
  struct Case {
    ALLOCATOR_PROPERTIES request;
    HRESULT result;
    LONG size;
  };
  const Case cases[] = {
      {{4, 100, 1, 0}, S_OK, 100},
      {{4, 100, 16, 0}, S_OK, 112},
      {{4, 112, 16, 0}, S_OK, 112},
      {{4, 100, 16, 8}, S_OK, 104},
      {{4, 100, 0x10000, 0}, S_OK, 0x10000},
      {{4, 100, 0x20000, 0}, VFW_E_BADALIGN, 0},
      {{4, 100, 0x10001, 0}, VFW_E_BADALIGN, 0},
      {{4, 100, 0, 0}, VFW_E_BADALIGN, 0},
      {{4, 100, -1, 0}, VFW_E_BADALIGN, 0},
      // Alignments that are no power of two, and sizes that cannot be, are taken: Commit has its own say.
      {{4, 100, 3, 0}, S_OK, 102},
      {{0, 100, 1, 0}, S_OK, 100},
      {{-1, 0, 1, 0}, S_OK, 0},
      {{1, INT32_MAX - 1, 16, 0}, E_OUTOFMEMORY, 0},
  };
  for (const Case& c : cases) {
    const auto allocator = make_allocator();
    ALLOCATOR_PROPERTIES request = c.request;
    ALLOCATOR_PROPERTIES actual = {9, 9, 9, 9};
    EXPECT_EQ(allocator->SetProperties(&request, &actual), c.result) << c.request;
    ALLOCATOR_PROPERTIES expected{};
    if (c.result == S_OK) expected = {c.request.cBuffers, c.size, c.request.cbAlign, c.request.cbPrefix};
    EXPECT_EQ(actual, expected) << c.request;
    ALLOCATOR_PROPERTIES stored = {9, 9, 9, 9};
    EXPECT_EQ(allocator->GetProperties(&stored), S_OK);
    EXPECT_EQ(stored, expected) << c.request;
  }
  const auto allocator = make_allocator();
  ALLOCATOR_PROPERTIES same = properties_of(2, 10, 16);
  EXPECT_EQ(allocator->SetProperties(&same, &same), S_OK) << "one record for both";
  EXPECT_EQ(same.cbBuffer, 16);
}

TEST(MemAllocator, CommitWantsUsableProperties) {
  EXPECT_EQ(make_allocator()->Commit(), VFW_E_SIZENOTSET) << "never set";
  struct Case {
    ALLOCATOR_PROPERTIES request;
    HRESULT result;
  };
  const Case cases[] = {
      {{0, 100, 1, 0}, VFW_E_SIZENOTSET},     {{-1, 100, 1, 0}, VFW_E_SIZENOTSET},
      {{1, 0, 1, 0}, VFW_E_SIZENOTSET},       {{1, -5, 1, 0}, VFW_E_SIZENOTSET},
      {{1, 100, 1, -50}, VFW_E_SIZENOTSET},   {{3, 0x40000000, 1, 0}, E_OUTOFMEMORY},
      {{2, 0x40000000, 1, 0}, E_OUTOFMEMORY}, {{1, 1, 1, INT32_MAX}, E_OUTOFMEMORY},
      {{INT32_MAX, 1, 1, 1}, E_OUTOFMEMORY},  {{1, 1, 1, 0}, S_OK},
  };
  for (const Case& c : cases) {
    const auto allocator = make_allocator();
    ASSERT_EQ(set_properties(*allocator.get(), c.request), S_OK) << c.request;
    EXPECT_EQ(allocator->Commit(), c.result) << c.request;
    EXPECT_EQ(take(*allocator.get()).get() != nullptr, c.result == S_OK) << c.request;
    allocator->Decommit();
  }
}

TEST(MemAllocator, PropertiesStandWhileBuffersAreInUse) {
  const auto allocator = make_committed(2, 10);
  const ALLOCATOR_PROPERTIES request = properties_of(3, 20);
  EXPECT_EQ(allocator->Commit(), S_OK) << "again";
  EXPECT_EQ(set_properties(*allocator.get(), request), VFW_E_ALREADY_COMMITTED);
  auto sample = take(*allocator.get());
  EXPECT_EQ(free_count(*allocator.get()), 1);
  EXPECT_EQ(allocator->Decommit(), S_OK);
  EXPECT_EQ(allocator->Decommit(), S_OK) << "again";
  EXPECT_EQ(set_properties(*allocator.get(), request), VFW_E_BUFFERS_OUTSTANDING);
  sample.reset();
  EXPECT_EQ(set_properties(*allocator.get(), request), S_OK);
  EXPECT_EQ(free_count(*allocator.get()), 3) << "before any buffer is made";
}

TEST(MemAllocator, BuffersLieBehindTheirPrefixesInOneBlock) {
  const auto allocator = make_allocator();
  ASSERT_EQ(set_properties(*allocator.get(), properties_of(5, 100, 64, 24)), S_OK);
  ASSERT_EQ(allocator->Commit(), S_OK);
  std::vector<ComPtr<IMediaSample>> samples;
  std::vector<BYTE*> starts;
  for (int i = 0; i < 5; ++i) {
    samples.push_back(take(*allocator.get()));
    EXPECT_EQ(samples.back()->GetSize(), 104);
    starts.push_back(pointer_of(*samples.back().get()) - 24);
    std::memset(starts.back(), i, 128);  // prefix and data are ours, and nobody else's
  }
  std::sort(starts.begin(), starts.end());
  EXPECT_EQ(reinterpret_cast<uintptr_t>(starts[0]) % 0x10000, 0U);
  for (std::size_t i = 1; i < 5; ++i) EXPECT_EQ(starts[i] - starts[i - 1], 128);
  allocator->Decommit();
}

TEST(MemAllocator, GetBufferDoesNotWaitWhenItNeedNot) {
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

TEST(MemAllocator, WantOfMemoryLeavesItAsItWas) {
  // Three samples: the block and each of them may fail.
  for (int nth = 1; nth <= 4; ++nth) {
    auto allocator = make_allocator();
    set_properties(*allocator.get(), properties_of(3, 10));
    {
      const FaultAt fault(FaultPoint::kHeapAllocation, nth);
      EXPECT_EQ(allocator->Commit(), E_OUTOFMEMORY) << nth;
      EXPECT_TRUE(fault.struck()) << nth;
    }
    EXPECT_FALSE(take(*allocator.get()));
    EXPECT_EQ(allocator->Commit(), S_OK) << "after failure " << nth;
    EXPECT_TRUE(take(*allocator.get()));
    allocator->Decommit();
    allocator.reset();
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
  }
}

// Asks the allocator from another thread, which would never be answered if the lock were held.
class Listener final : public CUnknown, public IMemAllocatorNotifyCallbackTemp {
 public:
  explicit Listener(CMemAllocator& allocator) : CUnknown(NAME("Listener"), nullptr), allocator_(allocator) {}
  DECLARE_IUNKNOWN
  HRESULT NotifyRelease() override {
    std::async(std::launch::async, [this] { allocator_.GetFreeCount(&free_seen); }).get();
    return S_OK;
  }

  LONG free_seen = -1;

 private:
  CMemAllocator& allocator_;
};

TEST(MemAllocator, ReturnOfABufferIsToldWithoutTheLock) {
  auto allocator = make_committed(2, 10);
  auto* listener = new Listener(*allocator.get());
  const ComPtr<IMemAllocatorNotifyCallbackTemp> keep(listener);
  EXPECT_EQ(allocator->SetNotify(listener), S_OK);
  take(*allocator.get()).reset();
  EXPECT_EQ(listener->free_seen, 2);
  EXPECT_EQ(allocator->SetNotify(nullptr), S_OK);
  listener->free_seen = -1;
  take(*allocator.get()).reset();
  EXPECT_EQ(listener->free_seen, -1);
  allocator->Decommit();
}

}  // namespace
