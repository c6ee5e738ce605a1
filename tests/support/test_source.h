// TestSource: a source filter whose pins fill numbered samples, with every step of the worker in a log and a
// result for each step that a test may choose.
#pragma once

#include <com_ptr.h>
#include <streams.h>

#include <atomic>
#include <vector>

#include "call_log.h"

namespace zdr::tests {

// Fixed at construction.
struct StreamOptions {
  CMediaType type = CMediaType(&MEDIATYPE_Stream);
  LONG buffers = 2;
  LONG buffer_size = 64;
  // After so many samples FillBuffer gives end_result.
  uint32_t sample_count = UINT32_MAX;
  HRESULT end_result = S_FALSE;
  HRESULT thread_create = S_OK;
  CallLog* log = nullptr;
};

// Sample n carries n in its first four bytes and the times n * kDuration to (n + 1) * kDuration.
class TestStream final : public CSourceStream {
 public:
  static constexpr REFERENCE_TIME kDuration = 1000;

  TestStream(CSource* filter, StreamOptions options, LPCWSTR name, HRESULT* phr);

  // Where the next start of the stream begins.
  void set_first(uint32_t number) { first_ = number; }
  // Moves a running stream: flushes, stops the worker and lets it play from there.
  HRESULT seek(uint32_t number);

  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;
  HRESULT GetMediaType(CMediaType* type) override { return type->Set(options_.type); }
  using CSourceStream::GetMediaType;

  HRESULT DeliverEndOfStream() override;
  IMemAllocator* allocator() const { return m_pAllocator; }

 protected:
  HRESULT FillBuffer(IMediaSample* sample) override;
  HRESULT OnThreadCreate() override;
  HRESULT OnThreadDestroy() override;
  HRESULT OnThreadStartPlay() override;
  HRESULT DoBufferProcessingLoop() override;

 private:
  void log(const std::string& entry);

  const StreamOptions options_;
  std::atomic<uint32_t> first_{0};
  // The worker's. What it plays from is not yet the latest `first_` while a seek waits for it to stop.
  uint32_t played_from_ = 0;
  uint32_t next_ = 0;
};

class TestSource final : public CSource {
 public:
  // One pin, named Out1, Out2 and so on, for each element.
  static com::ComPtr<TestSource> create(const std::vector<StreamOptions>& streams);

  TestStream& stream(int index) { return static_cast<TestStream&>(*GetPin(index)); }

 private:
  TestSource();
};

}  // namespace zdr::tests
