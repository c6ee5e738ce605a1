// CBaseOutputPin: chooses the allocator of a connection, and passes samples and stream events to the peer.
#include <com_ptr.h>

#include "transport_pins.h"
#include "uuids.h"

using zdr::com::ComPtr;

CBaseOutputPin::CBaseOutputPin(CObjectName object_name, CBaseFilter* filter, CCritSec* lock, HRESULT* phr,
                               LPCWSTR name)
    : CBasePin(object_name, filter, lock, phr, name, PINDIR_OUTPUT) {}

// --- Connecting ---

HRESULT CBaseOutputPin::CheckConnect(IPin* peer) {
  if (const HRESULT hr = CBasePin::CheckConnect(peer); FAILED(hr)) return hr;
  return peer->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&m_pInputPin));
}

HRESULT CBaseOutputPin::CompleteConnect(IPin* /*receiver*/) {
  return DecideAllocator(m_pInputPin, &m_pAllocator);
}

HRESULT CBaseOutputPin::BreakConnect() {
  if (m_pAllocator != nullptr) {
    if (const HRESULT hr = m_pAllocator->Decommit(); FAILED(hr)) return hr;
    m_pAllocator->Release();
    m_pAllocator = nullptr;
  }
  if (m_pInputPin != nullptr) {
    m_pInputPin->Release();
    m_pInputPin = nullptr;
  }
  return S_OK;
}

HRESULT CBaseOutputPin::settle_allocator(IMemInputPin* input_pin, IMemAllocator* allocator,
                                         ALLOCATOR_PROPERTIES* request) {
  if (const HRESULT hr = DecideBufferSize(allocator, request); FAILED(hr)) return hr;
  return input_pin->NotifyAllocator(allocator, FALSE);
}

HRESULT CBaseOutputPin::DecideAllocator(IMemInputPin* input_pin, IMemAllocator** allocator) {
  *allocator = nullptr;
  ALLOCATOR_PROPERTIES request{};
  input_pin->GetAllocatorRequirements(&request);
  if (request.cbAlign == 0) request.cbAlign = 1;

  ComPtr<IMemAllocator> candidate;
  HRESULT hr = input_pin->GetAllocator(candidate.out());
  if (SUCCEEDED(hr)) hr = settle_allocator(input_pin, candidate.get(), &request);
  if (FAILED(hr)) {
    // The request is passed on as the first attempt left it.
    hr = InitAllocator(candidate.out());
    if (SUCCEEDED(hr)) hr = settle_allocator(input_pin, candidate.get(), &request);
  }
  if (FAILED(hr)) return hr;
  *allocator = candidate.detach();
  return S_OK;
}

HRESULT CBaseOutputPin::InitAllocator(IMemAllocator** allocator) {
  return CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_IMemAllocator,
                          reinterpret_cast<void**>(allocator));
}

// --- Streaming ---

HRESULT CBaseOutputPin::Active() {
  CheckPointer(m_pAllocator, VFW_E_NO_ALLOCATOR);
  return m_pAllocator->Commit();
}

HRESULT CBaseOutputPin::Inactive() {
  CheckPointer(m_pAllocator, VFW_E_NO_ALLOCATOR);
  return m_pAllocator->Decommit();
}

HRESULT CBaseOutputPin::GetDeliveryBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* end,
                                          DWORD flags) {
  CheckPointer(m_pAllocator, E_NOINTERFACE);
  return m_pAllocator->GetBuffer(sample, start, end, flags);
}

HRESULT CBaseOutputPin::Deliver(IMediaSample* sample) {
  CheckPointer(m_pInputPin, VFW_E_NOT_CONNECTED);
  return m_pInputPin->Receive(sample);
}

HRESULT CBaseOutputPin::DeliverEndOfStream() {
  CheckPointer(m_Connected, VFW_E_NOT_CONNECTED);
  return m_Connected->EndOfStream();
}

HRESULT CBaseOutputPin::DeliverBeginFlush() {
  CheckPointer(m_Connected, VFW_E_NOT_CONNECTED);
  return m_Connected->BeginFlush();
}

HRESULT CBaseOutputPin::DeliverEndFlush() {
  CheckPointer(m_Connected, VFW_E_NOT_CONNECTED);
  return m_Connected->EndFlush();
}

HRESULT CBaseOutputPin::DeliverNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
  CheckPointer(m_Connected, VFW_E_NOT_CONNECTED);
  return m_Connected->NewSegment(start, stop, rate);
}

HRESULT CBaseOutputPin::EndOfStream() {
  return E_UNEXPECTED;
}

HRESULT CBaseOutputPin::BeginFlush() {
  return E_UNEXPECTED;
}

HRESULT CBaseOutputPin::EndFlush() {
  return E_UNEXPECTED;
}
