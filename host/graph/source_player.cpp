// Loads, connects, seeks and runs, in the order that any host of a source filter follows.
#include "host/graph/source_player.h"

#include <set>

#include "host/graph/module_loader.h"
#include "host/inspect/open_diagnosis.h"
#include "host/wide_text.h"

namespace zdr::host {
namespace {

constexpr std::chrono::milliseconds kSlice(100);

std::vector<CMediaType> offered_types(IPin& pin) {
  std::vector<CMediaType> types;
  ComPtr<IEnumMediaTypes> enumerator;
  if (pin.EnumMediaTypes(enumerator.out()) != S_OK) return types;
  AM_MEDIA_TYPE* type = nullptr;
  while (enumerator->Next(1, &type, nullptr) == S_OK) {
    types.emplace_back(*type);
    DeleteMediaType(type);
  }
  return types;
}

std::string pin_name(IPin& pin) {
  PIN_INFO info{};
  if (pin.QueryPinInfo(&info) != S_OK) return "?";
  if (info.pFilter != nullptr) info.pFilter->Release();
  return to_utf8(info.achName);
}

}  // namespace

bool PinEntry::is_audio() const {
  if (types.empty()) return name.find("Audio") != std::string::npos;
  return types.front().majortype == MEDIATYPE_Audio;
}

SourcePlayer::SourcePlayer(std::string file, Messages& messages)
    : file_(std::move(file)), messages_(messages) {
  graph_ = ComPtr<FilterGraph>(new FilterGraph);
}

SourcePlayer::~SourcePlayer() {
  pins_.clear();
  graph_->tear_down();
}

ExitCode SourcePlayer::load() {
  if (const auto refused = diagnose_before_open(file_)) return explain(*refused);
  HRESULT hr = S_OK;
  source_ = create_source_filter(file_, messages_, hr);
  if (!source_) {
    messages_.error({file_, "", "the filter module cannot be loaded", hresult_text(hr)});
    return ExitCode::kCannotOpen;
  }
  graph_->AddFilter(source_.get(), WIDE("Source"));
  ComPtr<IFileSourceFilter> loader;
  hr = source_->QueryInterface(IID_IFileSourceFilter, loader.out_void());
  if (SUCCEEDED(hr)) hr = loader->Load(to_wide(file_).c_str(), nullptr);
  if (FAILED(hr)) return explain(diagnose_failed_open(file_, hr));
  collect_pins();
  return ExitCode::kDone;
}

ExitCode SourcePlayer::explain(const Diagnosis& diagnosis) {
  messages_.error({file_, diagnosis.place, diagnosis.reason, diagnosis.status});
  return diagnosis.exit_code;
}

void SourcePlayer::collect_pins() {
  for_each_pin(*source_.get(), [this](IPin& pin) {
    pins_.push_back({pin_name(pin), ComPtr<IPin>(&pin), offered_types(pin)});
  });
}

HRESULT SourcePlayer::connect(const PinEntry& pin, SampleConsumer& consumer, StartGate* opens,
                              StartGate* waits_for) {
  HRESULT hr = S_OK;
  const ComPtr<MediaSink> sink(new MediaSink(consumer, opens, waits_for, &hr));
  graph_->AddFilter(sink.get(), WIDE("Sink"));
  if (SUCCEEDED(hr)) hr = graph_->ConnectDirect(pin.pin.get(), &sink->pin(), nullptr);
  if (FAILED(hr)) {
    graph_->RemoveFilter(sink.get());
    return hr;
  }
  ++connected_;
  return S_OK;
}

CMediaType SourcePlayer::connection_type(const PinEntry& pin) {
  AM_MEDIA_TYPE record{};
  if (pin.pin->ConnectionMediaType(&record) != S_OK) return CMediaType();
  CMediaType type(record);
  FreeMediaType(record);
  return type;
}

int64_t SourcePlayer::duration() const {
  int64_t longest = 0;
  for (const PinEntry& entry : pins_) {
    ComPtr<IMediaSeeking> seeking;
    LONGLONG duration = 0;
    if (FAILED(entry.pin->QueryInterface(IID_IMediaSeeking, seeking.out_void()))) continue;
    if (seeking->GetDuration(&duration) == S_OK && duration > longest) longest = duration;
  }
  return longest;
}

ExitCode SourcePlayer::seek(const PlayRange& range) {
  if (range.is_whole) return ExitCode::kDone;
  const HRESULT hr = set_positions(range);
  if (SUCCEEDED(hr)) return ExitCode::kDone;
  messages_.error({file_, "", "cannot be sought: " + std::string(hresult_name(hr)), hresult_text(hr)});
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
  HRESULT hr = graph_->pause();
  if (SUCCEEDED(hr)) hr = graph_->run();
  if (FAILED(hr)) {
    graph_->stop();
    messages_.error(
        {file_, "", "the graph does not start: " + std::string(hresult_name(hr)), hresult_text(hr)});
    return ExitCode::kCannotOpen;
  }
  const ExitCode result = run_until_complete(on_slice);
  graph_->stop();
  return result;
}

ExitCode SourcePlayer::run_until_complete(const std::function<bool()>& on_slice) {
  std::set<LONG_PTR> completed;  // the sinks that have reported their end
  while (completed.size() < connected_) {
    if (!on_slice()) return ExitCode::kDone;
    const std::optional<GraphEvent> event = graph_->wait_event(kSlice);
    if (!event) continue;
    if (event->code == EC_COMPLETE) completed.insert(event->param2);
    if (event->code != EC_ERRORABORT) continue;
    const auto hr = static_cast<HRESULT>(event->param1);
    messages_.error({file_, "", "a stream was aborted " + std::string(hresult_name(hr)), hresult_text(hr)});
    return ExitCode::kLoss;
  }
  return ExitCode::kDone;
}

}  // namespace zdr::host
