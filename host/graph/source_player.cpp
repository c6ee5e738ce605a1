// Loads, connects, seeks and runs, in the order that any host of a source filter follows.
#include "host/graph/source_player.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <set>
#include <utility>

#include "host/graph/module_loader.h"
#include "host/graph/stall_watch.h"
#include "host/graph/thread_states.h"
#include "host/graph/watched_call.h"
#include "host/inspect/diagnosis/content_hint.h"
#include "host/inspect/diagnosis/open_diagnosis.h"
#include "host/inspect/files/read_failure.h"
#include "host/memory.h"
#include "host/terminal.h"
#include "host/text/time_text.h"
#include "host/text/wide_text.h"
#include "platform/com/status_guard.h"

namespace zdr::host {
namespace {

// An interrupted program ends within a second.
constexpr std::chrono::milliseconds kTimeToStop{400};

// Set by the main thread.
bool filter_abandoned = false;

struct DeleteType {
  void operator()(AM_MEDIA_TYPE* type) const { DeleteMediaType(type); }
};

std::list<CMediaType> offered_types(IPin& pin) {
  std::list<CMediaType> types;
  ComPtr<IEnumMediaTypes> enumerator;
  if (with_memory(pin.EnumMediaTypes(enumerator.out())) != S_OK) return types;
  AM_MEDIA_TYPE* next = nullptr;
  while (with_memory(enumerator->Next(1, &next, nullptr)) == S_OK) {
    const std::unique_ptr<AM_MEDIA_TYPE, DeleteType> type(next);
    with_memory(types.emplace_back().Set(*type));
  }
  return types;
}

std::string pin_name(IPin& pin) {
  PIN_INFO info{};
  if (pin.QueryPinInfo(&info) != S_OK) return "?";
  if (info.pFilter != nullptr) info.pFilter->Release();
  return to_utf8(info.achName);
}

// A file being opened. Owns what it uses, because a filter that hangs may still use it when the player is
// gone.
struct Opening {
  ComPtr<IBaseFilter> source;
  std::u16string file;
  HRESULT loaded;
  std::vector<PinEntry> pins;
};

// Returns a failure to enumerate the pins.
HRESULT open(Opening& opening) {
  ComPtr<IFileSourceFilter> loader;
  opening.loaded = opening.source->QueryInterface(IID_IFileSourceFilter, loader.out_void());
  if (SUCCEEDED(opening.loaded)) opening.loaded = loader->Load(opening.file.c_str(), nullptr);
  if (FAILED(opening.loaded)) return S_OK;
  return for_each_pin(*opening.source.get(), [&](IPin& pin) {
    opening.pins.push_back({pin_name(pin), ComPtr<IPin>(&pin), offered_types(pin)});
  });
}

// A thread that runs is in an endless loop; one that is asleep waits for something.
std::string limit_and_threads(std::chrono::seconds limit) {
  const std::string threads = thread_states();
  return std::to_string(limit.count()) + " s (--stall-timeout sets the limit)" +
         (threads.empty() ? "" : "; " + threads);
}

template <class Interface>
void leak(ComPtr<Interface>& pointer) {
  [[maybe_unused]] const Interface* const leaked = pointer.detach();
}

}  // namespace

bool PinEntry::is_audio() const {
  if (types.empty()) return name.find("Audio") != std::string::npos;
  return types.front().majortype == MEDIATYPE_Audio;
}

SourcePlayer::SourcePlayer(std::string file, Messages& messages, uint32_t stall_seconds)
    : file_(std::move(file)), messages_(messages), stall_limit_(stall_seconds) {
  graph_ = ComPtr<FilterGraph>(new FilterGraph);
}

SourcePlayer::~SourcePlayer() {
  if (is_abandoned_) {
    for (PinEntry& entry : pins_) leak(entry.pin);
    for (Connection& each : connections_) leak(each.sink);
    leak(source_);
    leak(graph_);
    return;
  }
  pins_.clear();
  graph_->tear_down();
}

ExitCode SourcePlayer::load() {
  watch_reads(file_);
  if (const auto refused = diagnose_before_open(file_)) return messages_.report(file_, *refused);
  report_content_hint(file_, messages_);
  HRESULT hr = S_OK;
  source_ = create_source_filter(file_, messages_, hr);
  if (!source_) {
    messages_.error(module_failure(file_, hr));
    return ExitCode::kCannotOpen;
  }
  with_memory(graph_->AddFilter(source_.get(), WIDE("Source")));
  const auto opening = std::make_shared<Opening>(Opening{source_, wide_file_name(file_), S_OK, {}});
  const std::optional<HRESULT> opened =
      watched([opening] { return com::guarded([&] { return open(*opening); }); });
  if (!opened) {
    is_abandoned_ = filter_abandoned = true;
    if (interrupted()) return ExitCode::kInterrupted;
    messages_.error({MessageCode::kStalled, file_, {}, given_up("does not open the file"), ""});
    return ExitCode::kCannotOpen;
  }
  if (FAILED(with_memory(opening->loaded))) {
    return messages_.report(file_, diagnose_failed_open(file_, opening->loaded));
  }
  with_memory(*opened);
  pins_ = std::move(opening->pins);
  return ExitCode::kDone;
}

PlayableKinds SourcePlayer::playable_kinds() const {
  PlayableKinds kinds;
  for (const PinEntry& pin : pins_) {
    if (!pin.types.empty()) (pin.is_audio() ? kinds.audio : kinds.video) = true;
  }
  return kinds;
}

HRESULT SourcePlayer::connect(const PinEntry& pin, SampleConsumer& consumer, StartGate* opens,
                              StartGate* waits_for) {
  if (is_abandoned_) return VFW_E_TIMEOUT;
  HRESULT hr = S_OK;
  const ComPtr<MediaSink> sink(new MediaSink(consumer, opens, waits_for, &hr));
  connections_.push_back({pin.name, sink});
  if (SUCCEEDED(hr)) hr = graph_->AddFilter(sink.get(), WIDE("Sink"));
  if (SUCCEEDED(hr)) {
    const auto connected = watched([graph = graph_.get(), out = pin.pin.get(), in = &sink->pin()] {
      return graph->ConnectDirect(out, in, nullptr);
    });
    if (!connected) abandon_filter(given_up("does not connect " + pin.name));
    if (!connected) return VFW_E_TIMEOUT;
    hr = *connected;
  }
  if (SUCCEEDED(hr)) return S_OK;
  connections_.pop_back();
  graph_->RemoveFilter(sink.get());
  return with_memory(hr);
}

CMediaType SourcePlayer::connection_type(const PinEntry& pin) {
  CMediaType type;
  with_memory(pin.pin->ConnectionMediaType(&type));
  return type;
}

int64_t SourcePlayer::duration() const {
  int64_t longest = 0;
  if (is_abandoned_) return longest;
  for (const PinEntry& entry : pins_) {
    ComPtr<IMediaSeeking> seeking;
    LONGLONG duration = 0;
    if (FAILED(entry.pin->QueryInterface(IID_IMediaSeeking, seeking.out_void()))) continue;
    if (seeking->GetDuration(&duration) == S_OK && duration > longest) longest = duration;
  }
  return longest;
}

int64_t SourcePlayer::stop_position(const PinEntry& pin) {
  ComPtr<IMediaSeeking> seeking;
  LONGLONG stop = 0;
  if (FAILED(pin.pin->QueryInterface(IID_IMediaSeeking, seeking.out_void()))) return 0;
  return SUCCEEDED(seeking->GetStopPosition(&stop)) ? stop : 0;
}

int64_t SourcePlayer::segment_start(const PinEntry& pin) {
  ComPtr<IMediaSeeking> seeking;
  LONGLONG start = 0;
  if (FAILED(pin.pin->QueryInterface(IID_IMediaSeeking, seeking.out_void()))) return 0;
  return SUCCEEDED(seeking->GetAvailable(&start, nullptr)) ? start : 0;
}

ExitCode SourcePlayer::refuse_past_end(int64_t time, const char* option) {
  const int64_t end = duration();
  if (end <= 0 || time < end) return ExitCode::kDone;
  return messages_.report(file_, diagnose_past_end(option, end));
}

ExitCode SourcePlayer::seek(const PlayRange& range) {
  if (range.is_whole) return ExitCode::kDone;
  if (is_abandoned_) return ExitCode::kLoss;
  const HRESULT hr = set_positions(range);
  if (SUCCEEDED(hr)) return ExitCode::kDone;
  messages_.error({MessageCode::kRangeNotPlayable,
                   file_,
                   {},
                   "is not seekable: " + std::string(hresult_name(hr)),
                   hresult_text(hr)});
  return ExitCode::kNotSupported;
}

// The filter moves all of its pins in one call; a second call on another pin would repeat the work.
HRESULT SourcePlayer::set_positions(const PlayRange& range) {
  for (const PinEntry& entry : pins_) {
    ComPtr<IPin> peer;
    ComPtr<IMediaSeeking> seeking;
    if (entry.pin->ConnectedTo(peer.out()) != S_OK) continue;
    if (FAILED(entry.pin->QueryInterface(IID_IMediaSeeking, seeking.out_void()))) continue;
    LONGLONG current = range.start;
    LONGLONG end = range.stop;
    const DWORD stop_flags = end >= 0 ? AM_SEEKING_AbsolutePositioning : AM_SEEKING_NoPositioning;
    return seeking->SetPositions(&current, AM_SEEKING_AbsolutePositioning, &end, stop_flags);
  }
  return E_NOINTERFACE;
}

ExitCode SourcePlayer::play(const std::function<bool()>& on_slice) {
  if (is_abandoned_) return ExitCode::kLoss;
  try {
    ExitCode result = start(on_slice);
    if (result == ExitCode::kDone && !is_abandoned_) result = run_until_complete(on_slice);
    stop();
    // A stream that fails has ended before it reports the failure, so the last event may be the report.
    if (result == ExitCode::kDone && !is_abandoned_) result = handle_late_events();
    return result;
  } catch (...) {
    stop();
    throw;
  }
}

// After this the consumers receive nothing more.
void SourcePlayer::stop() {
  if (!is_abandoned_ && !change_state(State_Stopped)) abandon_filter("the source filter does not stop");
}

std::optional<HRESULT> SourcePlayer::watched(std::function<HRESULT()> call) {
  StallWatch watch(stall_limit_);
  StallWatch end(kTimeToStop);
  return watched_call(std::move(call), [&] {
    if (interrupted() || is_stalled_) return !end.is_stalled(false);
    return !watch.is_stalled(has_moved());
  });
}

// A filter may not return from a change of its state, because it waits for its worker.
std::optional<HRESULT> SourcePlayer::change_state(FILTER_STATE state) {
  return watched([graph = graph_.get(), state] { return graph->set_state(state); });
}

ExitCode SourcePlayer::start(const std::function<bool()>& on_slice) {
  for (const FILTER_STATE state : {State_Paused, State_Running}) {
    const std::optional<HRESULT> hr = change_state(state);
    if (!hr) {
      abandon_filter(given_up("does not start"));
      return ExitCode::kLoss;
    }
    if (FAILED(*hr)) return fail_to_start(*hr);
    if (state == State_Running) break;
    if (const ExitCode cued = cue(on_slice); cued != ExitCode::kDone) return cued;
  }
  return ExitCode::kDone;
}

ExitCode SourcePlayer::fail_to_start(HRESULT hr) {
  with_memory(hr);
  messages_.error({MessageCode::kGraphFailed,
                   file_,
                   {},
                   "the graph does not start: " + std::string(hresult_name(hr)),
                   hresult_text(hr)});
  return ExitCode::kCannotOpen;
}

// Waits until every stream has delivered its first sample or ended. Returns early if a
// stream aborts or the run is to end; run_until_complete() handles both.
ExitCode SourcePlayer::cue(const std::function<bool()>& on_slice) {
  StallWatch watch(stall_limit_);
  while (graph_->wait_until_cued(StallWatch::kSlice) == VFW_S_STATE_INTERMEDIATE) {
    if (!on_slice() || graph_->has_events()) break;
    if (watch.is_stalled(has_moved())) return give_up_stalled();
  }
  return ExitCode::kDone;
}

ExitCode SourcePlayer::run_until_complete(const std::function<bool()>& on_slice) {
  StallWatch watch(stall_limit_);
  std::set<LONG_PTR> completed;  // the sinks that have reported their end
  while (completed.size() < connections_.size()) {
    if (!on_slice()) return ExitCode::kDone;
    const std::optional<GraphEvent> event = graph_->wait_event(StallWatch::kSlice);
    if (!event) {
      if (watch.is_stalled(has_moved())) return give_up_stalled();
      continue;
    }
    if (event->code == EC_COMPLETE) completed.insert(event->param2);
    if (const ExitCode code = handle_event(*event); code != ExitCode::kDone) return code;
  }
  return ExitCode::kDone;
}

// Reports an event that ends the run.
ExitCode SourcePlayer::handle_event(const GraphEvent& event) {
  if (event.code == EC_USERABORT) {
    messages_.error({MessageCode::kInterrupted, file_, {}, "playback was ended by the user", ""});
    return ExitCode::kInterrupted;
  }
  if (event.code != EC_ERRORABORT) return ExitCode::kDone;
  const auto hr = static_cast<HRESULT>(event.param1);
  messages_.error({MessageCode::kGraphFailed,
                   file_,
                   {},
                   "a stream was aborted: " + std::string(hresult_name(hr)),
                   hresult_text(hr)});
  return ExitCode::kLoss;
}

ExitCode SourcePlayer::handle_late_events() {
  ExitCode result = ExitCode::kDone;
  while (const std::optional<GraphEvent> event = graph_->wait_event({})) {
    if (event->code == EC_ERRORABORT && result == ExitCode::kDone) result = handle_event(*event);
  }
  return result;
}

// A consumer may be slow: it may wait for a disk, or for the reader of a pipe.
bool SourcePlayer::is_in_consumer() const {
  return std::ranges::any_of(connections_,
                             [](const Connection& each) { return each.sink->is_in_consumer(); });
}

bool SourcePlayer::has_moved() {
  uint64_t samples = 0;
  for (const Connection& each : connections_) samples += each.sink->samples_received();
  return std::exchange(samples_seen_, samples) != samples || is_in_consumer();
}

ExitCode SourcePlayer::give_up_stalled() {
  is_stalled_ = true;
  for (const Connection& each : connections_) {
    if (each.sink->has_ended()) continue;
    messages_.error({MessageCode::kStalled, file_, Place::pin(each.pin_name),
                     "given up: nothing was delivered for " + limit_and_threads(stall_limit_), ""});
  }
  return ExitCode::kLoss;
}

std::string SourcePlayer::given_up(const std::string& what) const {
  if (interrupted()) return "the source filter does not stop";
  return "given up: the source filter " + what + " within " + limit_and_threads(stall_limit_);
}

// The sinks are stopped or have never run, so no further sample reaches a consumer. A consumer that is at
// work now can be neither used nor destroyed, so the process ends at once; its partial files stay.
void SourcePlayer::abandon_filter(const std::string& reason) {
  is_abandoned_ = filter_abandoned = true;
  const bool ends_now = is_in_consumer();
  const bool is_interrupted = interrupted();
  report_memory(file_, messages_, [&] {
    const MessageCode code = is_interrupted ? MessageCode::kInterrupted : MessageCode::kStalled;
    messages_.error({code, file_, {}, ends_now && is_interrupted ? "interrupted" : reason, ""});
    return ExitCode::kLoss;
  });
  if (ends_now) {
    std::_Exit(static_cast<int>(is_interrupted ? ExitCode::kInterrupted : ExitCode::kLoss));
  }
}

bool SourcePlayer::has_abandoned_filter() {
  return filter_abandoned;
}

}  // namespace zdr::host
