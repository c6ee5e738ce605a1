// CBaseFilter: walks its connected pins at every change of state and keeps clock, name and graph membership.
// A walk that fails midway is not rolled back: pins that have started stay so until the next Stop or
// Inactive.
#include "base_filter.h"

#include <com_ptr.h>

#include <string_view>

#include "base_pin.h"
#include "evcode.h"
#include "nothrow_new.h"
#include "wide_text.h"

using zdr::com::ComPtr;

namespace {

// Calls action(pin) for each connected pin in order. A missing pin ends the walk, and so does an action that
// returns a failure, which becomes the result.
template <class Action>
HRESULT for_each_connected_pin(CBaseFilter& filter, Action action) {
  const int count = filter.GetPinCount();
  for (int i = 0; i < count; ++i) {
    CBasePin* const pin = filter.GetPin(i);
    if (pin == nullptr) break;
    if (!pin->IsConnected()) continue;
    if (const HRESULT hr = action(*pin); FAILED(hr)) return hr;
  }
  return S_OK;
}

}  // namespace

CBaseFilter::CBaseFilter(CObjectName name, IUnknown* outer, CCritSec* lock, REFCLSID clsid)
    : CUnknown(name, outer), m_clsid(clsid), m_pLock(lock) {}

CBaseFilter::CBaseFilter(CObjectName name, IUnknown* outer, CCritSec* lock, REFCLSID clsid, HRESULT* phr)
    : CUnknown(name, outer, phr), m_clsid(clsid), m_pLock(lock) {}

CBaseFilter::~CBaseFilter() {
  if (m_pClock != nullptr) m_pClock->Release();
  CoTaskMemFree(m_pName);
}

HRESULT CBaseFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (riid == IID_IBaseFilter || riid == IID_IMediaFilter || riid == IID_IPersist) {
    return GetInterface(static_cast<IBaseFilter*>(this), ppv);
  }
  if (riid == IID_IAMovieSetup) return GetInterface(static_cast<IAMovieSetup*>(this), ppv);
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CBaseFilter::GetClassID(CLSID* clsid) {
  CheckPointer(clsid, E_POINTER);
  *clsid = m_clsid;
  return S_OK;
}

// --- State and clock ---

HRESULT CBaseFilter::GetState(DWORD /*timeout_ms*/, FILTER_STATE* state) {
  CheckPointer(state, E_POINTER);
  *state = m_State;
  return S_OK;
}

HRESULT CBaseFilter::SetSyncSource(IReferenceClock* clock) {
  CAutoLock lock(m_pLock);
  // In this order, for both may be the same clock.
  if (clock != nullptr) clock->AddRef();
  if (m_pClock != nullptr) m_pClock->Release();
  m_pClock = clock;
  return S_OK;
}

HRESULT CBaseFilter::GetSyncSource(IReferenceClock** clock) {
  CheckPointer(clock, E_POINTER);
  CAutoLock lock(m_pLock);
  if (m_pClock != nullptr) m_pClock->AddRef();
  *clock = m_pClock;
  return S_OK;
}

HRESULT CBaseFilter::Stop() {
  CAutoLock lock(m_pLock);
  HRESULT first_failure = S_OK;
  if (m_State != State_Stopped) {
    for_each_connected_pin(*this, [&first_failure](CBasePin& pin) {
      const HRESULT hr = pin.Inactive();
      if (FAILED(hr) && SUCCEEDED(first_failure)) first_failure = hr;
      return S_OK;
    });
  }
  m_State = State_Stopped;
  return first_failure;
}

HRESULT CBaseFilter::Pause() {
  CAutoLock lock(m_pLock);
  if (m_State == State_Stopped) {
    // Pins before a failing one stay active, and Stop does nothing in this state: kept on purpose.
    const HRESULT hr = for_each_connected_pin(*this, [](CBasePin& pin) { return pin.Active(); });
    if (FAILED(hr)) return hr;
  }
  m_State = State_Paused;
  return S_OK;
}

HRESULT CBaseFilter::Run(REFERENCE_TIME start) {
  CAutoLock lock(m_pLock);
  m_tStart = start;
  if (m_State == State_Stopped) {
    if (const HRESULT hr = Pause(); FAILED(hr)) return hr;
  }
  if (m_State != State_Running) {
    const HRESULT hr = for_each_connected_pin(*this, [start](CBasePin& pin) { return pin.Run(start); });
    if (FAILED(hr)) return hr;
  }
  m_State = State_Running;
  return S_OK;
}

HRESULT CBaseFilter::StreamTime(CRefTime& stream_time) {
  CheckPointer(m_pClock, VFW_E_NO_CLOCK);
  REFERENCE_TIME now = 0;
  if (const HRESULT hr = m_pClock->GetTime(&now); FAILED(hr)) return hr;
  stream_time = CRefTime(now - m_tStart);
  return S_OK;
}

BOOL CBaseFilter::IsActive() {
  CAutoLock lock(m_pLock);
  return m_State == State_Paused || m_State == State_Running;
}

// --- Pins ---

HRESULT CBaseFilter::EnumPins(IEnumPins** enumerator) {
  CheckPointer(enumerator, E_POINTER);
  *enumerator = zdr::dshow::new_or_null<CEnumPins>(this, nullptr);
  return *enumerator == nullptr ? E_OUTOFMEMORY : S_OK;
}

HRESULT CBaseFilter::FindPin(LPCWSTR id, IPin** pin) {
  CheckPointer(pin, E_POINTER);
  *pin = nullptr;
  CheckPointer(id, VFW_E_NOT_FOUND);
  CAutoLock lock(m_pLock);
  const int count = GetPinCount();
  for (int i = 0; i < count; ++i) {
    CBasePin* const candidate = GetPin(i);
    if (candidate == nullptr) break;
    if (candidate->Name() == nullptr || std::u16string_view(candidate->Name()) != id) continue;
    candidate->AddRef();
    *pin = candidate;
    return S_OK;
  }
  return VFW_E_NOT_FOUND;
}

LONG CBaseFilter::GetPinVersion() {
  return m_PinVersion;
}

void CBaseFilter::IncrementPinVersion() {
  ++m_PinVersion;
}

// --- The graph ---

HRESULT CBaseFilter::QueryFilterInfo(FILTER_INFO* info) {
  CheckPointer(info, E_POINTER);
  CAutoLock lock(m_pLock);
  zdr::dshow::copy_name(info->achName, m_pName);
  info->pGraph = m_pGraph;
  if (info->pGraph != nullptr) info->pGraph->AddRef();
  return S_OK;
}

HRESULT CBaseFilter::JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) {
  CAutoLock lock(m_pLock);
  WCHAR* name_copy = nullptr;
  if (name != nullptr) {
    // Before anything changes: a filter that could not join must not point to the graph.
    if (const HRESULT hr = AMGetWideString(name, &name_copy); FAILED(hr)) return hr;
  }
  ComPtr<IMediaEventSink> sink;
  if (graph != nullptr && FAILED(graph->QueryInterface(IID_IMediaEventSink, sink.out_void()))) sink.reset();
  // The sink is part of the graph, which outlives the membership: a reference would make a cycle.
  m_pSink = sink.get();
  m_pGraph = graph;
  CoTaskMemFree(m_pName);
  m_pName = name_copy;
  return S_OK;
}

HRESULT CBaseFilter::QueryVendorInfo(LPWSTR* /*vendor_info*/) {
  return E_NOTIMPL;
}

HRESULT CBaseFilter::NotifyEvent(LONG code, LONG_PTR param1, LONG_PTR param2) {
  IMediaEventSink* const sink = m_pSink;
  CheckPointer(sink, E_NOTIMPL);
  if (code == EC_COMPLETE) param2 = reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this));
  return sink->Notify(code, param1, param2);
}

HRESULT CBaseFilter::ReconnectPin(IPin* pin, const AM_MEDIA_TYPE* type) {
  CheckPointer(m_pGraph, E_NOINTERFACE);
  ComPtr<IFilterGraph2> graph2;
  if (SUCCEEDED(m_pGraph->QueryInterface(IID_IFilterGraph2, graph2.out_void()))) {
    return graph2->ReconnectEx(pin, type);
  }
  return m_pGraph->Reconnect(pin);
}
