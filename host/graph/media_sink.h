// A rendering sink with one input pin that accepts any media type and passes the samples to a consumer.
#pragma once

#include <streams.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace zdr::host {

// Receives the samples of a stream. Called by the worker thread of the pin that feeds the sink.
class SampleConsumer {
 public:
  virtual ~SampleConsumer() = default;
  // `sample` is valid during the call only. Returns false to receive no more samples.
  virtual bool receive(IMediaSample& sample) = 0;
  virtual void new_segment(REFERENCE_TIME start, REFERENCE_TIME stop) = 0;
};

// Delays the first buffer of one stream until another stream has begun or ended, so that the marks on the
// first samples of a process do not depend on which worker is faster.
class StartGate {
 public:
  void open();
  // Returns once the gate is open or `give_up()` is true, which is checked after every wake().
  template <class GiveUp>
  void wait(GiveUp give_up) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return open_ || give_up(); });
  }
  void wake() {
    const std::lock_guard lock(mutex_);
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool open_ = false;
};

class MediaSink;

class MediaSinkPin final : public CBaseInputPin {
 public:
  MediaSinkPin(MediaSink& sink, CCritSec* lock, HRESULT* phr);

  HRESULT CheckMediaType(const CMediaType* type) noexcept override;
  HRESULT GetAllocator(IMemAllocator** allocator) noexcept override;
  HRESULT Receive(IMediaSample* sample) noexcept override;
  HRESULT EndOfStream() noexcept override;
  HRESULT BeginFlush() noexcept override;
  HRESULT EndFlush() noexcept override;
  HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) noexcept override;

 private:
  MediaSink& sink_;
};

class MediaSink final : public CBaseFilter, public IAMFilterMiscFlags {
 public:
  // All arguments must outlive the sink. The first sample or the end of this stream opens `opens`; this
  // sink's first buffer waits for `waits_for`. Both may be null.
  MediaSink(SampleConsumer& consumer, StartGate* opens, StartGate* waits_for, HRESULT* phr);
  ~MediaSink() override = default;

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) noexcept override;
  int GetPinCount() noexcept override { return 1; }
  CBasePin* GetPin(int index) noexcept override { return index == 0 ? &pin_ : nullptr; }
  HRESULT Pause() noexcept override;
  HRESULT Run(REFERENCE_TIME start) noexcept override;
  HRESULT Stop() noexcept override;
  HRESULT GetState(DWORD timeout_ms, FILTER_STATE* state) noexcept override;
  ULONG GetMiscFlags() noexcept override { return AM_FILTER_MISC_FLAGS_IS_RENDERER; }

  MediaSinkPin& pin() { return pin_; }

  // For watching a run from another thread.
  uint64_t samples_received() const { return samples_received_; }
  bool has_ended();
  // True while the consumer handles a sample. After Stop() no further sample reaches it.
  bool is_in_consumer() const { return in_consumer_; }

 private:
  friend class MediaSinkPin;

  HRESULT render(IMediaSample& sample);
  HRESULT consume(IMediaSample& sample);
  void mark_end_of_stream();
  void finish_stream();
  void begin_flush();
  void end_flush();
  void announce_completion();  // EC_COMPLETE, once

  CCritSec filter_lock_;
  SampleConsumer& consumer_;
  StartGate* opens_;
  StartGate* waits_for_;

  // Guards the members below. The worker locks it; no thread may wait for the filter lock while holding it.
  std::mutex streaming_mutex_;
  std::condition_variable changed_;
  FILTER_STATE streaming_state_ = State_Stopped;
  bool ready_ = false;  // a sample or the end of the stream has arrived since Pause
  bool flushing_ = false;
  bool end_of_stream_ = false;
  bool completed_ = false;

  std::atomic<uint64_t> samples_received_{0};
  std::atomic<bool> in_consumer_{false};  // set under the mutex

  MediaSinkPin pin_;
};

}  // namespace zdr::host
