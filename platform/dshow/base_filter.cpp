// State, clock and graph membership of a filter. The functions that walk its pins are in filter_pins.cpp.
#include "base_filter.h"

#include <com_ptr.h>

#include "evcode.h"
#include "wide_text.h"

using zdr::com::ComPtr;

CBaseFilter::CBaseFilter(CObjectName name, IUnknown* outer, CCritSec* lock, REFCLSID clsid)
    : CUnknown(name, outer), m_clsid(clsid), m_pLock(lock) {}

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

// --- State, clock and version ---

HRESULT CBaseFilter::GetState(DWORD /*timeout_ms*/, FILTER_STATE* state) {
  CheckPointer(state, E_POINTER);
  *state = m_State;
  return S_OK;
}

HRESULT CBaseFilter::SetSyncSource(IReferenceClock* clock) {
  CAutoLock lock(m_pLock);
  // In this order, because both may be the same clock.
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

HRESULT CBaseFilter::StreamTime(CRefTime& /*stream_time*/) {
  return E_NOTIMPL;
}

BOOL CBaseFilter::IsActive() {
  CAutoLock lock(m_pLock);
  return m_State == State_Paused || m_State == State_Running;
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
    // Before anything changes: a filter that fails to join must not point to the graph.
    if (const HRESULT hr = AMGetWideString(name, &name_copy); FAILED(hr)) return hr;
  }
  ComPtr<IMediaEventSink> sink;
  if (graph != nullptr && FAILED(graph->QueryInterface(IID_IMediaEventSink, sink.out_void()))) sink.reset();
  // Not referenced: the sink is part of the graph, which owns this filter.
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
