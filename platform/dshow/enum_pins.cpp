// CEnumPins and CEnumMediaTypes: positions in lists that may change meanwhile. Each remembers the version of
// its list; the two differ in what they do when it has changed.
#include <algorithm>
#include <limits>
#include <new>

#include "base_pin.h"
#include "nothrow_new.h"

using zdr::dshow::append_or_fail;
using zdr::dshow::new_or_null;

// --- CEnumPins ---

CEnumPins::CEnumPins(CBaseFilter* filter, const CEnumPins* original) : m_pFilter(filter) {
  if (original == nullptr) {
    restart();
  } else {
    m_Position = original->m_Position;
    m_PinCount = original->m_PinCount;
    m_Version = original->m_Version;
    m_PinCache = original->m_PinCache;
  }
  m_pFilter->AddRef();
}

CEnumPins::~CEnumPins() {
  m_pFilter->Release();
}

void CEnumPins::restart() {
  m_Version = m_pFilter->GetPinVersion();
  m_PinCount = m_pFilter->GetPinCount();
  m_Position = 0;
}

HRESULT CEnumPins::QueryInterface(REFIID riid, void** ppv) {
  CheckPointer(ppv, E_POINTER);
  if (riid == IID_IEnumPins || riid == IID_IUnknown) return GetInterface(this, ppv);
  *ppv = nullptr;
  return E_NOINTERFACE;
}

ULONG CEnumPins::AddRef() {
  return static_cast<ULONG>(++m_cRef);
}

ULONG CEnumPins::Release() {
  const LONG left = --m_cRef;
  if (left == 0) delete this;
  return static_cast<ULONG>(left);
}

HRESULT CEnumPins::Next(ULONG count, IPin** pins, ULONG* fetched) {
  CheckPointer(pins, E_POINTER);
  if (fetched != nullptr) {
    *fetched = 0;
  } else if (count > 1) {
    return E_INVALIDARG;
  }
  // The pins returned so far stay remembered, so that none comes twice.
  if (out_of_sync()) restart();

  const int first_position = m_Position;
  ULONG taken = 0;
  const auto give_back = [&](HRESULT hr) {
    for (ULONG i = 0; i < taken; ++i) pins[i]->Release();
    m_PinCache.resize(m_PinCache.size() - taken);
    m_Position = first_position;
    return hr;
  };
  while (taken < count && m_Position < m_PinCount) {
    CBasePin* const pin = m_pFilter->GetPin(m_Position++);
    if (pin == nullptr) return give_back(VFW_E_ENUM_OUT_OF_SYNC);
    if (std::find(m_PinCache.begin(), m_PinCache.end(), pin) != m_PinCache.end()) continue;
    if (!append_or_fail(m_PinCache, pin)) return give_back(E_OUTOFMEMORY);
    pin->AddRef();
    pins[taken++] = pin;
  }
  if (fetched != nullptr) *fetched = taken;
  return taken == count ? S_OK : S_FALSE;
}

HRESULT CEnumPins::Skip(ULONG count) {
  if (out_of_sync()) return VFW_E_ENUM_OUT_OF_SYNC;
  if (count > static_cast<ULONG>(m_PinCount - m_Position)) return S_FALSE;
  m_Position += static_cast<int>(count);
  return S_OK;
}

HRESULT CEnumPins::Reset() {
  restart();
  m_PinCache.clear();
  return S_OK;
}

HRESULT CEnumPins::Clone(IEnumPins** clone) {
  CheckPointer(clone, E_POINTER);
  *clone = nullptr;
  if (out_of_sync()) return VFW_E_ENUM_OUT_OF_SYNC;
  try {
    *clone = new_or_null<CEnumPins>(m_pFilter, this);
  } catch (const std::bad_alloc&) {
    *clone = nullptr;  // no room for the memory of returned pins
  }
  return *clone == nullptr ? E_OUTOFMEMORY : S_OK;
}

// --- CEnumMediaTypes ---

CEnumMediaTypes::CEnumMediaTypes(CBasePin* pin, const CEnumMediaTypes* original) : m_pPin(pin) {
  if (original == nullptr) {
    m_Version = m_pPin->GetMediaTypeVersion();
  } else {
    m_Position = original->m_Position;
    m_Version = original->m_Version;
  }
  m_pPin->AddRef();
}

CEnumMediaTypes::~CEnumMediaTypes() {
  m_pPin->Release();
}

HRESULT CEnumMediaTypes::QueryInterface(REFIID riid, void** ppv) {
  CheckPointer(ppv, E_POINTER);
  if (riid == IID_IEnumMediaTypes || riid == IID_IUnknown) return GetInterface(this, ppv);
  *ppv = nullptr;
  return E_NOINTERFACE;
}

ULONG CEnumMediaTypes::AddRef() {
  return static_cast<ULONG>(++m_cRef);
}

ULONG CEnumMediaTypes::Release() {
  const LONG left = --m_cRef;
  if (left == 0) delete this;
  return static_cast<ULONG>(left);
}

void CEnumMediaTypes::advance(ULONG count) noexcept {
  // Positions are 32-bit signed to the pin; far past any list they may as well stand still.
  const int64_t position = int64_t{m_Position} + count;
  m_Position = static_cast<int>(std::min<int64_t>(position, std::numeric_limits<int>::max()));
}

HRESULT CEnumMediaTypes::Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) {
  CheckPointer(types, E_POINTER);
  if (out_of_sync()) return VFW_E_ENUM_OUT_OF_SYNC;
  if (fetched != nullptr) {
    *fetched = 0;
  } else if (count > 1) {
    return E_INVALIDARG;
  }
  ULONG taken = 0;
  while (taken < count) {
    CMediaType type;
    const int position = m_Position;
    advance(1);
    if (m_pPin->GetMediaType(position, &type) != S_OK) break;
    types[taken] = CreateMediaType(&type);
    if (types[taken] == nullptr) break;
    ++taken;
  }
  if (fetched != nullptr) *fetched = taken;
  return taken == count ? S_OK : S_FALSE;
}

HRESULT CEnumMediaTypes::Skip(ULONG count) {
  if (count == 0) return S_OK;
  if (out_of_sync()) return VFW_E_ENUM_OUT_OF_SYNC;
  // Unlike with pins the position moves past the end: kept on purpose.
  advance(count);
  CMediaType last_skipped;
  return m_pPin->GetMediaType(m_Position - 1, &last_skipped) == S_OK ? S_OK : S_FALSE;
}

HRESULT CEnumMediaTypes::Reset() {
  m_Version = m_pPin->GetMediaTypeVersion();
  m_Position = 0;
  return S_OK;
}

HRESULT CEnumMediaTypes::Clone(IEnumMediaTypes** clone) {
  CheckPointer(clone, E_POINTER);
  *clone = nullptr;
  if (out_of_sync()) return VFW_E_ENUM_OUT_OF_SYNC;
  *clone = new_or_null<CEnumMediaTypes>(m_pPin, this);
  return *clone == nullptr ? E_OUTOFMEMORY : S_OK;
}
