// The filter graph of the host: holds the filters, connects their pins, changes their states in the right
// order and queues their events. It has no clock, so samples are rendered as fast as they arrive.
#pragma once

#include <streams.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
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

// Its methods throw nothing: a filter calls them across the C boundary. Used only by the host's main thread,
// except for Notify, which streaming threads call, and for the thread of a change of state, for which the
// main thread waits.
class FilterGraph final : public CUnknown, public IFilterGraph, public IMediaEventSink {
 public:
  FilterGraph();
  ~FilterGraph() override;

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) noexcept override;

  HRESULT AddFilter(IBaseFilter* filter, LPCWSTR name) noexcept override;
  HRESULT RemoveFilter(IBaseFilter* filter) noexcept override;
  // Not implemented: no filter in this graph searches for others.
  HRESULT EnumFilters(IEnumFilters** enumerator) noexcept override;
  HRESULT FindFilterByName(LPCWSTR name, IBaseFilter** filter) noexcept override;
  HRESULT ConnectDirect(IPin* out, IPin* in, const AM_MEDIA_TYPE* type) noexcept override;
  HRESULT Reconnect(IPin* pin) noexcept override;
  HRESULT Disconnect(IPin* pin) noexcept override;
  HRESULT SetDefaultSyncSource() noexcept override;

  HRESULT Notify(LONG code, LONG_PTR param1, LONG_PTR param2) noexcept override;

  // Filters added later are downstream of the earlier ones. State changes go from the last to the first: a
  // sink is ready before its source delivers, and a blocked source is released before the graph waits for it.
  // Returns the first failure.
  HRESULT set_state(FILTER_STATE state);
  // After a change to State_Paused: VFW_S_STATE_INTERMEDIATE while a filter waits for its first sample.
  HRESULT wait_until_cued(std::chrono::milliseconds timeout);
  // Stops, breaks every connection and releases every filter.
  void tear_down();

  // Returns the next event, or nothing if none arrives in time. An event that could not be stored is replaced
  // by EC_ERRORABORT with E_OUTOFMEMORY.
  std::optional<GraphEvent> wait_event(std::chrono::milliseconds timeout);
  bool has_events();

 private:
  struct Connection {
    ComPtr<IPin> out;
    ComPtr<IPin> in;
  };

  struct Entry {
    ComPtr<IBaseFilter> filter;
    std::u16string name;
  };
  HRESULT add(IBaseFilter& filter, LPCWSTR name);
  bool has(IPin& pin) const;
  void disconnect_pins(IBaseFilter& filter);

  std::vector<Entry> entries_;
  std::vector<Connection> connections_;
  std::mutex event_mutex_;
  std::condition_variable event_added_;
  std::deque<GraphEvent> events_;
  bool has_lost_event_ = false;  // for lack of memory
};

// Calls `visit` with each pin of a filter. Returns S_OK, or the failure that ended the enumeration.
template <class Visit>
HRESULT for_each_pin(IBaseFilter& filter, Visit visit) {
  ComPtr<IEnumPins> pins;
  HRESULT hr = filter.EnumPins(pins.out());
  if (hr != S_OK) return hr;
  ComPtr<IPin> pin;
  while ((hr = pins->Next(1, pin.out(), nullptr)) == S_OK) visit(*pin.get());
  return FAILED(hr) ? hr : S_OK;
}

}  // namespace zdr::host
