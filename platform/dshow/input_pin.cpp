// CBaseInputPin: holds the allocator of a connection, and checks for each sample whether the pin accepts it
// now.
#include "transport_pins.h"
#include "uuids.h"

CBaseInputPin::CBaseInputPin(CObjectName object_name, CBaseFilter* filter, CCritSec* lock, HRESULT* phr,
                             LPCWSTR name)
    : CBasePin(object_name, filter, lock, phr, name, PINDIR_INPUT) {}

CBaseInputPin::~CBaseInputPin() {
  if (m_pAllocator != nullptr) m_pAllocator->Release();
}

HRESULT CBaseInputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (riid == IID_IMemInputPin) return GetInterface(static_cast<IMemInputPin*>(this), ppv);
  return CBasePin::NonDelegatingQueryInterface(riid, ppv);
}

// --- The allocator ---

HRESULT CBaseInputPin::GetAllocator(IMemAllocator** allocator) {
  CheckPointer(allocator, E_POINTER);
  *allocator = nullptr;
  CAutoLock lock(m_pLock);
  if (m_pAllocator == nullptr) {
    const HRESULT hr = CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER,
                                        IID_IMemAllocator, reinterpret_cast<void**>(&m_pAllocator));
    if (FAILED(hr)) return hr;
  }
  m_pAllocator->AddRef();
  *allocator = m_pAllocator;
  return S_OK;
}

HRESULT CBaseInputPin::NotifyAllocator(IMemAllocator* allocator, BOOL /*read_only*/) {
  CheckPointer(allocator, E_POINTER);
  CAutoLock lock(m_pLock);
  // In this order, because both may be the same allocator.
  allocator->AddRef();
  if (m_pAllocator != nullptr) m_pAllocator->Release();
  m_pAllocator = allocator;
  return S_OK;
}

HRESULT CBaseInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* /*properties*/) {
  return E_NOTIMPL;
}

HRESULT CBaseInputPin::BreakConnect() {
  if (m_pAllocator == nullptr) return S_OK;
  if (const HRESULT hr = m_pAllocator->Decommit(); FAILED(hr)) return hr;
  m_pAllocator->Release();
  m_pAllocator = nullptr;
  return S_OK;
}

HRESULT CBaseInputPin::Inactive() {
  CheckPointer(m_pAllocator, VFW_E_NO_ALLOCATOR);
  m_bFlushing = FALSE;
  return m_pAllocator->Decommit();
}

// --- Receiving ---

HRESULT CBaseInputPin::CheckStreaming() {
  if (IsStopped()) return VFW_E_WRONG_STATE;
  return m_bFlushing ? S_FALSE : S_OK;
}

HRESULT CBaseInputPin::Receive(IMediaSample* sample) {
  CheckPointer(sample, E_POINTER);
  return CheckStreaming();
}

HRESULT CBaseInputPin::ReceiveMultiple(IMediaSample** /*samples*/, LONG /*count*/, LONG* /*processed*/) {
  return E_NOTIMPL;
}

HRESULT CBaseInputPin::ReceiveCanBlock() {
  return S_OK;
}

// --- Flushing ---

HRESULT CBaseInputPin::BeginFlush() {
  CAutoLock lock(m_pLock);
  m_bFlushing = TRUE;
  return S_OK;
}

HRESULT CBaseInputPin::EndFlush() {
  CAutoLock lock(m_pLock);
  m_bFlushing = FALSE;
  return S_OK;
}
