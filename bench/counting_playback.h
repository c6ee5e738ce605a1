// A file played by the filter into a sink that only counts.
#ifndef ZDR_BENCH_COUNTING_PLAYBACK_H
#define ZDR_BENCH_COUNTING_PLAYBACK_H

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
    if (samples_++ == 0) note(first_);
    return S_OK;
  }
  HRESULT EndOfStream() override {
    note(ended_);
    return S_OK;
  }

  void wait_for_first() { wait(first_); }
  void wait_for_end() { wait(ended_); }
  // Once the stream has ended.
  uint64_t samples() const { return samples_; }
  uint64_t bytes() const { return bytes_; }

 private:
  void note(bool& what) {
    const std::lock_guard lock(mutex_);
    what = true;
    changed_.notify_all();
  }
  void wait(const bool& what) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return what; });
  }

  // Of the worker.
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

// A file loaded and its one pin connected. Failures end the program.
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

#endif
