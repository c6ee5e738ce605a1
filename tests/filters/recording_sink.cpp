#include "tests/filters/recording_sink.h"

namespace zdr::tests {

RecordingPin::RecordingPin(CBaseFilter* filter, CCritSec* lock, HRESULT* phr)
    : CBaseInputPin(NAME("RecordingPin"), filter, lock, phr, u"In") {}

bool RecordingPin::wait_for(size_t samples) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, kPatience,
                           [&] { return segment_.ended || segment_.samples.size() >= samples; });
}

RecordedSegment RecordingPin::segment() const {
  const std::lock_guard lock(mutex_);
  return segment_;
}

void RecordingPin::keep_buffers() {
  const std::lock_guard lock(mutex_);
  keep_ = true;
}

void RecordingPin::give_buffers_back() {
  const std::lock_guard lock(mutex_);
  keep_ = false;
  kept_.clear();
}

HRESULT RecordingPin::Active() {
  order_.restart();
  const std::lock_guard lock(mutex_);
  segment_ = {};
  return CBaseInputPin::Active();
}

HRESULT RecordingPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
  const StreamOrder::Streaming call(order_, StreamOrder::Call::kNewSegment);
  {
    const std::lock_guard lock(mutex_);
    segment_ = {.start = start, .samples = {}, .ended = false};
  }
  return CBaseInputPin::NewSegment(start, stop, rate);
}

HRESULT RecordingPin::Receive(IMediaSample* sample) {
  const StreamOrder::Streaming call(order_, StreamOrder::Call::kSample);
  const HRESULT hr = CBaseInputPin::Receive(sample);
  if (hr != S_OK) {
    order_.sample_refused();
    return hr;
  }
  const std::lock_guard lock(mutex_);
  if (segment_.samples.size() < kSamplesKept) {
    segment_.samples.push_back({static_cast<uint32_t>(sample->GetActualDataLength()),
                                m_SampleProps.dwSampleFlags, m_SampleProps.tStart});
    changed_.notify_all();
  }
  return S_OK;
}

HRESULT RecordingPin::EndOfStream() {
  const StreamOrder::Streaming call(order_, StreamOrder::Call::kEndOfStream);
  const std::lock_guard lock(mutex_);
  segment_.ended = true;
  changed_.notify_all();
  return S_OK;
}

// What was recorded is void, so nobody may take it for what follows the flush.
HRESULT RecordingPin::BeginFlush() {
  order_.begin_flush();
  const HRESULT hr = CBaseInputPin::BeginFlush();
  const std::lock_guard lock(mutex_);
  segment_ = {};
  return hr;
}

HRESULT RecordingPin::EndFlush() {
  order_.end_flush();
  {
    const std::lock_guard lock(mutex_);
    segment_ = {};
    // The worker stands, so no buffer is in use, and the allocator hands out all it has at once.
    com::ComPtr<IMediaSample> buffer;
    while (keep_ && m_pAllocator->GetBuffer(buffer.out(), nullptr, nullptr, AM_GBF_NOWAIT) == S_OK) {
      kept_.push_back(std::move(buffer));
    }
  }
  return CBaseInputPin::EndFlush();
}

RecordingSink::RecordingSink() : CBaseFilter(NAME("RecordingSink"), nullptr, &lock_, GUID_NULL) {
  HRESULT hr = S_OK;
  pin_ = std::make_unique<RecordingPin>(this, &lock_, &hr);
}

}  // namespace zdr::tests
