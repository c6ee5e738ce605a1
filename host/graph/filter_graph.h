// The filter graph of the host: holds the filters, connects their pins, changes their states in the right
// order and queues their events. Without a clock: everything is rendered as fast as it comes.
#pragma once

#include <streams.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/com/com_ptr.h"

namespace zdr::host {

using com::ComPtr;

struct GraphEvent {
  LONG code;
  LONG_PTR param1;
  LONG_PTR param2;
};

// Used from the host's main thread, but for Notify, which any streaming thread calls.
class FilterGraph final : public CUnknown, public IFilterGraph, public IMediaEventSink {
 public:
  FilterGraph();
  ~FilterGraph() override;

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

  HRESULT AddFilter(IBaseFilter* filter, LPCWSTR name) override;
  HRESULT RemoveFilter(IBaseFilter* filter) override;
  HRESULT EnumFilters(IEnumFilters** enumerator) override;
  HRESULT FindFilterByName(LPCWSTR name, IBaseFilter** filter) override;
  HRESULT ConnectDirect(IPin* out, IPin* in, const AM_MEDIA_TYPE* type) override;
  HRESULT Reconnect(IPin* pin) override;
  HRESULT Disconnect(IPin* pin) override;
  HRESULT SetDefaultSyncSource() override;

  HRESULT Notify(LONG code, LONG_PTR param1, LONG_PTR param2) override;

  // Filters added later stand downstream of the earlier ones: state changes go from the last to the first, so
  // that a sink is ready before its source delivers and a source is freed before it is waited for.
  HRESULT pause();
  HRESULT run();
  HRESULT stop();
  // Stops, breaks every connection and lets every filter go.
  void tear_down();

  // The next event, or nothing when none came in time.
  std::optional<GraphEvent> wait_event(std::chrono::milliseconds timeout);

 private:
  struct Entry {
    ComPtr<IBaseFilter> filter;
    std::u16string name;
  };
  template <class Change>
  HRESULT change_all(Change change);
  void disconnect_pins(IBaseFilter& filter);

  std::vector<Entry> entries_;
  std::mutex event_mutex_;
  std::condition_variable event_added_;
  std::deque<GraphEvent> events_;
};

// Calls `visit` with each pin of a filter.
template <class Visit>
void for_each_pin(IBaseFilter& filter, Visit visit) {
  ComPtr<IEnumPins> pins;
  if (filter.EnumPins(pins.out()) != S_OK) return;
  ComPtr<IPin> pin;
  while (pins->Next(1, pin.out(), nullptr) == S_OK) visit(*pin.get());
}

}  // namespace zdr::host
