// How two pins agree on a connection. A failed attempt is undone completely before the next one.
#include "base_pin.h"

#include <com_ptr.h>

#include <memory>
#include <utility>

#include "wide_text.h"

using zdr::com::ComPtr;

namespace {

// Refusals that mean no more than "not this type". Any other failure is reported to the caller.
bool is_plain_refusal(HRESULT hr) noexcept {
  return hr == E_FAIL || hr == E_INVALIDARG || hr == VFW_E_TYPE_NOT_ACCEPTED;
}

}  // namespace

CBasePin::CBasePin(CObjectName object_name, CBaseFilter* filter, CCritSec* lock, HRESULT* phr, LPCWSTR name,
                   PIN_DIRECTION direction)
    : CUnknown(object_name, nullptr), m_dir(direction), m_pLock(lock), m_pFilter(filter) {
  if (name == nullptr) return;
  if (const HRESULT hr = AMGetWideString(name, &m_pName); FAILED(hr) && phr != nullptr) *phr = hr;
}

CBasePin::~CBasePin() {
  CoTaskMemFree(m_pName);
}

HRESULT CBasePin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  if (riid == IID_IPin) return GetInterface(static_cast<IPin*>(this), ppv);
  if (riid == IID_IQualityControl) return GetInterface(static_cast<IQualityControl*>(this), ppv);
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

ULONG CBasePin::NonDelegatingAddRef() {
  return m_pFilter->AddRef();
}

ULONG CBasePin::NonDelegatingRelease() {
  return m_pFilter->Release();
}

// --- Connecting ---

HRESULT CBasePin::check_connectable() const {
  if (m_Connected != nullptr) return VFW_E_ALREADY_CONNECTED;
  return IsStopped() ? S_OK : VFW_E_NOT_STOPPED;
}

HRESULT CBasePin::check_offered_type(const CMediaType* type) {
  const HRESULT hr = CheckMediaType(type);
  if (hr == S_OK) return S_OK;
  return SUCCEEDED(hr) || is_plain_refusal(hr) ? VFW_E_TYPE_NOT_ACCEPTED : hr;
}

void CBasePin::set_peer(IPin* peer) {
  m_Connected = peer;
  m_Connected->AddRef();
}

void CBasePin::release_peer() {
  if (IPin* const peer = std::exchange(m_Connected, nullptr); peer != nullptr) peer->Release();
}

HRESULT CBasePin::Connect(IPin* receiver, const AM_MEDIA_TYPE* type) {
  CheckPointer(receiver, E_POINTER);
  CAutoLock lock(m_pLock);
  if (const HRESULT hr = check_connectable(); FAILED(hr)) return hr;
  const HRESULT hr = AgreeMediaType(receiver, AsMediaType(type));
  if (SUCCEEDED(hr)) return S_OK;
  BreakConnect();
  return hr;
}

HRESULT CBasePin::AgreeMediaType(IPin* receiver, const CMediaType* type) {
  if (type != nullptr && !type->IsPartiallySpecified()) return AttemptConnection(receiver, type);
  HRESULT failure = VFW_E_NO_ACCEPTABLE_TYPES;
  for (IPin* const offering : {receiver, static_cast<IPin*>(this)}) {
    ComPtr<IEnumMediaTypes> types;
    HRESULT hr = offering->EnumMediaTypes(types.out());
    if (hr == E_OUTOFMEMORY) failure = hr;
    if (FAILED(hr)) continue;
    hr = TryMediaTypes(receiver, type, types.get());
    if (SUCCEEDED(hr)) return S_OK;
    // Kept: the later round decides, even if it only found no acceptable type.
    if (!is_plain_refusal(hr)) failure = hr;
  }
  return failure;
}

HRESULT CBasePin::TryMediaTypes(IPin* receiver, const CMediaType* type, IEnumMediaTypes* enumerator) {
  if (const HRESULT hr = enumerator->Reset(); FAILED(hr)) return hr;
  HRESULT first_failure = S_OK;
  HRESULT next = S_OK;
  AM_MEDIA_TYPE* record = nullptr;
  while ((next = enumerator->Next(1, &record, nullptr)) == S_OK) {
    const std::unique_ptr<AM_MEDIA_TYPE, decltype(&DeleteMediaType)> owned(record, &DeleteMediaType);
    const CMediaType* const offered = AsMediaType(record);
    if (type != nullptr && !offered->MatchesPartial(type)) continue;
    const HRESULT hr = AttemptConnection(receiver, offered);
    if (SUCCEEDED(hr)) return S_OK;
    if (SUCCEEDED(first_failure) && !is_plain_refusal(hr)) first_failure = hr;
  }
  if (FAILED(first_failure)) return first_failure;
  return next == E_OUTOFMEMORY ? next : VFW_E_NO_ACCEPTABLE_TYPES;
}

HRESULT CBasePin::AttemptConnection(IPin* receiver, const CMediaType* type) {
  if (const HRESULT hr = CheckConnect(receiver); FAILED(hr)) {
    BreakConnect();
    return hr;
  }
  HRESULT hr = check_offered_type(type);
  if (SUCCEEDED(hr)) hr = connect_both_ends(receiver, type);
  if (SUCCEEDED(hr)) return S_OK;
  BreakConnect();
  release_peer();
  return hr;
}

HRESULT CBasePin::connect_both_ends(IPin* receiver, const CMediaType* type) {
  // First, because the receiver may query its peer.
  set_peer(receiver);
  HRESULT hr = SetMediaType(type);
  if (SUCCEEDED(hr)) hr = receiver->ReceiveConnection(this, type);
  if (FAILED(hr)) return hr;
  hr = CompleteConnect(receiver);
  if (FAILED(hr)) receiver->Disconnect();
  return hr;
}

HRESULT CBasePin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) {
  CheckPointer(connector, E_POINTER);
  CheckPointer(type, E_POINTER);
  CAutoLock lock(m_pLock);
  HRESULT hr = check_connectable();
  if (FAILED(hr)) return hr;
  const CMediaType* const offered = AsMediaType(type);
  hr = CheckConnect(connector);
  if (SUCCEEDED(hr)) hr = check_offered_type(offered);
  if (SUCCEEDED(hr)) {
    set_peer(connector);
    hr = SetMediaType(offered);
    if (SUCCEEDED(hr)) hr = CompleteConnect(connector);
  }
  if (SUCCEEDED(hr)) return S_OK;
  release_peer();
  BreakConnect();
  return hr;
}

HRESULT CBasePin::Disconnect() {
  CAutoLock lock(m_pLock);
  if (!IsStopped()) return VFW_E_NOT_STOPPED;
  if (m_Connected == nullptr) return S_FALSE;
  if (const HRESULT hr = BreakConnect(); FAILED(hr)) return hr;
  release_peer();
  return S_OK;
}

HRESULT CBasePin::CheckConnect(IPin* peer) {
  PIN_DIRECTION direction = PINDIR_INPUT;
  if (const HRESULT hr = peer->QueryDirection(&direction); FAILED(hr)) return hr;
  return direction == m_dir ? VFW_E_INVALID_DIRECTION : S_OK;
}

HRESULT CBasePin::SetMediaType(const CMediaType* type) {
  return m_mt.Set(*type);
}

HRESULT CBasePin::CompleteConnect(IPin* /*receiver*/) {
  return S_OK;
}

HRESULT CBasePin::BreakConnect() {
  return S_OK;
}

// --- Queries ---

HRESULT CBasePin::ConnectedTo(IPin** peer) {
  CheckPointer(peer, E_POINTER);
  CAutoLock lock(m_pLock);
  *peer = m_Connected;
  if (m_Connected == nullptr) return VFW_E_NOT_CONNECTED;
  m_Connected->AddRef();
  return S_OK;
}

HRESULT CBasePin::ConnectionMediaType(AM_MEDIA_TYPE* type) {
  CheckPointer(type, E_POINTER);
  CAutoLock lock(m_pLock);
  if (m_Connected != nullptr) return CopyMediaType(type, &m_mt);
  static_cast<CMediaType*>(type)->InitMediaType();
  return VFW_E_NOT_CONNECTED;
}

HRESULT CBasePin::QueryPinInfo(PIN_INFO* info) {
  CheckPointer(info, E_POINTER);
  info->pFilter = m_pFilter;
  if (m_pFilter != nullptr) m_pFilter->AddRef();
  zdr::dshow::copy_name(info->achName, m_pName);
  info->dir = m_dir;
  return S_OK;
}

HRESULT CBasePin::QueryDirection(PIN_DIRECTION* direction) {
  CheckPointer(direction, E_POINTER);
  *direction = m_dir;
  return S_OK;
}

HRESULT CBasePin::QueryId(LPWSTR* id) {
  return AMGetWideString(m_pName, id);
}

HRESULT CBasePin::QueryAccept(const AM_MEDIA_TYPE* type) {
  CheckPointer(type, E_POINTER);
  const HRESULT hr = CheckMediaType(AsMediaType(type));
  return FAILED(hr) ? S_FALSE : hr;
}

HRESULT CBasePin::GetMediaType(int /*position*/, CMediaType* /*type*/) {
  return E_UNEXPECTED;
}

HRESULT CBasePin::QueryInternalConnections(IPin** /*pins*/, ULONG* /*count*/) {
  return E_NOTIMPL;
}

// --- Streaming ---

HRESULT CBasePin::EndOfStream() {
  return S_OK;
}

HRESULT CBasePin::NewSegment(REFERENCE_TIME /*start*/, REFERENCE_TIME /*stop*/, double /*rate*/) {
  return S_OK;
}

HRESULT CBasePin::Active() {
  return S_OK;
}

HRESULT CBasePin::Run(REFERENCE_TIME /*start*/) {
  return S_OK;
}

HRESULT CBasePin::Inactive() {
  return S_OK;
}

HRESULT CBasePin::Notify(IBaseFilter* /*sender*/, Quality /*quality*/) {
  return E_NOTIMPL;
}

HRESULT CBasePin::SetSink(IQualityControl* /*sink*/) {
  return S_OK;
}
