// AnyFilter, a filter with the pins that a test adds; AgreeingPin, a base for pins that accept everything;
// media types that a letter identifies.
#pragma once

#include <com_ptr.h>
#include <streams.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zdr::test {

// A fully specified type with a letter in its subtype.
inline CMediaType type_of(char letter) {
  CMediaType type;
  type.majortype = MEDIATYPE_Stream;
  type.subtype.Data1 = static_cast<DWORD>(letter);
  type.formattype = FORMAT_None;
  return type;
}

inline char letter_of(const AM_MEDIA_TYPE& type) {
  return static_cast<char>(type.subtype.Data1);
}

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

// Offers a type for each letter of its list.
class AgreeingPin : public CBasePin {
 public:
  AgreeingPin(CBaseFilter* filter, CCritSec* lock, const WCHAR* name, PIN_DIRECTION direction,
              std::string letters = {})
      : CBasePin(NAME("AgreeingPin"), filter, lock, nullptr, name, direction), offers(std::move(letters)) {}
  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  HRESULT GetMediaType(int position, CMediaType* type) override {
    if (position < 0) return E_INVALIDARG;
    if (static_cast<std::size_t>(position) >= offers.size()) return VFW_S_NO_MORE_ITEMS;
    return type->Set(type_of(offers[static_cast<std::size_t>(position)]));
  }
  HRESULT BeginFlush() override { return S_OK; }
  HRESULT EndFlush() override { return S_OK; }

  std::string offers;
};

}  // namespace zdr::test
