// CSource and the worker of CSourceStream: its commands, and how its stream ends.
#include <com_ptr.h>
#include <gtest/gtest.h>
#include <streams.h>

#include "tests/platform/fault_at.h"
#include "tests/support/sink_chain.h"

namespace zdr::test {
namespace {

using com::ComPtr;
using Log = std::vector<std::string>;

// Fills one sample with nothing, and records every step of the worker.
class TestStream final : public CSourceStream {
 public:
  explicit TestStream(CSource* filter, HRESULT* phr, CallLog* log = nullptr)
      : CSourceStream(NAME("TestStream"), phr, filter, u"Out"), log_(log) {}

  HRESULT end_result = S_FALSE;  // of FillBuffer after one sample
  HRESULT thread_create = S_OK;

  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  HRESULT GetMediaType(int position, CMediaType*) override {
    return position == 0 ? S_OK : VFW_S_NO_MORE_ITEMS;
  }
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
    *request = {1, 16, 1, 0};
    return allocator->SetProperties(request, request);
  }

  HRESULT DeliverEndOfStream() override {
    ComPtr<IMediaSample> sample;  // of the only buffer, which the worker has released by now
    const HRESULT hr = m_pAllocator->GetBuffer(sample.out(), nullptr, nullptr, AM_GBF_NOWAIT);
    log_->add(hr == S_OK ? "buffer free" : "buffer held");
    return CSourceStream::DeliverEndOfStream();
  }

 protected:
  HRESULT FillBuffer(IMediaSample* sample) override {
    return std::exchange(filled_, true) ? end_result : sample->SetActualDataLength(0);
  }
  HRESULT OnThreadCreate() override { return log_->add("create"), thread_create; }
  HRESULT OnThreadDestroy() override { return log_->add("destroy"), S_OK; }
  HRESULT OnThreadStartPlay() override {
    filled_ = false;
    return DeliverNewSegment(0, 9, 1.0);
  }
  HRESULT DoBufferProcessingLoop() override {
    const HRESULT hr = CSourceStream::DoBufferProcessingLoop();
    log_->add(hr == S_OK ? "done" : "failed");
    return hr;
  }

 private:
  CallLog* const log_;
  bool filled_ = false;
};

class TestSource final : public CSource {
 public:
  explicit TestSource(int pins, CallLog* log = nullptr)
      : CSource(NAME("TestSource"), nullptr, GUID_NULL, &hr) {
    for (int i = 0; i < pins; ++i) new TestStream(this, &hr, log);  // the source owns its pins
  }
  TestStream& stream(int index = 0) { return static_cast<TestStream&>(*GetPin(index)); }

  HRESULT hr = S_OK;
};

class SourceStream : public ::testing::Test {
 protected:
  void connect(std::function<HRESULT(IMediaSample*)> receive = nullptr) {
    chain.add_sinks(*source.get(), {{.receive = std::move(receive), .log = &log}});
    ASSERT_EQ(chain.connect_all(), S_OK);
  }

  CallLog log;
  ComPtr<TestSource> source{new TestSource(1, &log)};
  TestStream& stream = source->stream();
  SinkChain chain;
};

TEST_F(SourceStream, KeptFailedWorkerBlocksTheNextUntilItIsClosed) {
  connect();
  stream.thread_create = E_ACCESSDENIED;
  EXPECT_EQ(source->Pause(), E_ACCESSDENIED);
  EXPECT_EQ(log.take(), (Log{"create", "destroy"}));
  EXPECT_TRUE(stream.ThreadExists());
  EXPECT_EQ(source->Pause(), E_FAIL);
  stream.Close();
  {
    const FaultAt fault(platform::FaultPoint::kThreadCreate, 1);
    EXPECT_EQ(source->Pause(), E_FAIL);
    EXPECT_FALSE(stream.ThreadExists());
  }
  EXPECT_EQ(source->Pause(), E_ACCESSDENIED);
  stream.Close();
}

TEST_F(SourceStream, CommandsBeforeInitAreUnexpectedAndInitComesOnce) {
  connect();
  EXPECT_EQ(stream.Init(), E_FAIL) << "without a worker";
  ASSERT_TRUE(stream.Create());
  EXPECT_FALSE(stream.Create());
  EXPECT_EQ(stream.Stop(), E_UNEXPECTED);
  EXPECT_TRUE(log.take().empty());
  EXPECT_EQ(stream.Init(), S_OK);
  EXPECT_EQ(stream.Init(), E_NOTIMPL);
  EXPECT_EQ(stream.Stop(), S_OK);
  EXPECT_EQ(stream.Exit(), S_OK);
  stream.Close();
  EXPECT_EQ(log.take(), (Log{"create", "destroy"}));
}

TEST_F(SourceStream, StopsWhileTheWorkerWaitsForABuffer) {
  ComPtr<IMediaSample> held;  // the only buffer
  connect([&](IMediaSample* sample) { return held = ComPtr<IMediaSample>(sample), S_OK; });
  ASSERT_EQ(chain.run(), S_OK);
  ASSERT_TRUE(chain.sink().wait_for_samples(1));
  EXPECT_EQ(source->Stop(), S_OK);
  EXPECT_FALSE(stream.ThreadExists());
  held.reset();
}

TEST_F(SourceStream, FillBufferAndTheReceiverDecideHowItEnds) {
  HRESULT sink_result = S_OK;
  connect([&](IMediaSample*) { return sink_result; });
  // Results of FillBuffer and of the sink; the log after the sample; the last event.
  const std::tuple<HRESULT, HRESULT, Log, GraphEvent> cases[] = {
      // A receiver that refuses a sample gets nothing more, not even an end of stream.
      {S_FALSE, S_FALSE, {"done"}, {}},
      {S_FALSE, E_ABORT, {"done"}, {}},
      {E_ACCESSDENIED, S_OK, {"buffer free", "end of stream", "failed"}, {EC_ERRORABORT, E_ACCESSDENIED, 0}},
  };
  for (const auto& [end_result, result, after, event] : cases) {
    SCOPED_TRACE(after.back());
    sink_result = result;
    stream.end_result = end_result;
    log.take();
    ASSERT_EQ(chain.pause(), S_OK);
    ASSERT_TRUE(log.wait_for(after.back()));
    Log expected{"active", "create", "new segment 0-9 x1", "sample 0"};
    expected.insert(expected.end(), after.begin(), after.end());
    EXPECT_EQ(log.take(), expected);
    std::vector<GraphEvent> events = chain.graph.events();
    EXPECT_EQ(events.empty() ? GraphEvent{} : events.back(), event);
    EXPECT_EQ(chain.stop(), S_OK);
    EXPECT_TRUE(chain.breaches().empty());
  }
}

TEST(Source, NumbersItsPinsFromOneAndClosesGaps) {
  const ComPtr<TestSource> source(new TestSource(4));
  delete &source->stream(1);
  EXPECT_EQ(source->GetPinCount(), 3);
  EXPECT_EQ(source->GetPin(-1), nullptr);
  ComPtr<IPin> found;
  for (int i = 0; i < 3; ++i) {
    LPWSTR id = nullptr;
    ASSERT_EQ(source->stream(i).QueryId(&id), S_OK);
    EXPECT_EQ(std::u16string(id), std::u16string(1, static_cast<WCHAR>(u'1' + i)));
    EXPECT_EQ(source->FindPin(id, found.out()), S_OK);
    EXPECT_EQ(found.get(), static_cast<IPin*>(&source->stream(i)));
    CoTaskMemFree(id);
  }
  for (const WCHAR* id : {u"0", u"4", u"Out"}) {
    EXPECT_EQ(source->FindPin(id, found.out()), VFW_E_NOT_FOUND);
    EXPECT_FALSE(found);
  }
}

}  // namespace
}  // namespace zdr::test
