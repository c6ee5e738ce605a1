// A CMemAllocator that shows how many threads wait in it, so that a test can tell a thread that is blocked
// from one that has not come yet.
#pragma once

#include <com_ptr.h>
#include <streams.h>

#include <thread>

class WatchedAllocator : public CMemAllocator {
 public:
  WatchedAllocator() : CMemAllocator(NAME("WatchedAllocator"), nullptr, nullptr) {}

  void wait_for_waiters(LONG count) {
    while (waiting() != count) std::this_thread::yield();
  }

 private:
  LONG waiting() {
    const CAutoLock lock(this);
    return m_lWaiting;
  }
};

inline zdr::com::ComPtr<WatchedAllocator> make_allocator() {
  return zdr::com::ComPtr<WatchedAllocator>(new WatchedAllocator);
}

inline ALLOCATOR_PROPERTIES properties_of(LONG count, LONG size, LONG alignment = 1, LONG prefix = 0) {
  return {count, size, alignment, prefix};
}

// Ready to give out buffers.
inline zdr::com::ComPtr<WatchedAllocator> make_committed(LONG count, LONG size) {
  zdr::com::ComPtr<WatchedAllocator> allocator = make_allocator();
  ALLOCATOR_PROPERTIES request = properties_of(count, size);
  ALLOCATOR_PROPERTIES actual;
  allocator->SetProperties(&request, &actual);
  allocator->Commit();
  return allocator;
}

inline zdr::com::ComPtr<IMediaSample> take(WatchedAllocator& allocator, DWORD flags = 0) {
  zdr::com::ComPtr<IMediaSample> sample;
  allocator.GetBuffer(sample.out(), nullptr, nullptr, flags);
  return sample;
}

inline BYTE* pointer_of(IMediaSample& sample) {
  BYTE* pointer = nullptr;
  sample.GetPointer(&pointer);
  return pointer;
}
