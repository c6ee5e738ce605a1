// TestSink: a rendering filter with one input pin that records all it is told, checks the order of the
// stream, and can be held inside Receive for as long as a test wants.
#pragma once

#include <com_ptr.h>
#include <streams.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "call_log.h"
#include "stream_order.h"

namespace zdr::tests {

// One sample as it was received.
struct SinkSample {
  std::vector<BYTE> data;
  DWORD flags = 0;  // AM_SAMPLE_*
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  std::thread::id thread;

  // The first four bytes, as TestSource writes them.
  uint32_t number() const;
};

// Fixed at construction. Without functions everything is accepted.
struct SinkOptions {
  std::vector<CMediaType> offers;  // what EnumMediaTypes gives
  std::function<HRESULT(const CMediaType&)> check_type;
  HRESULT get_allocator = S_OK;
  std::optional<ALLOCATOR_PROPERTIES> requirements;
  std::function<HRESULT(IMemAllocator*)> notify_allocator;
  std::function<HRESULT(IMediaSample*)> receive;  // the answer to a sample that has been recorded
  CallLog* log = nullptr;
};

class TestSinkPin final : public CBaseInputPin {
 public:
  TestSinkPin(CBaseFilter* filter, CCritSec* lock, SinkOptions options, HRESULT* phr);

  // From now on Receive waits before it records a sample, until it is let go, flushed or stopped.
  void hold();
  // Lets so many samples pass a hold.
  void let_pass(int samples);
  void let_all_pass();
  // The functions that wait are false when patience ends.
  bool wait_until_held();
  bool wait_for_samples(std::size_t count);
  bool wait_for_end_of_stream();

  std::vector<SinkSample> samples() const;
  // The same, and forgets them.
  std::vector<SinkSample> take_samples();
  std::size_t sample_count() const;
  std::vector<std::string> breaches() const { return order_.breaches(); }

  HRESULT CheckMediaType(const CMediaType* type) override;
  HRESULT GetMediaType(int position, CMediaType* type) override;
  HRESULT GetAllocator(IMemAllocator** allocator) override;
  HRESULT NotifyAllocator(IMemAllocator* allocator, BOOL read_only) override;
  HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override;
  HRESULT Active() override;
  HRESULT Inactive() override;

  HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;
  HRESULT Receive(IMediaSample* sample) override;
  HRESULT EndOfStream() override;
  HRESULT BeginFlush() override;
  HRESULT EndFlush() override;

 private:
  HRESULT receive_in_order(IMediaSample* sample);
  // S_OK when the sample may be recorded.
  HRESULT wait_to_pass();
  SinkSample copy_of(IMediaSample* sample) const;
  void log(const std::string& entry);

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
  static com::ComPtr<TestSink> create(SinkOptions options = {});

  TestSinkPin& pin() { return *pin_; }
  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int index) override { return index == 0 ? pin_.get() : nullptr; }

 private:
  explicit TestSink(SinkOptions options);

  CCritSec lock_;
  std::unique_ptr<TestSinkPin> pin_;
};

}  // namespace zdr::tests
