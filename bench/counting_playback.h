// Plays a file through the filter into a sink that counts samples and bytes.
#pragma once

#include <com_ptr.h>
#include <streams.h>

#include <condition_variable>
#include <mutex>
#include <string>

namespace zdr::bench {

class CountingPin final : public CBaseInputPin {
 public:
  CountingPin(CBaseFilter* filter, CCritSec* lock, HRESULT* phr)
      : CBaseInputPin(u"counting pin", filter, lock, phr, u"in") {}

  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  HRESULT Receive(IMediaSample* sample) override {
    const HRESULT hr = CBaseInputPin::Receive(sample);
    if (hr != S_OK) return hr;
    bytes_ += static_cast<uint64_t>(sample->GetActualDataLength());
    if (samples_++ == 0) set(first_);
    return S_OK;
  }
  HRESULT EndOfStream() override {
    set(ended_);
    return S_OK;
  }

  void wait_for_first() { wait(first_); }
  void wait_for_end() { wait(ended_); }
  // Valid after wait_for_end().
  uint64_t samples() const { return samples_; }
  uint64_t bytes() const { return bytes_; }

 private:
  void set(bool& flag) {
    const std::lock_guard lock(mutex_);
    flag = true;
    changed_.notify_all();
  }
  void wait(const bool& flag) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return flag; });
  }

  // Written by the streaming thread.
  uint64_t samples_ = 0;
  uint64_t bytes_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool first_ = false;
  bool ended_ = false;
};

class CountingSink final : public CBaseFilter {
 public:
  CountingSink() : CBaseFilter(u"counting sink", nullptr, &lock_, GUID_NULL), pin_(this, &lock_, &hr_) {}
  CountingPin& pin() { return pin_; }
  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int) override { return &pin_; }

 private:
  HRESULT hr_ = S_OK;
  CCritSec lock_;
  CountingPin pin_;
};

// A loaded file with its pin connected to the sink. Failures end the program.
class Playback {
 public:
  explicit Playback(const std::u16string& path);
  ~Playback();
  Playback(const Playback&) = delete;
  Playback& operator=(const Playback&) = delete;

  void run();
  CountingPin& pin() { return sink_->pin(); }

 private:
  com::ComPtr<CountingSink> sink_;
  com::ComPtr<IBaseFilter> filter_;
};

}  // namespace zdr::bench
