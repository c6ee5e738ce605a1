// The recording and holding side of TestSink.
#include "test_sink.h"

#include <cstring>
#include <sstream>

namespace zdr::tests {

uint32_t SinkSample::number() const {
  uint32_t value = 0;
  if (data.size() >= sizeof value) std::memcpy(&value, data.data(), sizeof value);
  return value;
}

TestSinkPin::TestSinkPin(CBaseFilter* filter, CCritSec* lock, SinkOptions options, HRESULT* phr)
    : CBaseInputPin(NAME("TestSinkPin"), filter, lock, phr, u"In"), options_(std::move(options)) {}

// --- What the test does ---

void TestSinkPin::hold() {
  const std::lock_guard lock(mutex_);
  holding_ = true;
  passes_ = 0;
}

void TestSinkPin::let_pass(int samples) {
  const std::lock_guard lock(mutex_);
  passes_ += samples;
  changed_.notify_all();
}

void TestSinkPin::let_all_pass() {
  const std::lock_guard lock(mutex_);
  holding_ = false;
  changed_.notify_all();
}

bool TestSinkPin::wait_until_held() {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, kPatience, [this] { return held_; });
}

bool TestSinkPin::wait_for_samples(std::size_t count) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, kPatience, [&] { return samples_.size() >= count; });
}

bool TestSinkPin::wait_for_end_of_stream() {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, kPatience, [this] { return ended_; });
}

std::vector<SinkSample> TestSinkPin::samples() const {
  const std::lock_guard lock(mutex_);
  return samples_;
}

std::vector<SinkSample> TestSinkPin::take_samples() {
  const std::lock_guard lock(mutex_);
  return std::exchange(samples_, {});
}

std::size_t TestSinkPin::sample_count() const {
  const std::lock_guard lock(mutex_);
  return samples_.size();
}

void TestSinkPin::log(const std::string& entry) {
  if (options_.log != nullptr) options_.log->add(entry);
}

// --- Connecting ---

HRESULT TestSinkPin::CheckMediaType(const CMediaType* type) {
  return options_.check_type ? options_.check_type(*type) : S_OK;
}

HRESULT TestSinkPin::GetMediaType(int position, CMediaType* type) {
  if (position < 0) return E_INVALIDARG;
  const auto index = static_cast<std::size_t>(position);
  return index < options_.offers.size() ? type->Set(options_.offers[index]) : VFW_S_NO_MORE_ITEMS;
}

HRESULT TestSinkPin::GetAllocator(IMemAllocator** allocator) {
  return FAILED(options_.get_allocator) ? options_.get_allocator : CBaseInputPin::GetAllocator(allocator);
}

HRESULT TestSinkPin::NotifyAllocator(IMemAllocator* allocator, BOOL read_only) {
  if (options_.notify_allocator) {
    if (const HRESULT hr = options_.notify_allocator(allocator); FAILED(hr)) return hr;
  }
  return CBaseInputPin::NotifyAllocator(allocator, read_only);
}

HRESULT TestSinkPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) {
  if (!options_.requirements) return CBaseInputPin::GetAllocatorRequirements(properties);
  *properties = *options_.requirements;
  return S_OK;
}

HRESULT TestSinkPin::Active() {
  log("active");
  order_.restart();
  const std::lock_guard lock(mutex_);
  active_ = true;
  ended_ = false;
  return CBaseInputPin::Active();
}

HRESULT TestSinkPin::Inactive() {
  log("inactive");
  {
    const std::lock_guard lock(mutex_);
    active_ = false;
    flushing_ = false;
    changed_.notify_all();
  }
  return CBaseInputPin::Inactive();
}

// --- Streaming ---

HRESULT TestSinkPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
  const StreamOrder::Streaming call(order_, StreamOrder::Call::kNewSegment);
  std::ostringstream entry;
  entry << "new segment " << start << '-' << stop << " x" << rate;
  log(entry.str());
  return CBaseInputPin::NewSegment(start, stop, rate);
}

HRESULT TestSinkPin::Receive(IMediaSample* sample) {
  const StreamOrder::Streaming call(order_, StreamOrder::Call::kSample);
  const HRESULT hr = receive_in_order(sample);
  if (hr != S_OK) order_.sample_refused();
  return hr;
}

HRESULT TestSinkPin::receive_in_order(IMediaSample* sample) {
  if (const HRESULT hr = CBaseInputPin::Receive(sample); hr != S_OK) return hr;
  if (const HRESULT hr = wait_to_pass(); hr != S_OK) return hr;
  SinkSample copy = copy_of(sample);
  log("sample " + std::to_string(copy.number()));
  {
    const std::lock_guard lock(mutex_);
    samples_.push_back(std::move(copy));
    changed_.notify_all();
  }
  return options_.receive ? options_.receive(sample) : S_OK;
}

HRESULT TestSinkPin::wait_to_pass() {
  std::unique_lock lock(mutex_);
  held_ = true;
  changed_.notify_all();
  changed_.wait(lock, [this] { return !holding_ || passes_ > 0 || flushing_ || !active_; });
  held_ = false;
  if (!active_) return VFW_E_WRONG_STATE;
  if (flushing_) return S_FALSE;
  if (holding_) --passes_;
  return S_OK;
}

SinkSample TestSinkPin::copy_of(IMediaSample* sample) const {
  SinkSample copy;
  BYTE* bytes = nullptr;
  if (SUCCEEDED(sample->GetPointer(&bytes))) copy.data.assign(bytes, bytes + sample->GetActualDataLength());
  copy.flags = m_SampleProps.dwSampleFlags;
  copy.start = m_SampleProps.tStart;
  copy.stop = m_SampleProps.tStop;
  copy.thread = std::this_thread::get_id();
  return copy;
}

HRESULT TestSinkPin::EndOfStream() {
  const StreamOrder::Streaming call(order_, StreamOrder::Call::kEndOfStream);
  log("end of stream");
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_all();
  }
  m_pFilter->NotifyEvent(EC_COMPLETE, S_OK, 0);
  return S_OK;
}

HRESULT TestSinkPin::BeginFlush() {
  log("begin flush");
  order_.begin_flush();
  const HRESULT hr = CBaseInputPin::BeginFlush();
  const std::lock_guard lock(mutex_);
  flushing_ = true;
  changed_.notify_all();
  return hr;
}

HRESULT TestSinkPin::EndFlush() {
  log("end flush");
  order_.end_flush();
  {
    const std::lock_guard lock(mutex_);
    flushing_ = false;
    ended_ = false;
  }
  return CBaseInputPin::EndFlush();
}

// --- The filter ---

TestSink::TestSink(SinkOptions options) : CBaseFilter(NAME("TestSink"), nullptr, &lock_, GUID_NULL) {
  HRESULT hr = S_OK;
  pin_ = std::make_unique<TestSinkPin>(this, &lock_, std::move(options), &hr);
}

com::ComPtr<TestSink> TestSink::create(SinkOptions options) {
  return com::ComPtr<TestSink>(new TestSink(std::move(options)));
}

}  // namespace zdr::tests
