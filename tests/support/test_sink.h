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

// Records every breach of the rules of a stream. Streaming calls (new segment, sample, end of stream) must
// not overlap; each run of the stream begins with a new segment; after an end of stream or a refused sample
// nothing follows until the stream begins anew.
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

  // The samples since the last new segment, flush or start.
  std::vector<SinkSample> samples() const {
    const std::lock_guard lock(mutex_);
    return samples_;
  }
  // Of the last new segment; -1 before the first.
  REFERENCE_TIME segment_start() const {
    const std::lock_guard lock(mutex_);
    return segment_start_;
  }
  std::size_t sample_count() const {
    const std::lock_guard lock(mutex_);
    return samples_.size();
  }
  std::vector<std::string> breaches() const {
    const std::lock_guard lock(mutex_);
    return breaches_;
  }

  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  HRESULT Active() override {
    log("active");
    change([this] {
      active_ = true;
      restart();
    });
    return CBaseInputPin::Active();
  }
  HRESULT Inactive() override {
    log("inactive");
    change([this] { active_ = false; });
    return CBaseInputPin::Inactive();
  }

  HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override {
    const auto streaming = begin_streaming(nullptr);
    std::ostringstream entry;
    entry << "new segment " << start << '-' << stop << " x" << rate;
    log(entry.str());
    change([&] {
      segment_start_ = start;
      samples_.clear();
    });
    return CBaseInputPin::NewSegment(start, stop, rate);
  }
  HRESULT Receive(IMediaSample* sample) override {
    const auto streaming = begin_streaming("sample");
    const HRESULT hr = receive_in_order(sample);
    if (hr != S_OK) change([this] { not_allowed_ = "after a refused sample"; });
    return hr;
  }
  HRESULT EndOfStream() override {
    const auto streaming = begin_streaming("end of stream");
    log("end of stream");
    change([this] {
      ended_ = true;
      not_allowed_ = "after the end of the stream";
    });
    m_pFilter->NotifyEvent(EC_COMPLETE, S_OK, 0);
    return S_OK;
  }
  HRESULT BeginFlush() override {
    log("begin flush");
    change([this] {
      if (flushing_) breaches_.push_back("flush within a flush");
      flushing_ = true;
    });
    return CBaseInputPin::BeginFlush();
  }
  HRESULT EndFlush() override {
    log("end flush");
    change([this] {
      if (!flushing_) breaches_.push_back("end of a flush that has not begun");
      restart();
    });
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
  void restart() {
    flushing_ = ended_ = false;
    not_allowed_ = "before a new segment";
    samples_.clear();
  }
  // The call ends when the result is released. `name` is null for a new segment.
  [[nodiscard]] std::shared_ptr<const void> begin_streaming(const char* name) {
    const std::lock_guard lock(mutex_);
    if (streaming_.use_count() > 1) breaches_.push_back("overlapping streaming calls");
    if (flushing_) return streaming_;  // it is refused, and changes nothing
    if (name == nullptr) not_allowed_.clear();
    if (!not_allowed_.empty()) breaches_.push_back(name + (" " + not_allowed_));
    return streaming_;
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
  const std::shared_ptr<const void> streaming_ = std::make_shared<int>();  // shared by each streaming call

  // Guards what follows. Never held while the filter's lock is taken.
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  bool active_ = false;
  bool flushing_ = false;
  bool holding_ = false;
  int passes_ = 0;
  bool held_ = false;
  bool ended_ = false;
  std::string not_allowed_ = "before a new segment";  // why a sample or an end would be a breach
  std::vector<std::string> breaches_;
  REFERENCE_TIME segment_start_ = -1;
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
