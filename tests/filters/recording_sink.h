// RecordingSink: a renderer that keeps the head of each segment only, so that it can be sought for as long as
// one likes; and that can keep all buffers of its stream to itself.
#pragma once

#include <com_ptr.h>
#include <streams.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "tests/support/call_log.h"
#include "tests/support/stream_order.h"

namespace zdr::tests {

// A sample without its bytes.
struct RecordedSample {
  uint32_t size;
  DWORD flags;  // AM_SAMPLE_*
  REFERENCE_TIME start;
};

struct RecordedSegment {
  REFERENCE_TIME start = 0;
  std::vector<RecordedSample> samples;  // the first kSamplesKept of them
  bool ended = false;
};

class RecordingPin final : public CBaseInputPin {
 public:
  static constexpr size_t kSamplesKept = 64;

  RecordingPin(CBaseFilter* filter, CCritSec* lock, HRESULT* phr);

  // Until so many samples of the present segment are here, or its end. False when patience ends.
  bool wait_for(size_t samples);
  // The call that ends the present segment; what waits for a new one waits for it.
  RecordedSegment segment() const;
  std::vector<std::string> breaches() const { return order_.breaches(); }
  // From the next end of a flush on the stream has no buffer, until they are given back.
  void keep_buffers();
  void give_buffers_back();

  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  HRESULT Active() override;
  HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;
  HRESULT Receive(IMediaSample* sample) override;
  HRESULT EndOfStream() override;
  HRESULT BeginFlush() override;
  HRESULT EndFlush() override;

 private:
  StreamOrder order_;
  mutable std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  RecordedSegment segment_;
  bool keep_ = false;
  std::vector<com::ComPtr<IMediaSample>> kept_;
};

class RecordingSink final : public CBaseFilter {
 public:
  static com::ComPtr<RecordingSink> create() { return com::ComPtr<RecordingSink>(new RecordingSink); }
  RecordingPin& pin() { return *pin_; }
  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int index) override { return index == 0 ? pin_.get() : nullptr; }

 private:
  RecordingSink();

  CCritSec lock_;
  std::unique_ptr<RecordingPin> pin_;
};

}  // namespace zdr::tests
