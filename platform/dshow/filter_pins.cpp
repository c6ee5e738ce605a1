// The functions of a filter that walk its pins: state changes call every connected pin, and FindPin looks one
// up by name. A walk that fails midway is not rolled back: pins that were activated stay active until the
// next Stop or Inactive.
#include <string_view>

#include "base_filter.h"
#include "base_pin.h"

namespace {

// Calls action(pin) for each connected pin in order, until a pin is missing or an action fails. Returns that
// failure.
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
    // Kept: pins before a failing one stay active, and Stop does nothing in this state.
    const HRESULT hr = for_each_connected_pin(*this, [](CBasePin& pin) { return pin.Active(); });
    if (FAILED(hr)) return hr;
  }
  m_State = State_Paused;
  return S_OK;
}

HRESULT CBaseFilter::Run(REFERENCE_TIME start) {
  CAutoLock lock(m_pLock);
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
