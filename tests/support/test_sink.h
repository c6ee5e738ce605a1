// TestSink: a rendering filter with one input pin that records every call, checks the order of the stream,
// and can block inside Receive for as long as a test wants.
#pragma once

#include <com_ptr.h>
#include <streams.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <sstream>
#include <thread>
#include <vector>

#include "call_log.h"
#include "stream_order.h"

namespace zdr::test {

// One sample as it was received.
struct SinkSample {
  std::vector<BYTE> data;
  DWORD flags = 0;  // AM_SAMPLE_*
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  std::thread::id thread;
};

// Fixed at construction.
struct SinkOptions {
  // The result for a sample that has been recorded; S_OK without this function.
  std::function<HRESULT(IMediaSample*)> receive;
  CallLog* log = nullptr;
};

class TestSinkPin final : public CBaseInputPin {
 public:
  TestSinkPin(CBaseFilter* filter, CCritSec* lock, SinkOptions options, HRESULT* phr)
      : CBaseInputPin(NAME("TestSinkPin"), filter, lock, phr, u"In"), options_(std::move(options)) {}

  // From now on Receive blocks before it records a sample, until it is released, flushed or stopped.
  void hold() {
    const std::lock_guard lock(mutex_);
    holding_ = true;
    passes_ = 0;
  }
  // Lets this many samples pass a hold.
  void let_pass(int samples) {
    change([&] { passes_ += samples; });
  }
  void let_all_pass() {
    change([&] { holding_ = false; });
  }
  // The functions that wait return false after kPatience.
  bool wait_until_held() {
    return wait_until([this] { return held_; });
  }
  bool wait_for_samples(std::size_t count) {
    return wait_until([&] { return samples_.size() >= count; });
  }
  bool wait_for_end_of_stream() {
    return wait_until([this] { return ended_; });
  }

  std::vector<SinkSample> samples() const {
    const std::lock_guard lock(mutex_);
    return samples_;
  }
  // Returns the samples and clears the record.
  std::vector<SinkSample> take_samples() {
    const std::lock_guard lock(mutex_);
    return std::exchange(samples_, {});
  }
  std::size_t sample_count() const {
    const std::lock_guard lock(mutex_);
    return samples_.size();
  }
  std::vector<std::string> breaches() const { return order_.breaches(); }

  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  HRESULT Active() override {
    log("active");
    order_.restart();
    const std::lock_guard lock(mutex_);
    active_ = true;
    ended_ = false;
    return CBaseInputPin::Active();
  }
  HRESULT Inactive() override {
    log("inactive");
    change([this] { active_ = flushing_ = false; });
    return CBaseInputPin::Inactive();
  }

  HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override {
    const auto streaming = order_.begin(StreamOrder::Call::kNewSegment);
    std::ostringstream entry;
    entry << "new segment " << start << '-' << stop << " x" << rate;
    log(entry.str());
    return CBaseInputPin::NewSegment(start, stop, rate);
  }
  HRESULT Receive(IMediaSample* sample) override {
    const auto streaming = order_.begin(StreamOrder::Call::kSample);
    const HRESULT hr = receive_in_order(sample);
    if (hr != S_OK) order_.sample_refused();
    return hr;
  }
  HRESULT EndOfStream() override {
    const auto streaming = order_.begin(StreamOrder::Call::kEndOfStream);
    log("end of stream");
    change([this] { ended_ = true; });
    m_pFilter->NotifyEvent(EC_COMPLETE, S_OK, 0);
    return S_OK;
  }
  HRESULT BeginFlush() override {
    log("begin flush");
    order_.begin_flush();
    const HRESULT hr = CBaseInputPin::BeginFlush();
    change([this] { flushing_ = true; });
    return hr;
  }
  HRESULT EndFlush() override {
    log("end flush");
    order_.end_flush();
    change([this] { flushing_ = ended_ = false; });
    return CBaseInputPin::EndFlush();
  }

 private:
  // Makes a change that other threads may wait for.
  template <class Change>
  void change(Change make) {
    const std::lock_guard lock(mutex_);
    make();
    changed_.notify_all();
  }
  template <class Condition>
  bool wait_until(Condition is_met) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kPatience, is_met);
  }
  HRESULT receive_in_order(IMediaSample* sample) {
    if (const HRESULT hr = CBaseInputPin::Receive(sample); hr != S_OK) return hr;
    if (const HRESULT hr = wait_to_pass(); hr != S_OK) return hr;
    SinkSample copy = copy_of(sample);
    log("sample " + std::to_string(copy.data.empty() ? 0 : copy.data[0]));
    change([&] { samples_.push_back(std::move(copy)); });
    return options_.receive ? options_.receive(sample) : S_OK;
  }
  // S_OK when the sample may be recorded.
  HRESULT wait_to_pass() {
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
  static SinkSample copy_of(IMediaSample* sample) {
    SinkSample copy;
    AM_SAMPLE2_PROPERTIES properties{};
    com::ComPtr<IMediaSample2> sample2;
    if (FAILED(sample->QueryInterface(IID_IMediaSample2, sample2.out_void()))) return copy;
    sample2->GetProperties(sizeof properties, reinterpret_cast<BYTE*>(&properties));
    copy.data.assign(properties.pbBuffer, properties.pbBuffer + properties.lActual);
    copy.flags = properties.dwSampleFlags;
    copy.start = properties.tStart;
    copy.stop = properties.tStop;
    copy.thread = std::this_thread::get_id();
    return copy;
  }
  void log(const std::string& entry) {
    if (options_.log != nullptr) options_.log->add(entry);
  }

  const SinkOptions options_;
  StreamOrder order_;

  // Guards what follows. Never held while the filter's lock is taken.
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  bool active_ = false;
  bool flushing_ = false;
  bool holding_ = false;
  int passes_ = 0;
  bool held_ = false;
  bool ended_ = false;
  std::vector<SinkSample> samples_;
};

class TestSink final : public CBaseFilter {
 public:
  static com::ComPtr<TestSink> create(SinkOptions options = {}) {
    return com::ComPtr<TestSink>(new TestSink(std::move(options)));
  }

  TestSinkPin& pin() { return *pin_; }
  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int index) override { return index == 0 ? pin_.get() : nullptr; }

 private:
  explicit TestSink(SinkOptions options) : CBaseFilter(NAME("TestSink"), nullptr, &lock_, GUID_NULL) {
    HRESULT hr = S_OK;
    pin_ = std::make_unique<TestSinkPin>(this, &lock_, std::move(options), &hr);
  }

  CCritSec lock_;
  std::unique_ptr<TestSinkPin> pin_;
};

}  // namespace zdr::test
