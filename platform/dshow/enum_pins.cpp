// CEnumPins, the enumerator over the pins of a filter. The set of pins may change between its calls.
#include <algorithm>
#include <new>
#include <vector>

#include "base_filter.h"
#include "base_pin.h"
#include "nothrow_new.h"
#include "single_interface.h"

using zdr::dshow::append_or_fail;
using zdr::dshow::new_or_null;
using zdr::dshow::SingleInterface;

namespace {

// Keeps the filter alive. After a change of the pins it restarts automatically, without returning a pin
// twice.
class CEnumPins final : public SingleInterface<IEnumPins, IID_IEnumPins> {
 public:
  // A clone continues at the position of the original.
  CEnumPins(CBaseFilter* filter, const CEnumPins* original);
  ~CEnumPins() override;

  HRESULT Next(ULONG count, IPin** pins, ULONG* fetched) override;
  HRESULT Skip(ULONG count) override;
  HRESULT Reset() override;
  HRESULT Clone(IEnumPins** clone) override;

 private:
  bool out_of_sync() const { return m_pFilter->GetPinVersion() != m_Version; }
  void restart();

  int m_Position = 0;
  int m_PinCount = 0;
  CBaseFilter* m_pFilter;
  LONG m_Version = 0;
  std::vector<CBasePin*> m_PinCache;  // pins returned so far, not referenced
};

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

HRESULT CEnumPins::Next(ULONG count, IPin** pins, ULONG* fetched) {
  CheckPointer(pins, E_POINTER);
  if (fetched != nullptr) {
    *fetched = 0;
  } else if (count > 1) {
    return E_INVALIDARG;
  }
  if (out_of_sync()) restart();

  const int first_position = m_Position;
  ULONG taken = 0;
  const auto undo = [&](HRESULT hr) {
    for (ULONG i = 0; i < taken; ++i) pins[i]->Release();
    m_PinCache.resize(m_PinCache.size() - taken);
    m_Position = first_position;
    return hr;
  };
  while (taken < count && m_Position < m_PinCount) {
    CBasePin* const pin = m_pFilter->GetPin(m_Position++);
    if (pin == nullptr) return undo(VFW_E_ENUM_OUT_OF_SYNC);
    if (std::find(m_PinCache.begin(), m_PinCache.end(), pin) != m_PinCache.end()) continue;
    if (!append_or_fail(m_PinCache, pin)) return undo(E_OUTOFMEMORY);
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
    *clone = nullptr;  // no memory for the list of returned pins
  }
  return *clone == nullptr ? E_OUTOFMEMORY : S_OK;
}

}  // namespace

HRESULT CBaseFilter::EnumPins(IEnumPins** enumerator) {
  CheckPointer(enumerator, E_POINTER);
  *enumerator = new_or_null<CEnumPins>(this, nullptr);
  return *enumerator == nullptr ? E_OUTOFMEMORY : S_OK;
}
