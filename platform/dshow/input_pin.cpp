// CBaseInputPin: holds the allocator of a connection, and tells for each sample whether it may come now and
// what it carries.
#include <com_ptr.h>

#include "evcode.h"
#include "transport_pins.h"
#include "uuids.h"

using zdr::com::ComPtr;

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

HRESULT CBaseInputPin::NotifyAllocator(IMemAllocator* allocator, BOOL read_only) {
  CheckPointer(allocator, E_POINTER);
  CAutoLock lock(m_pLock);
  // In this order, for both may be the same allocator.
  allocator->AddRef();
  if (m_pAllocator != nullptr) m_pAllocator->Release();
  m_pAllocator = allocator;
  m_bReadOnly = read_only;
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
  m_bRunTimeError = false;
  CheckPointer(m_pAllocator, VFW_E_NO_ALLOCATOR);
  m_bFlushing = FALSE;
  return m_pAllocator->Decommit();
}

// --- Receiving ---

HRESULT CBaseInputPin::CheckStreaming() {
  if (IsStopped()) return VFW_E_WRONG_STATE;
  if (m_bFlushing) return S_FALSE;
  if (m_bRunTimeError) return VFW_E_RUNTIME_ERROR;
  return S_OK;
}

HRESULT CBaseInputPin::Receive(IMediaSample* sample) {
  CheckPointer(sample, E_POINTER);
  if (const HRESULT hr = CheckStreaming(); hr != S_OK) return hr;
  if (const HRESULT hr = collect_properties(sample); FAILED(hr)) return hr;
  const bool type_changed = (m_SampleProps.dwSampleFlags & AM_SAMPLE_TYPECHANGED) != 0;
  if (!type_changed || CheckMediaType(AsMediaType(m_SampleProps.pMediaType)) == S_OK) return S_OK;
  m_bRunTimeError = true;
  EndOfStream();
  m_pFilter->NotifyEvent(EC_ERRORABORT, VFW_E_TYPE_NOT_ACCEPTED, 0);
  return VFW_E_INVALIDMEDIATYPE;
}

HRESULT CBaseInputPin::collect_properties(IMediaSample* sample) {
  ComPtr<IMediaSample2> sample2;
  if (SUCCEEDED(sample->QueryInterface(IID_IMediaSample2, sample2.out_void()))) {
    return sample2->GetProperties(sizeof m_SampleProps, reinterpret_cast<BYTE*>(&m_SampleProps));
  }
  m_SampleProps = {};
  m_SampleProps.cbData = sizeof m_SampleProps;
  m_SampleProps.dwStreamId = AM_STREAM_MEDIA;
  m_SampleProps.lActual = sample->GetActualDataLength();
  m_SampleProps.cbBuffer = sample->GetSize();
  collect_flags(sample);
  return sample->GetPointer(&m_SampleProps.pbBuffer);
}

void CBaseInputPin::collect_flags(IMediaSample* sample) {
  DWORD flags = 0;
  if (sample->IsSyncPoint() == S_OK) flags |= AM_SAMPLE_SPLICEPOINT;
  if (sample->IsPreroll() == S_OK) flags |= AM_SAMPLE_PREROLL;
  if (sample->IsDiscontinuity() == S_OK) flags |= AM_SAMPLE_DATADISCONTINUITY;
  const HRESULT times = sample->GetTime(&m_SampleProps.tStart, &m_SampleProps.tStop);
  if (SUCCEEDED(times)) flags |= AM_SAMPLE_TIMEVALID;
  if (times == S_OK) flags |= AM_SAMPLE_STOPVALID;
  AM_MEDIA_TYPE* type = nullptr;
  if (sample->GetMediaType(&type) == S_OK) flags |= AM_SAMPLE_TYPECHANGED;
  sample_type_.reset(type);
  m_SampleProps.pMediaType = type;
  m_SampleProps.dwSampleFlags = flags;
}

HRESULT CBaseInputPin::ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed) {
  CheckPointer(samples, E_POINTER);
  CheckPointer(processed, E_POINTER);
  *processed = 0;
  for (LONG i = 0; i < count; ++i) {
    if (const HRESULT hr = Receive(samples[i]); hr != S_OK) return hr;
    ++*processed;
  }
  return S_OK;
}

HRESULT CBaseInputPin::ReceiveCanBlock() {
  int output_pins = 0;
  const int count = m_pFilter->GetPinCount();
  for (int i = 0; i < count; ++i) {
    CBasePin* const pin = m_pFilter->GetPin(i);
    if (pin == nullptr) break;
    PIN_DIRECTION direction = PINDIR_INPUT;
    pin->QueryDirection(&direction);
    if (direction != PINDIR_OUTPUT) continue;
    ++output_pins;
    if (downstream_can_block(*pin)) return S_OK;
  }
  return output_pins == 0 ? S_OK : S_FALSE;
}

bool CBaseInputPin::downstream_can_block(CBasePin& output_pin) {
  ComPtr<IPin> peer;
  if (FAILED(output_pin.ConnectedTo(peer.out()))) return false;
  ComPtr<IMemInputPin> input;
  // Who takes samples some other way may well block.
  if (FAILED(peer->QueryInterface(IID_IMemInputPin, input.out_void()))) return true;
  return input->ReceiveCanBlock() != S_FALSE;
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
  m_bRunTimeError = false;
  return S_OK;
}
