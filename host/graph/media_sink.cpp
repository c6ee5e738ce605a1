// Implements states, flushes and end of stream as a source may expect them from any renderer.
#include "host/graph/media_sink.h"

#include <atomic>
#include <chrono>
#include <new>

#include "platform/com/status_guard.h"

namespace zdr::host {
namespace {

// The sink's own allocator, whose first buffer waits for the gate. Every stop calls Decommit, which ends the
// wait.
class GatedAllocator final : public CMemAllocator {
 public:
  GatedAllocator(StartGate& gate, HRESULT* phr)
      : CMemAllocator(NAME("start gate allocator"), nullptr, phr), gate_(gate) {}

  HRESULT GetBuffer(IMediaSample** buffer, REFERENCE_TIME* start, REFERENCE_TIME* end,
                    DWORD flags) noexcept override {
    gate_.wait([this] { return !committed_.load(); });
    return CMemAllocator::GetBuffer(buffer, start, end, flags);
  }
  HRESULT Commit() noexcept override {
    committed_ = true;
    return CMemAllocator::Commit();
  }
  HRESULT Decommit() noexcept override {
    committed_ = false;
    gate_.wake();
    return CMemAllocator::Decommit();
  }

 private:
  StartGate& gate_;
  std::atomic<bool> committed_{false};
};

}  // namespace

void StartGate::open() {
  const std::lock_guard lock(mutex_);
  open_ = true;
  changed_.notify_all();
}

MediaSinkPin::MediaSinkPin(MediaSink& sink, CCritSec* lock, HRESULT* phr)
    : CBaseInputPin(NAME("sink pin"), &sink, lock, phr, WIDE("In")), sink_(sink) {}

HRESULT MediaSinkPin::CheckMediaType(const CMediaType*) noexcept {
  return S_OK;
}

HRESULT MediaSinkPin::GetAllocator(IMemAllocator** allocator) noexcept {
  if (sink_.waits_for_ == nullptr || m_pAllocator != nullptr) return CBaseInputPin::GetAllocator(allocator);
  if (allocator == nullptr) return E_POINTER;
  HRESULT hr = S_OK;
  auto* gated = new (std::nothrow) GatedAllocator(*sink_.waits_for_, &hr);
  if (gated == nullptr) return E_OUTOFMEMORY;
  gated->AddRef();
  *allocator = gated;
  return hr;
}

HRESULT MediaSinkPin::Receive(IMediaSample* sample) noexcept {
  const HRESULT hr = CBaseInputPin::Receive(sample);
  return hr == S_OK ? sink_.render(*sample) : hr;
}

HRESULT MediaSinkPin::EndOfStream() noexcept {
  const HRESULT hr = CheckStreaming();
  if (hr != S_OK) return hr;
  sink_.mark_end_of_stream();
  return S_OK;
}

HRESULT MediaSinkPin::BeginFlush() noexcept {
  sink_.begin_flush();
  return CBaseInputPin::BeginFlush();
}

HRESULT MediaSinkPin::EndFlush() noexcept {
  sink_.end_flush();
  return CBaseInputPin::EndFlush();
}

HRESULT MediaSinkPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) noexcept {
  sink_.consumer_.new_segment(start, stop);
  return CBaseInputPin::NewSegment(start, stop, rate);
}

MediaSink::MediaSink(SampleConsumer& consumer, StartGate* opens, StartGate* waits_for, HRESULT* phr)
    : CBaseFilter(NAME("media sink"), nullptr, &filter_lock_, GUID_NULL),
      consumer_(consumer),
      opens_(opens),
      waits_for_(waits_for),
      pin_(*this, &filter_lock_, phr) {}

HRESULT MediaSink::NonDelegatingQueryInterface(REFIID riid, void** ppv) noexcept {
  if (riid == IID_IAMFilterMiscFlags) return GetInterface(static_cast<IAMFilterMiscFlags*>(this), ppv);
  return CBaseFilter::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT MediaSink::Pause() noexcept {
  const CAutoLock lock(&filter_lock_);
  {
    const std::lock_guard streaming(streaming_mutex_);
    if (streaming_state_ == State_Stopped) {
      end_of_stream_ = completed_ = false;
      ready_ = !pin_.IsConnected();
    }
    streaming_state_ = State_Paused;
  }
  const HRESULT hr = CBaseFilter::Pause();
  const std::lock_guard streaming(streaming_mutex_);
  return hr != S_OK || ready_ ? hr : S_FALSE;
}

HRESULT MediaSink::Run(REFERENCE_TIME start) noexcept {
  const CAutoLock lock(&filter_lock_);
  const HRESULT hr = CBaseFilter::Run(start);
  if (FAILED(hr)) return hr;
  {
    const std::lock_guard streaming(streaming_mutex_);
    streaming_state_ = State_Running;
    changed_.notify_all();
  }
  announce_completion();
  return S_OK;
}

HRESULT MediaSink::Stop() noexcept {
  {
    const std::lock_guard streaming(streaming_mutex_);
    streaming_state_ = State_Stopped;
    changed_.notify_all();
  }
  const CAutoLock lock(&filter_lock_);
  return CBaseFilter::Stop();
}

HRESULT MediaSink::GetState(DWORD timeout_ms, FILTER_STATE* state) noexcept {
  if (state == nullptr) return E_POINTER;
  std::unique_lock streaming(streaming_mutex_);
  *state = streaming_state_;
  const auto settled = [this] { return streaming_state_ != State_Paused || ready_; };
  if (timeout_ms == INFINITE) {
    changed_.wait(streaming, settled);
  } else if (!changed_.wait_for(streaming, std::chrono::milliseconds(timeout_ms), settled)) {
    return VFW_S_STATE_INTERMEDIATE;
  }
  *state = streaming_state_;
  return S_OK;
}

// While paused, blocks the first sample until the graph runs, stops or flushes. Preroll samples are not
// shown, so they pass.
HRESULT MediaSink::render(IMediaSample& sample) {
  ++samples_received_;
  if (opens_ != nullptr) opens_->open();
  {
    std::unique_lock streaming(streaming_mutex_);
    if (sample.IsPreroll() != S_OK) {
      ready_ = true;
      changed_.notify_all();
      changed_.wait(streaming, [this] { return streaming_state_ != State_Paused || flushing_; });
    }
    if (flushing_) return S_FALSE;
    if (streaming_state_ == State_Stopped) return VFW_E_WRONG_STATE;
    in_consumer_ = true;
  }
  const HRESULT hr = consume(sample);
  in_consumer_ = false;
  return hr;
}

bool MediaSink::has_ended() {
  const std::lock_guard streaming(streaming_mutex_);
  return end_of_stream_;
}

HRESULT MediaSink::consume(IMediaSample& sample) {
  bool is_taken = false;
  const HRESULT hr = com::guarded([&] {
    is_taken = consumer_.receive(sample);
    return S_OK;
  });
  // After a refused sample a source sends neither an end of stream nor an error.
  if (FAILED(hr)) NotifyEvent(EC_ERRORABORT, hr, 0);
  if (FAILED(hr) || is_taken) return hr;
  finish_stream();
  return S_FALSE;
}

void MediaSink::mark_end_of_stream() {
  if (opens_ != nullptr) opens_->open();
  finish_stream();
}

void MediaSink::finish_stream() {
  {
    const std::lock_guard streaming(streaming_mutex_);
    end_of_stream_ = ready_ = true;
    changed_.notify_all();
  }
  announce_completion();
}

void MediaSink::announce_completion() {
  {
    const std::lock_guard streaming(streaming_mutex_);
    if (streaming_state_ != State_Running || !end_of_stream_ || completed_) return;
    completed_ = true;
  }
  NotifyEvent(EC_COMPLETE, S_OK, 0);
}

void MediaSink::begin_flush() {
  const std::lock_guard streaming(streaming_mutex_);
  flushing_ = true;
  changed_.notify_all();
}

void MediaSink::end_flush() {
  const std::lock_guard streaming(streaming_mutex_);
  flushing_ = end_of_stream_ = completed_ = false;
  ready_ = false;
}

}  // namespace zdr::host
