// The sample transport: samples over a fixed set of buffers, and the allocator that hands them out and takes
// them back. GetBuffer, ReleaseBuffer, Commit and Decommit may be called from any thread.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <memory>

#include "combase.h"
#include "sample_interfaces.h"
#include "wxutil.h"

class CBaseAllocator;

// One buffer with its times and flags. It belongs to its allocator for good and references it not: the
// allocator stays alive as long as a sample is out. One thread at a time works on a sample; AddRef and
// Release are free.
class CMediaSample : public IMediaSample2 {
 public:
  CMediaSample(CObjectName name, CBaseAllocator* allocator, HRESULT* phr, BYTE* buffer = nullptr,
               LONG length = 0) noexcept;
  virtual ~CMediaSample();
  CMediaSample(const CMediaSample&) = delete;
  CMediaSample& operator=(const CMediaSample&) = delete;

  HRESULT QueryInterface(REFIID riid, void** ppv) override;
  ULONG AddRef() override;
  // The last Release clears flags, type and stream id and returns the sample to the allocator; the data
  // length and the stored times stay, so a producer sets length and times for every sample.
  ULONG Release() override;

  HRESULT GetPointer(BYTE** ppBuffer) override;
  LONG GetSize() override;
  HRESULT GetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) override;
  HRESULT SetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) override;
  HRESULT IsSyncPoint() override;
  HRESULT SetSyncPoint(BOOL sync_point) override;
  HRESULT IsPreroll() override;
  HRESULT SetPreroll(BOOL preroll) override;
  LONG GetActualDataLength() override;
  HRESULT SetActualDataLength(LONG length) override;
  HRESULT GetMediaType(AM_MEDIA_TYPE** type) override;
  HRESULT SetMediaType(AM_MEDIA_TYPE* type) override;
  HRESULT IsDiscontinuity() override;
  HRESULT SetDiscontinuity(BOOL discontinuity) override;
  HRESULT GetMediaTime(LONGLONG* start, LONGLONG* end) override;
  HRESULT SetMediaTime(LONGLONG* start, LONGLONG* end) override;

  HRESULT GetProperties(DWORD size, BYTE* properties) override;
  HRESULT SetProperties(DWORD size, const BYTE* properties) override;

  // Gives the sample another buffer, of which it takes no ownership.
  HRESULT SetPointer(BYTE* buffer, LONG length) noexcept;

 protected:
  friend class CBaseAllocator;

  // As AM_SAMPLE_*, and one flag that GetProperties never shows.
  enum : DWORD {
    Sample_SyncPoint = AM_SAMPLE_SPLICEPOINT,
    Sample_Preroll = AM_SAMPLE_PREROLL,
    Sample_Discontinuity = AM_SAMPLE_DATADISCONTINUITY,
    Sample_TypeChanged = AM_SAMPLE_TYPECHANGED,
    Sample_TimeValid = AM_SAMPLE_TIMEVALID,
    Sample_MediaTimeValid = 0x20,
    Sample_TimeDiscontinuity = AM_SAMPLE_TIMEDISCONTINUITY,
    Sample_StopValid = AM_SAMPLE_STOPVALID,
    Sample_ValidFlags = 0x1FF,
  };

  DWORD m_dwFlags = 0;
  DWORD m_dwTypeSpecificFlags = 0;
  BYTE* m_pBuffer;
  LONG m_lActual;
  LONG m_cbBuffer;
  CBaseAllocator* m_pAllocator;
  CMediaSample* m_pNext = nullptr;  // in the allocator's free list
  REFERENCE_TIME m_Start = 0;
  REFERENCE_TIME m_End = 0;
  LONGLONG m_MediaStart = 0;
  LONG m_MediaEnd = 0;  // as a difference from m_MediaStart
  AM_MEDIA_TYPE* m_pMediaType = nullptr;
  DWORD m_dwStreamId = AM_STREAM_MEDIA;

 public:
  std::atomic<LONG> m_cRef{0};

 private:
  HRESULT has_flag(DWORD flag) const noexcept { return (m_dwFlags & flag) != 0 ? S_OK : S_FALSE; }
  HRESULT set_flag(DWORD flag, BOOL on) noexcept {
    m_dwFlags = on ? m_dwFlags | flag : m_dwFlags & ~flag;
    return S_OK;
  }
  HRESULT check_properties(DWORD size, const AM_SAMPLE2_PROPERTIES& record) const noexcept;
  HRESULT store_properties(DWORD size, const AM_SAMPLE2_PROPERTIES& record) noexcept;
};

// The rules of an allocator: properties, commit and decommit, the free list, waiting for a buffer. Derived
// classes supply the memory in Alloc and Free. The object's own lock (it is a CCritSec) guards all members.
class CBaseAllocator : public CUnknown, public IMemAllocatorCallbackTemp, public CCritSec {
 public:
  CBaseAllocator(CObjectName name, IUnknown* outer, HRESULT* phr, BOOL event = TRUE,
                 BOOL enable_release_callback = FALSE) noexcept;
  ~CBaseAllocator() override;

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  HRESULT SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override;
  HRESULT GetProperties(ALLOCATOR_PROPERTIES* properties) override;
  HRESULT Commit() override;
  HRESULT Decommit() override;
  HRESULT GetBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* end, DWORD flags) override;
  HRESULT ReleaseBuffer(IMediaSample* sample) override;
  HRESULT SetNotify(IMemAllocatorNotifyCallbackTemp* notify) override;
  HRESULT GetFreeCount(LONG* free_buffers) override;

 protected:
  // Samples that nobody uses, last in first out.
  class CSampleList {
   public:
    CMediaSample* Head() const noexcept { return m_List; }
    LONG GetCount() const noexcept { return m_nOnList; }
    void Add(CMediaSample* sample) noexcept;
    CMediaSample* RemoveHead() noexcept;

   private:
    CMediaSample* m_List = nullptr;
    LONG m_nOnList = 0;
  };

  // Gives up the memory once no sample is out; called with the lock held.
  virtual void Free() = 0;
  // Fills the free list; called with the lock held. The base checks the properties: VFW_E_SIZENOTSET, S_FALSE
  // when nothing has changed since the last time, else S_OK.
  virtual HRESULT Alloc();

  // Takes the properties as they are: VFW_E_ALREADY_COMMITTED, VFW_E_BUFFERS_OUTSTANDING.
  HRESULT take_properties(const ALLOCATOR_PROPERTIES& wanted, ALLOCATOR_PROPERTIES* actual) noexcept;

  CSampleList m_lFree;
  LONG m_lWaiting = 0;    // threads that wait in GetBuffer
  LONG m_lCount = 0;      // buffers asked for
  LONG m_lAllocated = 0;  // buffers made
  LONG m_lSize = 0;
  LONG m_lAlignment = 0;
  LONG m_lPrefix = 0;
  BOOL m_bChanged = FALSE;  // the properties, since the last Alloc
  BOOL m_bCommitted = FALSE;
  BOOL m_bDecommitInProgress = FALSE;
  IMemAllocatorNotifyCallbackTemp* m_pNotify = nullptr;
  const BOOL m_fEnableReleaseCallback;

 private:
  ULONG m_cDecommits = 0;  // tells a waiter that its commit is over
  std::condition_variable_any sample_freed_;
};

// The allocator over one block of memory, aligned as asked for and at least to 64 KiB.
class CMemAllocator : public CBaseAllocator {
 public:
  CMemAllocator(CObjectName name, IUnknown* outer, HRESULT* phr) noexcept;
  ~CMemAllocator() override;

  // Creator for class tables.
  static CUnknown* CreateInstance(IUnknown* outer, HRESULT* phr);

  HRESULT SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override;

 protected:
  // Keeps the memory: it goes when the properties change or the allocator dies.
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
