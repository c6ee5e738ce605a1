// AnyFilter, a filter with the pins that a test adds, and AgreeingPin, a base for pins that accept
// everything.
#pragma once

#include <com_ptr.h>
#include <streams.h>

#include <memory>
#include <utility>
#include <vector>

namespace zdr::test {

class AnyFilter : public CBaseFilter {
 public:
  AnyFilter() : CBaseFilter(NAME("AnyFilter"), nullptr, &lock, GUID_NULL) {}
  int GetPinCount() override { return static_cast<int>(pins.size()); }
  CBasePin* GetPin(int index) override { return pins[static_cast<std::size_t>(index)].get(); }
  ULONG references() const { return static_cast<ULONG>(m_cRef.load()); }

  template <class Pin, class... Arguments>
  Pin& add(Arguments&&... arguments) {
    auto pin = std::make_unique<Pin>(this, &lock, std::forward<Arguments>(arguments)...);
    Pin& added = *pin;
    pins.push_back(std::move(pin));
    return added;
  }

  CCritSec lock;
  std::vector<std::unique_ptr<CBasePin>> pins;
};

class AgreeingPin : public CBasePin {
 public:
  AgreeingPin(CBaseFilter* filter, CCritSec* lock, const WCHAR* name, PIN_DIRECTION direction)
      : CBasePin(NAME("AgreeingPin"), filter, lock, nullptr, name, direction) {}
  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  HRESULT BeginFlush() override { return S_OK; }
  HRESULT EndFlush() override { return S_OK; }
};

}  // namespace zdr::test
