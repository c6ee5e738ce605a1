// TestGraph: just enough of a filter graph for filters to join and to send events to. It lives on the stack
// of the test and counts references only to tell a leak.
#pragma once

#include <dshow.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "call_log.h"

namespace zdr::tests {

struct GraphEvent {
  LONG code = 0;
  LONG_PTR param1 = 0;
  LONG_PTR param2 = 0;

  bool operator==(const GraphEvent&) const = default;
};

class TestGraph final : public IFilterGraph2, public IMediaEventSink {
 public:
  // What of the graph can be asked for.
  bool has_event_sink = true;
  bool has_filter_graph2 = true;

  std::vector<GraphEvent> events() const {
    const std::lock_guard lock(mutex_);
    return events_;
  }
  // False when patience ends.
  bool wait_for_event(LONG code) {
    std::unique_lock lock(mutex_);
    return added_.wait_for(lock, kPatience, [&] {
      return std::any_of(events_.begin(), events_.end(), [&](const GraphEvent& e) { return e.code == code; });
    });
  }
  LONG references() const { return references_; }
  // The pins that were to be reconnected, "ex" for those with a type.
  std::vector<std::string> reconnects() { return reconnects_.take(); }

  HRESULT QueryInterface(REFIID riid, void** ppv) override {
    *ppv = nullptr;
    if (riid == IID_IMediaEventSink && has_event_sink) {
      *ppv = static_cast<IMediaEventSink*>(this);
    } else if (riid == IID_IFilterGraph2 && has_filter_graph2) {
      *ppv = static_cast<IFilterGraph2*>(this);
    } else if (riid == IID_IFilterGraph || riid == IID_IUnknown) {
      *ppv = static_cast<IFilterGraph*>(this);
    } else {
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG AddRef() override { return static_cast<ULONG>(++references_); }
  ULONG Release() override { return static_cast<ULONG>(--references_); }

  HRESULT Notify(LONG code, LONG_PTR param1, LONG_PTR param2) override {
    const std::lock_guard lock(mutex_);
    events_.push_back({code, param1, param2});
    added_.notify_all();
    return S_OK;
  }

  HRESULT Reconnect(IPin*) override { return reconnects_.add("plain"), S_OK; }
  HRESULT ReconnectEx(IPin*, const AM_MEDIA_TYPE*) override { return reconnects_.add("ex"), S_OK; }

  // Building a graph is the test's own work.
  HRESULT AddFilter(IBaseFilter*, LPCWSTR) override { return E_NOTIMPL; }
  HRESULT RemoveFilter(IBaseFilter*) override { return E_NOTIMPL; }
  HRESULT EnumFilters(IEnumFilters**) override { return E_NOTIMPL; }
  HRESULT FindFilterByName(LPCWSTR, IBaseFilter**) override { return E_NOTIMPL; }
  HRESULT ConnectDirect(IPin*, IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
  HRESULT Disconnect(IPin*) override { return E_NOTIMPL; }
  HRESULT SetDefaultSyncSource() override { return E_NOTIMPL; }
  HRESULT Connect(IPin*, IPin*) override { return E_NOTIMPL; }
  HRESULT Render(IPin*) override { return E_NOTIMPL; }
  HRESULT RenderFile(LPCWSTR, LPCWSTR) override { return E_NOTIMPL; }
  HRESULT AddSourceFilter(LPCWSTR, LPCWSTR, IBaseFilter**) override { return E_NOTIMPL; }
  HRESULT SetLogFile(DWORD_PTR) override { return E_NOTIMPL; }
  HRESULT Abort() override { return E_NOTIMPL; }
  HRESULT ShouldOperationContinue() override { return E_NOTIMPL; }
  HRESULT AddSourceFilterForMoniker(IMoniker*, IBindCtx*, LPCWSTR, IBaseFilter**) override {
    return E_NOTIMPL;
  }
  HRESULT RenderEx(IPin*, DWORD, DWORD*) override { return E_NOTIMPL; }

 private:
  std::atomic<LONG> references_{0};
  CallLog reconnects_;
  mutable std::mutex mutex_;
  std::condition_variable added_;
  std::vector<GraphEvent> events_;
};

}  // namespace zdr::tests
