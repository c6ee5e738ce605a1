// TestSink: a rendering filter with one input pin that records every call, checks the order of the stream,
// and can block inside Receive for as long as a test wants.
#pragma once

#include <com_ptr.h>
#include <streams.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "call_log.h"

namespace zdr::test {

// Checks the order of calls to an input pin and records every breach of its rules. Streaming calls (new
// segment, sample, end of stream) must not overlap; each run of the stream begins with a new segment; after
// an end of stream or a refused sample nothing follows until the stream begins anew.
class StreamOrder {
 public:
  enum class Call { kNewSegment, kSample, kEndOfStream };

  // Begins a streaming call, which ends when the result is released.
  [[nodiscard]] std::shared_ptr<const void> begin(Call call) {
    const std::lock_guard lock(mutex_);
    if (streaming_.use_count() > 1) breaches_.push_back("overlapping streaming calls");
    // The receiver refuses calls during a flush, so they change nothing.
    if (!flushing_) enter(call);
    return streaming_;
  }
  // Call when the receiver has returned anything but S_OK for a sample.
  void sample_refused() {
    const std::lock_guard lock(mutex_);
    phase_ = Phase::kRefused;
  }
  void begin_flush() {
    const std::lock_guard lock(mutex_);
    if (flushing_) breaches_.push_back("flush within a flush");
    flushing_ = true;
  }
  void end_flush() {
    const std::lock_guard lock(mutex_);
    if (!flushing_) breaches_.push_back("end of a flush that has not begun");
    begin_anew();
  }
  // Call when the pin has become active: the stream begins anew.
  void restart() {
    const std::lock_guard lock(mutex_);
    begin_anew();
  }

  std::vector<std::string> breaches() const {
    const std::lock_guard lock(mutex_);
    return breaches_;
  }

 private:
  enum class Phase { kStart, kStreaming, kEnded, kRefused };

  void begin_anew() {
    flushing_ = false;
    phase_ = Phase::kStart;
  }
  void enter(Call call) {
    if (call == Call::kNewSegment) {
      phase_ = Phase::kStreaming;
      return;
    }
    const std::string name = call == Call::kSample ? "sample" : "end of stream";
    if (phase_ == Phase::kStart) breaches_.push_back(name + " before a new segment");
    if (phase_ == Phase::kEnded) breaches_.push_back(name + " after the end of the stream");
    if (phase_ == Phase::kRefused) breaches_.push_back(name + " after a refused sample");
    if (call == Call::kEndOfStream) phase_ = Phase::kEnded;
  }

  const std::shared_ptr<const void> streaming_ = std::make_shared<int>();  // shared by each streaming call
  mutable std::mutex mutex_;
  Phase phase_ = Phase::kStart;
  bool flushing_ = false;
  std::vector<std::string> breaches_;
};

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
  std::function<HRESULT(IMediaSample*)> receive{};
  CallLog* log = nullptr;
  // Called with the text of each call, before the call has an effect.
  std::function<void(std::string_view)> on_call{};
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
    if (options_.on_call) options_.on_call(entry);
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
  explicit TestSink(SinkOptions options)
      : CBaseFilter(NAME("TestSink"), nullptr, &lock_, GUID_NULL),
        pin_(this, &lock_, std::move(options), &hr_) {}

  TestSinkPin& pin() { return pin_; }
  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int index) override { return index == 0 ? &pin_ : nullptr; }

 private:
  CCritSec lock_;
  HRESULT hr_ = S_OK;
  TestSinkPin pin_;
};

}  // namespace zdr::test
