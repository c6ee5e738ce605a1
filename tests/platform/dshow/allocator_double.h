// A memory allocator that shows how many threads wait and how many samples are free, and helpers to take
// samples.
#pragma once

#include <com_ptr.h>
#include <gtest/gtest.h>
#include <streams.h>

#include <thread>

namespace zdr::test {

class CountedAllocator final : public CMemAllocator {
 public:
  CountedAllocator() : CMemAllocator(NAME("CountedAllocator"), nullptr, nullptr) {}

  // Once a waiter is counted, its next step is to wait: it counts itself under the lock that it then
  // releases.
  void wait_for_waiters(LONG count) {
    for (bool all = false; !all; std::this_thread::yield()) {
      const CAutoLock lock(this);
      all = m_lWaiting == count;
    }
  }
  LONG free_count() {
    const CAutoLock lock(this);
    return m_lFree.GetCount();
  }
};

inline com::ComPtr<CountedAllocator> make_allocator(ALLOCATOR_PROPERTIES request, HRESULT result = S_OK) {
  com::ComPtr<CountedAllocator> allocator(new CountedAllocator);
  ALLOCATOR_PROPERTIES actual{};
  EXPECT_EQ(allocator->SetProperties(&request, &actual), result);
  return allocator;
}

inline com::ComPtr<CountedAllocator> make_committed(LONG buffers, LONG size) {
  auto allocator = make_allocator({buffers, size, 1, 0});
  EXPECT_EQ(allocator->Commit(), S_OK);
  return allocator;
}

// Null if no sample is free.
inline com::ComPtr<IMediaSample> take(IMemAllocator& allocator, DWORD flags = AM_GBF_NOWAIT) {
  com::ComPtr<IMediaSample> sample;
  allocator.GetBuffer(sample.out(), nullptr, nullptr, flags);
  return sample;
}

inline BYTE* pointer_of(IMediaSample& sample) {
  BYTE* pointer = nullptr;
  EXPECT_EQ(sample.GetPointer(&pointer), S_OK);
  return pointer;
}

}  // namespace zdr::test
