// The event queue of TestGraph.
#include "test_graph.h"

#include <algorithm>

namespace zdr::tests {

HRESULT TestGraph::QueryInterface(REFIID riid, void** ppv) {
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

HRESULT TestGraph::Notify(LONG code, LONG_PTR param1, LONG_PTR param2) {
  const std::lock_guard lock(mutex_);
  events_.push_back({code, param1, param2});
  added_.notify_all();
  return S_OK;
}

std::vector<GraphEvent> TestGraph::events() const {
  const std::lock_guard lock(mutex_);
  return events_;
}

bool TestGraph::wait_for_event(LONG code) {
  std::unique_lock lock(mutex_);
  return added_.wait_for(lock, kPatience, [&] {
    return std::any_of(events_.begin(), events_.end(), [&](const GraphEvent& e) { return e.code == code; });
  });
}

}  // namespace zdr::tests
