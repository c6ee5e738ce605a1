// AnyFilter: a filter of whatever pins a test adds; a pin that agrees to everything, and an output pin that
// leaves its choices to the test.
#pragma once

#include <com_ptr.h>
#include <streams.h>

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace zdr::tests {

// A filter of any pins.
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

// To be derived from. Agrees to every type and flush.
class AgreeingPin : public CBasePin {
 public:
  AgreeingPin(CBaseFilter* filter, CCritSec* lock, const WCHAR* name, PIN_DIRECTION direction)
      : CBasePin(NAME("AgreeingPin"), filter, lock, nullptr, name, direction) {}
  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  HRESULT BeginFlush() override { return S_OK; }
  HRESULT EndFlush() override { return S_OK; }
};

class OutputPin final : public CBaseOutputPin {
 public:
  using DecideSize = std::function<HRESULT(IMemAllocator*, ALLOCATOR_PROPERTIES*)>;

  OutputPin(CBaseFilter* filter, CCritSec* lock, DecideSize decide = nullptr)
      : CBaseOutputPin(NAME("OutputPin"), filter, lock, nullptr, u"out"), decide_(std::move(decide)) {}

  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  HRESULT GetMediaType(int position, CMediaType* type) override {
    return position == 0 ? type->Set(CMediaType(&MEDIATYPE_Stream)) : VFW_S_NO_MORE_ITEMS;
  }
  HRESULT InitAllocator(IMemAllocator** allocator) override {
    if (!own_allocator) return CBaseOutputPin::InitAllocator(allocator);
    *allocator = com::ComPtr<IMemAllocator>(own_allocator).detach();
    return S_OK;
  }
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
    return decide_ ? decide_(allocator, request) : S_OK;
  }
  IMemAllocator* allocator() const { return m_pAllocator; }

  com::ComPtr<IMemAllocator> own_allocator;

 private:
  DecideSize decide_;
};

inline void disconnect(CBasePin& out, CBasePin& in) {
  out.Disconnect();
  in.Disconnect();
}

}  // namespace zdr::tests
