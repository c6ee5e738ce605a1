// CBaseFilter: state, clock, graph membership and event notification of a filter. The pins are the derived
// class's own.
#pragma once

#include <atomic>

#include "combase.h"
#include "graph_interfaces.h"
#include "reftime.h"
#include "wxutil.h"

class CBasePin;

// Locking: state changes, the clock and the graph are guarded by the lock given at construction. NotifyEvent,
// StreamTime, IsStopped and GetState take no lock, so that a streaming thread may call them; clock and graph
// are changed only while no such thread exists.
class CBaseFilter : public CUnknown, public IBaseFilter, public IAMovieSetup {
 public:
  CBaseFilter(CObjectName name, IUnknown* outer, CCritSec* lock, REFCLSID clsid);
  CBaseFilter(CObjectName name, IUnknown* outer, CCritSec* lock, REFCLSID clsid, HRESULT* phr);
  // Releases the clock only: a filter is stopped before its last release.
  ~CBaseFilter() override;

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  HRESULT GetClassID(CLSID* clsid) override;

  HRESULT GetState(DWORD timeout_ms, FILTER_STATE* state) override;
  HRESULT SetSyncSource(IReferenceClock* clock) override;
  HRESULT GetSyncSource(IReferenceClock** clock) override;
  // Stops every pin whatever the others answer; the first failure is the result.
  HRESULT Stop() override;
  // A failure of a pin is returned at once and leaves the state; the pins before it are not undone.
  HRESULT Pause() override;
  HRESULT Run(REFERENCE_TIME start) override;

  // Clock time since the start of the run. VFW_E_NO_CLOCK.
  virtual HRESULT StreamTime(CRefTime& stream_time);
  BOOL IsActive();
  BOOL IsStopped() const noexcept { return m_State == State_Stopped; }

  HRESULT EnumPins(IEnumPins** enumerator) override;
  // The default takes the pin's name for its identifier.
  HRESULT FindPin(LPCWSTR id, IPin** pin) override;
  HRESULT QueryFilterInfo(FILTER_INFO* info) override;
  HRESULT JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override;
  HRESULT QueryVendorInfo(LPWSTR* vendor_info) override;

  // E_NOTIMPL without an event sink. The second parameter of EC_COMPLETE is always this filter.
  HRESULT NotifyEvent(LONG code, LONG_PTR param1, LONG_PTR param2);
  // Not referenced.
  IFilterGraph* GetFilterGraph() const noexcept { return m_pGraph; }
  HRESULT ReconnectPin(IPin* pin, const AM_MEDIA_TYPE* type);

  // Tells enumerators that the set of pins has changed.
  virtual LONG GetPinVersion();
  void IncrementPinVersion();

  virtual int GetPinCount() = 0;
  // NULL when out of range. The pin is not referenced.
  virtual CBasePin* GetPin(int index) = 0;

  HRESULT Register() override;
  HRESULT Unregister() override;
  virtual LPAMOVIESETUP_FILTER GetSetupData() { return nullptr; }

 protected:
  friend class CBasePin;

  // The atomic members are those that streaming threads read without the lock.
  std::atomic<FILTER_STATE> m_State{State_Stopped};
  IReferenceClock* m_pClock = nullptr;
  std::atomic<REFERENCE_TIME> m_tStart{0};  // reference time of stream time 0
  CLSID m_clsid;
  CCritSec* m_pLock;
  WCHAR* m_pName = nullptr;  // task memory
  // Neither is referenced: the graph owns its filters, not they it.
  IFilterGraph* m_pGraph = nullptr;
  std::atomic<IMediaEventSink*> m_pSink{nullptr};
  std::atomic<LONG> m_PinVersion{1};
};
