// CMediaSample: one buffer of an allocator, as it is passed from pin to pin.
#pragma once

#include <atomic>

#include "sample_interfaces.h"

class CBaseAllocator;

// One buffer with its times and flags. The allocator owns its samples and outlives every sample that is out,
// so a sample holds no reference on it. AddRef and Release may be called from any thread; the other functions
// by one thread at a time.
class CMediaSample : public IMediaSample2 {
 public:
  CMediaSample(IMemAllocator* allocator, BYTE* buffer, LONG length) noexcept;
  virtual ~CMediaSample() = default;
  CMediaSample(const CMediaSample&) = delete;
  CMediaSample& operator=(const CMediaSample&) = delete;

  HRESULT QueryInterface(REFIID riid, void** ppv) override;
  ULONG AddRef() override;
  // The last Release clears the flags and returns the sample to the allocator. The data length and the stored
  // times stay, so a producer sets length and times for every sample.
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
  // Samples never change the media type: S_FALSE, and E_NOTIMPL for setting one.
  HRESULT GetMediaType(AM_MEDIA_TYPE** type) override;
  HRESULT SetMediaType(AM_MEDIA_TYPE* type) override;
  HRESULT IsDiscontinuity() override;
  HRESULT SetDiscontinuity(BOOL discontinuity) override;
  // Samples have no media times: VFW_E_MEDIA_TIME_NOT_SET, and E_NOTIMPL for setting one.
  HRESULT GetMediaTime(LONGLONG* start, LONGLONG* end) override;
  HRESULT SetMediaTime(LONGLONG* start, LONGLONG* end) override;

  HRESULT GetProperties(DWORD size, BYTE* properties) override;
  HRESULT SetProperties(DWORD size, const BYTE* properties) override;

 protected:
  friend class CBaseAllocator;

  DWORD m_dwFlags = 0;  // AM_SAMPLE_*
  BYTE* m_pBuffer;
  LONG m_lActual;
  LONG m_cbBuffer;
  IMemAllocator* const m_pAllocator;
  CMediaSample* m_pNext = nullptr;  // in the allocator's list of free samples
  REFERENCE_TIME m_Start = 0;
  REFERENCE_TIME m_End = 0;
  std::atomic<LONG> m_cRef{0};

 private:
  HRESULT has_flag(DWORD flag) const noexcept { return (m_dwFlags & flag) != 0 ? S_OK : S_FALSE; }
  HRESULT set_flag(DWORD flag, BOOL on) noexcept {
    m_dwFlags = on ? m_dwFlags | flag : m_dwFlags & ~flag;
    return S_OK;
  }
};
