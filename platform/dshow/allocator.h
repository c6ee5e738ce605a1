// Allocators: a fixed set of samples, lent to producers and taken back from the last consumer. All functions
// may be called from any thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "combase.h"
#include "media_sample.h"
#include "wxutil.h"

// The part that all allocators share: properties, commit and decommit, the list of free samples, waiting for
// a buffer. Derived classes supply the memory in Alloc and Free. The object's own lock (it is a CCritSec)
// guards all members.
class CBaseAllocator : public CUnknown, public IMemAllocator, public CCritSec {
 public:
  CBaseAllocator(CObjectName name, IUnknown* outer) noexcept;

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  HRESULT GetProperties(ALLOCATOR_PROPERTIES* properties) override;
  HRESULT Commit() override;
  HRESULT Decommit() override;
  HRESULT GetBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* end, DWORD flags) override;
  HRESULT ReleaseBuffer(IMediaSample* sample) override;

 protected:
  // Samples that are not lent, last in first out.
  class CSampleList {
   public:
    LONG GetCount() const noexcept { return m_nOnList; }
    void Add(CMediaSample* sample) noexcept;
    CMediaSample* RemoveHead() noexcept;

   private:
    CMediaSample* m_List = nullptr;
    LONG m_nOnList = 0;
  };

  // Releases the memory. Called with the lock held when no sample is lent.
  virtual void Free() = 0;
  // Fills the list of free samples; called with the lock held. The base checks the properties:
  // VFW_E_SIZENOTSET, S_FALSE when they have not changed since the last call, else S_OK.
  virtual HRESULT Alloc();

  // Stores the properties unchecked. VFW_E_ALREADY_COMMITTED, VFW_E_BUFFERS_OUTSTANDING.
  HRESULT store_properties(const ALLOCATOR_PROPERTIES& properties, ALLOCATOR_PROPERTIES* actual) noexcept;

  CSampleList m_lFree;
  LONG m_lWaiting = 0;    // threads waiting in GetBuffer
  LONG m_lCount = 0;      // buffers requested
  LONG m_lAllocated = 0;  // buffers made
  LONG m_lSize = 0;
  LONG m_lAlignment = 0;
  LONG m_lPrefix = 0;
  BOOL m_bChanged = FALSE;  // the properties have changed since the last Alloc
  BOOL m_bCommitted = FALSE;
  BOOL m_bDecommitInProgress = FALSE;

 private:
  // Changes with each decommit, so that a waiting thread notices one even after a new commit.
  ULONG m_cDecommits = 0;
  // Changes, with the lock held, whenever waiting threads have to look again. Unlike
  // std::condition_variable_any, it allocates nothing.
  std::atomic<uint32_t> wakes_{0};
};

// The allocator over one block of memory, which is aligned to 64 KiB.
class CMemAllocator : public CBaseAllocator {
 public:
  CMemAllocator(CObjectName name, IUnknown* outer, HRESULT* phr) noexcept;
  ~CMemAllocator() override;

  // Creator for class tables.
  static CUnknown* CreateInstance(IUnknown* outer, HRESULT* phr);

  HRESULT SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override;

 protected:
  // Does nothing: the memory is freed when the properties change or the allocator is destroyed.
  void Free() override;
  HRESULT Alloc() override;

 private:
  struct BlockDeleter {
    void operator()(BYTE* block) const noexcept;
  };

  bool allocate_block(std::size_t size) noexcept;
  bool make_samples(int64_t stride) noexcept;
  void really_free() noexcept;

  std::unique_ptr<BYTE[], BlockDeleter> m_pBuffer;
};
