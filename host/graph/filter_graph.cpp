// Implements the part of a filter graph manager that a source and its sinks need.
#include "host/graph/filter_graph.h"

#include <algorithm>
#include <memory>

#include "platform/com/status_guard.h"

namespace zdr::host {
namespace {

ComPtr<IBaseFilter> filter_of(IPin& pin) {
  PIN_INFO info{};
  ComPtr<IBaseFilter> filter;
  if (pin.QueryPinInfo(&info) == S_OK) *filter.out() = info.pFilter;
  return filter;
}

// Sets `found` if samples of `from` can reach `to`, along the connections that exist. Returns the first
// failure of an enumeration.
HRESULT leads_to(IBaseFilter& from, IBaseFilter& to, bool& found) {
  found = found || &from == &to;
  if (found) return S_OK;
  HRESULT inner = S_OK;
  const HRESULT outer = for_each_pin(from, [&](IPin& pin) {
    PIN_DIRECTION direction = PINDIR_INPUT;
    ComPtr<IPin> peer;
    if (found || FAILED(inner) || FAILED(pin.QueryDirection(&direction)) || direction != PINDIR_OUTPUT)
      return;
    if (pin.ConnectedTo(peer.out()) != S_OK) return;
    const ComPtr<IBaseFilter> next = filter_of(*peer.get());
    if (next) inner = leads_to(*next.get(), to, found);
  });
  return FAILED(outer) ? outer : inner;
}

}  // namespace

FilterGraph::FilterGraph() : CUnknown(NAME("filter graph"), nullptr) {}

FilterGraph::~FilterGraph() {
  tear_down();
}

HRESULT FilterGraph::NonDelegatingQueryInterface(REFIID riid, void** ppv) noexcept {
  if (riid == IID_IFilterGraph) return GetInterface(static_cast<IFilterGraph*>(this), ppv);
  if (riid == IID_IMediaEventSink) return GetInterface(static_cast<IMediaEventSink*>(this), ppv);
  return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT FilterGraph::AddFilter(IBaseFilter* filter, LPCWSTR name) noexcept {
  if (filter == nullptr) return E_POINTER;
  return com::guarded([&] { return add(*filter, name); });
}

HRESULT FilterGraph::add(IBaseFilter& filter, LPCWSTR name) {
  entries_.reserve(entries_.size() + 1);  // so that storing a filter that has joined cannot fail
  std::u16string requested = name != nullptr ? name : u"";
  std::u16string unique = requested;
  const auto taken = [&](const Entry& entry) { return entry.name == unique; };
  for (int number = 1; std::any_of(entries_.begin(), entries_.end(), taken); ++number) {
    const std::string digits = std::to_string(number);
    unique = requested + u" " + std::u16string(digits.begin(), digits.end());
  }
  const HRESULT hr = filter.JoinFilterGraph(this, unique.c_str());
  if (FAILED(hr)) return hr;
  const bool renamed = unique != requested;
  entries_.push_back({ComPtr<IBaseFilter>(&filter), std::move(unique)});
  return renamed ? VFW_S_DUPLICATE_NAME : S_OK;
}

HRESULT FilterGraph::RemoveFilter(IBaseFilter* filter) noexcept {
  const auto entry = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const Entry& candidate) { return candidate.filter.get() == filter; });
  if (entry == entries_.end()) return VFW_E_NOT_FOUND;
  disconnect_pins(*filter);
  filter->JoinFilterGraph(nullptr, nullptr);
  entries_.erase(entry);
  return S_OK;
}

HRESULT FilterGraph::EnumFilters(IEnumFilters** /*enumerator*/) noexcept {
  return E_NOTIMPL;
}

HRESULT FilterGraph::FindFilterByName(LPCWSTR /*name*/, IBaseFilter** /*filter*/) noexcept {
  return E_NOTIMPL;
}

HRESULT FilterGraph::ConnectDirect(IPin* out, IPin* in, const AM_MEDIA_TYPE* type) noexcept {
  if (out == nullptr || in == nullptr) return E_POINTER;
  if (!has(*out) || !has(*in)) return VFW_E_NOT_IN_GRAPH;
  return com::guarded([&] {
    bool is_circular = false;
    HRESULT hr = leads_to(*filter_of(*in).get(), *filter_of(*out).get(), is_circular);
    if (FAILED(hr) || is_circular) return FAILED(hr) ? hr : VFW_E_CIRCULAR_GRAPH;
    connections_.reserve(connections_.size() + 1);  // so that storing a connection that was made cannot fail
    hr = out->Connect(in, type);
    if (SUCCEEDED(hr)) connections_.push_back({ComPtr<IPin>(out), ComPtr<IPin>(in)});
    return hr;
  });
}

bool FilterGraph::has(IPin& pin) const {
  const ComPtr<IBaseFilter> filter = filter_of(pin);
  return std::ranges::any_of(entries_,
                             [&](const Entry& entry) { return entry.filter.get() == filter.get(); });
}

HRESULT FilterGraph::Reconnect(IPin* pin) noexcept {
  if (pin == nullptr) return E_POINTER;
  ComPtr<IPin> peer;
  if (pin->ConnectedTo(peer.out()) != S_OK) return VFW_E_NOT_CONNECTED;
  PIN_DIRECTION direction = PINDIR_INPUT;
  pin->QueryDirection(&direction);
  peer->Disconnect();
  pin->Disconnect();
  return direction == PINDIR_OUTPUT ? pin->Connect(peer.get(), nullptr) : peer->Connect(pin, nullptr);
}

HRESULT FilterGraph::Disconnect(IPin* pin) noexcept {
  return pin != nullptr ? pin->Disconnect() : E_POINTER;
}

HRESULT FilterGraph::SetDefaultSyncSource() noexcept {
  for (const Entry& entry : entries_) entry.filter->SetSyncSource(nullptr);
  return S_OK;
}

HRESULT FilterGraph::Notify(LONG code, LONG_PTR param1, LONG_PTR param2) noexcept {
  const std::lock_guard lock(event_mutex_);
  const HRESULT hr = com::guarded([&] {
    events_.push_back({code, param1, param2});
    return S_OK;
  });
  has_lost_event_ = has_lost_event_ || FAILED(hr);
  event_added_.notify_one();
  return hr;
}

HRESULT FilterGraph::set_state(FILTER_STATE state) {
  HRESULT first_failure = S_OK;
  for (auto entry = entries_.rbegin(); entry != entries_.rend(); ++entry) {
    IBaseFilter& filter = *entry->filter.get();
    const HRESULT hr = state == State_Stopped  ? filter.Stop()
                       : state == State_Paused ? filter.Pause()
                                               : filter.Run(0);
    if (FAILED(hr) && SUCCEEDED(first_failure)) first_failure = hr;
  }
  return first_failure;
}

HRESULT FilterGraph::wait_until_cued(std::chrono::milliseconds timeout) {
  for (auto entry = entries_.rbegin(); entry != entries_.rend(); ++entry) {
    FILTER_STATE state = State_Stopped;
    const HRESULT hr = entry->filter->GetState(static_cast<DWORD>(timeout.count()), &state);
    if (hr == VFW_S_STATE_INTERMEDIATE || hr == VFW_S_CANT_CUE || FAILED(hr)) return hr;
  }
  return S_OK;
}

// Breaks the connections that were made through the graph. Takes no memory, which enumerating the pins would.
void FilterGraph::disconnect_pins(IBaseFilter& filter) {
  const auto is_pin_of = [&](const ComPtr<IPin>& pin) { return filter_of(*pin.get()).get() == &filter; };
  std::erase_if(connections_, [&](const Connection& connection) {
    if (!is_pin_of(connection.out) && !is_pin_of(connection.in)) return false;
    connection.in->Disconnect();
    connection.out->Disconnect();
    return true;
  });
}

void FilterGraph::tear_down() {
  set_state(State_Stopped);
  while (!entries_.empty()) {
    const ComPtr<IBaseFilter> last = entries_.back().filter;
    RemoveFilter(last.get());
  }
}

bool FilterGraph::has_events() {
  const std::lock_guard lock(event_mutex_);
  return !events_.empty() || has_lost_event_;
}

std::optional<GraphEvent> FilterGraph::wait_event(std::chrono::milliseconds timeout) {
  std::unique_lock lock(event_mutex_);
  const auto has_event = [this] { return !events_.empty() || has_lost_event_; };
  if (!event_added_.wait_for(lock, timeout, has_event)) return std::nullopt;
  if (events_.empty()) {
    has_lost_event_ = false;
    return GraphEvent{EC_ERRORABORT, E_OUTOFMEMORY, 0};
  }
  const GraphEvent event = events_.front();
  events_.pop_front();
  return event;
}

}  // namespace zdr::host
