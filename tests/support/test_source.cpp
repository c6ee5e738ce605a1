// The worker's steps of TestSource.
#include "test_source.h"

#include <cstring>

namespace zdr::tests {

TestStream::TestStream(CSource* filter, StreamOptions options, LPCWSTR name, HRESULT* phr)
    : CSourceStream(NAME("TestStream"), phr, filter, name), options_(std::move(options)) {}

void TestStream::log(const std::string& entry) {
  if (options_.log != nullptr) options_.log->add(entry);
}

HRESULT TestStream::seek(uint32_t number) {
  set_first(number);
  DeliverBeginFlush();
  const HRESULT stopped = Stop();
  DeliverEndFlush();
  return FAILED(stopped) ? stopped : Pause();
}

HRESULT TestStream::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
  request->cBuffers = options_.buffers;
  request->cbBuffer = options_.buffer_size;
  ALLOCATOR_PROPERTIES actual{};
  if (const HRESULT hr = allocator->SetProperties(request, &actual); FAILED(hr)) return hr;
  return actual.cBuffers >= request->cBuffers && actual.cbBuffer >= request->cbBuffer ? S_OK : E_FAIL;
}

HRESULT TestStream::DeliverEndOfStream() {
  // Told with the buffers that are free, for the worker should keep none then.
  LONG free_buffers = -1;
  com::ComPtr<IMemAllocatorCallbackTemp> counted;
  if (SUCCEEDED(m_pAllocator->QueryInterface(IID_IMemAllocatorCallbackTemp, counted.out_void()))) {
    counted->GetFreeCount(&free_buffers);
  }
  log("deliver end of stream, " + std::to_string(free_buffers) + " free");
  return CSourceStream::DeliverEndOfStream();
}

HRESULT TestStream::FillBuffer(IMediaSample* sample) {
  if (next_ >= options_.sample_count) return options_.end_result;
  BYTE* bytes = nullptr;
  if (const HRESULT hr = sample->GetPointer(&bytes); FAILED(hr)) return hr;
  const uint32_t number = next_++;
  std::memcpy(bytes, &number, sizeof number);
  sample->SetActualDataLength(sizeof number);
  REFERENCE_TIME start = number * kDuration;
  REFERENCE_TIME stop = start + kDuration;
  sample->SetTime(&start, &stop);
  sample->SetSyncPoint(TRUE);
  sample->SetDiscontinuity(number == played_from_);
  return S_OK;
}

HRESULT TestStream::OnThreadCreate() {
  log("thread create");
  return options_.thread_create;
}

HRESULT TestStream::OnThreadDestroy() {
  log("thread destroy");
  return S_OK;
}

HRESULT TestStream::OnThreadStartPlay() {
  log("start play");
  next_ = played_from_ = first_;
  return DeliverNewSegment(next_ * kDuration, MAX_TIME, 1.0);
}

HRESULT TestStream::DoBufferProcessingLoop() {
  const HRESULT hr = CSourceStream::DoBufferProcessingLoop();
  log(hr == S_OK ? "loop: done" : hr == S_FALSE ? "loop: stopped" : "loop: failed");
  return hr;
}

TestSource::TestSource() : CSource(NAME("TestSource"), nullptr, GUID_NULL) {}

com::ComPtr<TestSource> TestSource::create(const std::vector<StreamOptions>& streams) {
  com::ComPtr<TestSource> source(new TestSource);
  WCHAR name[] = u"Out1";
  for (const StreamOptions& options : streams) {
    HRESULT hr = S_OK;
    new TestStream(source.get(), options, name, &hr);  // the source owns its pins
    ++name[3];
  }
  return source;
}

}  // namespace zdr::tests
