// TestGraph: the part of a filter graph that filters join and send events to. It is not heap-allocated; its
// reference count only reveals leaks.
#pragma once

#include <dshow.h>

#include <atomic>
#include <mutex>
#include <vector>

namespace zdr::test {

struct GraphEvent {
  LONG code = 0;
  LONG_PTR param1 = 0;
  LONG_PTR param2 = 0;

  bool operator==(const GraphEvent&) const = default;
};

class TestGraph final : public IFilterGraph, public IMediaEventSink {
 public:
  std::vector<GraphEvent> events() const {
    const std::lock_guard lock(mutex_);
    return events_;
  }
  LONG references() const { return references_; }

  HRESULT QueryInterface(REFIID riid, void** ppv) override {
    *ppv = nullptr;
    if (riid != IID_IMediaEventSink) return E_NOINTERFACE;
    *ppv = static_cast<IMediaEventSink*>(this);
    AddRef();
    return S_OK;
  }
  ULONG AddRef() override { return static_cast<ULONG>(++references_); }
  ULONG Release() override { return static_cast<ULONG>(--references_); }

  HRESULT Notify(LONG code, LONG_PTR param1, LONG_PTR param2) override {
    const std::lock_guard lock(mutex_);
    events_.push_back({code, param1, param2});
    return S_OK;
  }

  HRESULT AddFilter(IBaseFilter*, LPCWSTR) override { return E_NOTIMPL; }
  HRESULT RemoveFilter(IBaseFilter*) override { return E_NOTIMPL; }
  HRESULT EnumFilters(IEnumFilters**) override { return E_NOTIMPL; }
  HRESULT FindFilterByName(LPCWSTR, IBaseFilter**) override { return E_NOTIMPL; }
  HRESULT ConnectDirect(IPin*, IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
  HRESULT Reconnect(IPin*) override { return E_NOTIMPL; }
  HRESULT Disconnect(IPin*) override { return E_NOTIMPL; }
  HRESULT SetDefaultSyncSource() override { return E_NOTIMPL; }

 private:
  std::atomic<LONG> references_{0};
  mutable std::mutex mutex_;
  std::vector<GraphEvent> events_;
};

}  // namespace zdr::test
