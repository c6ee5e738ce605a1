// CSourceSeeking: seeking for a source with one seekable pin, in reference time only.
#pragma once

#include "combase.h"
#include "filter_interfaces.h"
#include "reftime.h"
#include "wxutil.h"

// The members below are guarded by the lock given at construction; the Change functions are called without
// it.
class CSourceSeeking : public CUnknown, public IMediaSeeking {
 public:
  CSourceSeeking(CObjectName name, IUnknown* outer, HRESULT* phr, CCritSec* lock);

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  HRESULT GetCapabilities(DWORD* capabilities) override;
  HRESULT CheckCapabilities(DWORD* capabilities) override;
  HRESULT IsFormatSupported(const GUID* format) override;
  HRESULT QueryPreferredFormat(GUID* format) override;
  HRESULT GetTimeFormat(GUID* format) override;
  HRESULT IsUsingTimeFormat(const GUID* format) override;
  HRESULT SetTimeFormat(const GUID* format) override;
  HRESULT GetDuration(LONGLONG* duration) override;
  HRESULT GetStopPosition(LONGLONG* stop) override;
  HRESULT GetCurrentPosition(LONGLONG* current) override;
  HRESULT ConvertTimeFormat(LONGLONG* target, const GUID* target_format, LONGLONG source,
                            const GUID* source_format) override;
  HRESULT SetPositions(LONGLONG* current, DWORD current_flags, LONGLONG* stop, DWORD stop_flags) override;
  HRESULT GetPositions(LONGLONG* current, LONGLONG* stop) override;
  HRESULT GetAvailable(LONGLONG* earliest, LONGLONG* latest) override;
  HRESULT SetRate(double rate) override;
  HRESULT GetRate(double* rate) override;
  HRESULT GetPreroll(LONGLONG* preroll) override;

 protected:
  virtual HRESULT ChangeStart() = 0;
  virtual HRESULT ChangeStop() = 0;
  virtual HRESULT ChangeRate() = 0;

  CRefTime m_rtDuration;
  CRefTime m_rtStart;
  CRefTime m_rtStop;
  double m_dRateSeeking = 1.0;
  DWORD m_dwSeekingCaps;
  CCritSec* m_pLock;
};
