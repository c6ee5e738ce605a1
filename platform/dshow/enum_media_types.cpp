// CEnumMediaTypes, the enumerator over the media types that a pin offers.
#include <algorithm>
#include <limits>

#include "base_pin.h"
#include "nothrow_new.h"
#include "single_interface.h"

using zdr::dshow::new_or_null;
using zdr::dshow::SingleInterface;

namespace {

// Keeps the pin alive.
class CEnumMediaTypes final : public SingleInterface<IEnumMediaTypes, IID_IEnumMediaTypes> {
 public:
  CEnumMediaTypes(CBasePin* pin, int position) : m_Position(position), m_pPin(pin) { m_pPin->AddRef(); }
  ~CEnumMediaTypes() override { m_pPin->Release(); }

  HRESULT Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) override;
  HRESULT Skip(ULONG count) override;
  HRESULT Reset() override;
  HRESULT Clone(IEnumMediaTypes** clone) override;

 private:
  void advance(ULONG count) noexcept;

  int m_Position;
  CBasePin* const m_pPin;
};

// The position saturates: no list is that long.
void CEnumMediaTypes::advance(ULONG count) noexcept {
  const int64_t position = int64_t{m_Position} + count;
  m_Position = static_cast<int>(std::min<int64_t>(position, std::numeric_limits<int>::max()));
}

HRESULT CEnumMediaTypes::Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) {
  CheckPointer(types, E_POINTER);
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
    const HRESULT hr = m_pPin->GetMediaType(position, &type);
    if (hr == S_OK) types[taken] = CreateMediaType(&type);
    const bool has_memory = hr == S_OK ? types[taken] != nullptr : !m_pPin->LacksMemory(hr);
    if (!has_memory) {
      m_Position = position;
      if (taken == 0) return E_OUTOFMEMORY;
    }
    if (hr != S_OK || !has_memory) break;
    ++taken;
  }
  if (fetched != nullptr) *fetched = taken;
  return taken == count ? S_OK : S_FALSE;
}

HRESULT CEnumMediaTypes::Skip(ULONG count) {
  if (count == 0) return S_OK;
  // Kept: unlike IEnumPins::Skip, this moves the position past the end.
  advance(count);
  CMediaType last_skipped;
  return m_pPin->GetMediaType(m_Position - 1, &last_skipped) == S_OK ? S_OK : S_FALSE;
}

HRESULT CEnumMediaTypes::Reset() {
  m_Position = 0;
  return S_OK;
}

HRESULT CEnumMediaTypes::Clone(IEnumMediaTypes** clone) {
  CheckPointer(clone, E_POINTER);
  *clone = new_or_null<CEnumMediaTypes>(m_pPin, m_Position);
  return *clone == nullptr ? E_OUTOFMEMORY : S_OK;
}

}  // namespace

HRESULT CBasePin::EnumMediaTypes(IEnumMediaTypes** enumerator) {
  CheckPointer(enumerator, E_POINTER);
  *enumerator = new_or_null<CEnumMediaTypes>(this, 0);
  return *enumerator == nullptr ? E_OUTOFMEMORY : S_OK;
}
