// CBaseFilter: state, clock, graph membership and event notification of a filter. The pins belong to the
// derived class.
#pragma once

#include <atomic>

#include "combase.h"
#include "graph_interfaces.h"
#include "registration.h"
#include "wxutil.h"

class CBasePin;
class CRefTime;

// Locking: the lock given at construction guards state changes, the clock and the graph. NotifyEvent,
// IsStopped and GetState take no lock, so that a streaming thread may call them; clock and graph change only
// while there is no such thread.
class CBaseFilter : public CUnknown, public IBaseFilter, public IAMovieSetup {
 public:
  CBaseFilter(CObjectName name, IUnknown* outer, CCritSec* lock, REFCLSID clsid);
  // The filter is stopped before its last release.
  ~CBaseFilter() override;

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  HRESULT GetClassID(CLSID* clsid) override;

  HRESULT GetState(DWORD timeout_ms, FILTER_STATE* state) override;
  HRESULT SetSyncSource(IReferenceClock* clock) override;
  HRESULT GetSyncSource(IReferenceClock** clock) override;
  // Stops every pin even if some fail. Returns the first failure.
  HRESULT Stop() override;
  // Both return the first failure of a pin at once and leave the state unchanged. The pins before it stay as
  // they are.
  HRESULT Pause() override;
  HRESULT Run(REFERENCE_TIME start) override;

  // E_NOTIMPL: graphs run without a clock.
  virtual HRESULT StreamTime(CRefTime& stream_time);
  BOOL IsActive();
  BOOL IsStopped() const noexcept { return m_State == State_Stopped; }

  HRESULT EnumPins(IEnumPins** enumerator) override;
  // Finds a pin by its name.
  HRESULT FindPin(LPCWSTR id, IPin** pin) override;
  HRESULT QueryFilterInfo(FILTER_INFO* info) override;
  HRESULT JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override;
  HRESULT QueryVendorInfo(LPWSTR* vendor_info) override;

  // E_NOTIMPL without an event sink. The second parameter of EC_COMPLETE is always this filter.
  HRESULT NotifyEvent(LONG code, LONG_PTR param1, LONG_PTR param2);

  // The version changes with the set of pins, so that enumerators notice.
  virtual LONG GetPinVersion();
  void IncrementPinVersion();

  virtual int GetPinCount() = 0;
  // Null if out of range. Adds no reference.
  virtual CBasePin* GetPin(int index) = 0;

  HRESULT Register() override;
  HRESULT Unregister() override;
  virtual LPAMOVIESETUP_FILTER GetSetupData() { return nullptr; }

 protected:
  // The atomic members are those that streaming threads read without the lock.
  std::atomic<FILTER_STATE> m_State{State_Stopped};
  IReferenceClock* m_pClock = nullptr;
  CLSID m_clsid;
  CCritSec* m_pLock;
  WCHAR* m_pName = nullptr;  // task memory
  // The graph owns its filters, so these two are not referenced.
  IFilterGraph* m_pGraph = nullptr;
  std::atomic<IMediaEventSink*> m_pSink{nullptr};
  std::atomic<LONG> m_PinVersion{1};
};
