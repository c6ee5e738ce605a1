// CSource and the worker of CSourceStream: its commands, what it sends in which order, and that every stop
// ends it.
#include <com_ptr.h>
#include <gtest/gtest.h>
#include <streams.h>

#include <future>

#include "tests/platform/fault_at.h"
#include "tests/support/sink_chain.h"

namespace zdr::test {
namespace {

using com::ComPtr;
using Log = std::vector<std::string>;

constexpr DWORD kUnknownCommand = 99;

// Fills samples with their number, and records every step of the worker.
class TestStream final : public CSourceStream {
 public:
  explicit TestStream(CSource* filter, HRESULT* phr, CallLog* log = nullptr)
      : CSourceStream(NAME("TestStream"), phr, filter, u"Out"), log_(log) {}

  // After this many samples FillBuffer returns end_result.
  int sample_count = 100;
  HRESULT end_result = S_FALSE;
  HRESULT thread_create = S_OK;

  HRESULT command(DWORD number) { return static_cast<HRESULT>(CallWorker(number)); }
  IMemAllocator* allocator() const { return m_pAllocator; }

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
    if (next_ >= sample_count) return end_result;
    BYTE* bytes = nullptr;
    sample->GetPointer(&bytes);
    bytes[0] = static_cast<BYTE>(next_++);
    return sample->SetActualDataLength(1);
  }
  HRESULT OnThreadCreate() override { return log_->add("create"), thread_create; }
  HRESULT OnThreadDestroy() override { return log_->add("destroy"), S_OK; }
  HRESULT OnThreadStartPlay() override {
    next_ = 0;
    return DeliverNewSegment(0, 9, 1.0);
  }
  HRESULT DoBufferProcessingLoop() override {
    const HRESULT hr = CSourceStream::DoBufferProcessingLoop();
    log_->add(hr == S_OK ? "done" : hr == S_FALSE ? "stopped" : "failed");
    return hr;
  }

 private:
  CallLog* const log_;
  int next_ = 0;
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
    ASSERT_EQ(chain.connect(0), S_OK);
  }

  CallLog log;
  ComPtr<TestSource> source{new TestSource(2, &log)};  // the second pin is never connected
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
  EXPECT_EQ(stream.command(0), E_FAIL) << "without a worker";
  ASSERT_TRUE(stream.Create());
  EXPECT_FALSE(stream.Create());
  for (const DWORD number : {1u, 2u, 3u, 4u, kUnknownCommand})
    EXPECT_EQ(stream.command(number), E_UNEXPECTED);
  EXPECT_TRUE(log.take().empty());
  EXPECT_EQ(stream.Init(), S_OK);
  EXPECT_EQ(stream.Init(), E_NOTIMPL);
  EXPECT_EQ(stream.command(kUnknownCommand), E_NOTIMPL);
  EXPECT_EQ(stream.Stop(), S_OK);
  EXPECT_EQ(stream.Exit(), S_OK);
  stream.Close();
  EXPECT_FALSE(stream.ThreadExists());
  EXPECT_EQ(log.take(), (Log{"create", "destroy"}));
}

TEST_F(SourceStream, OnlyAStopEndsTheLoop) {
  connect();
  TestSinkPin& sink = chain.sink();
  sink.hold();
  ASSERT_EQ(chain.pause(), S_OK);
  EXPECT_FALSE(source->stream(1).ThreadExists()) << "without a connection";
  const std::pair<DWORD, HRESULT> commands[] = {
      {0, E_UNEXPECTED}, {1, S_OK}, {2, S_OK}, {4, E_UNEXPECTED}, {kUnknownCommand, E_UNEXPECTED}, {3, S_OK}};
  for (const auto& [number, result] : commands) {
    SCOPED_TRACE(number);
    ASSERT_TRUE(sink.wait_until_held());
    auto reply = std::async(std::launch::async, [&, command = number] { return stream.command(command); });
    // The worker can see the request before its sample passes.
    EXPECT_EQ(WaitForSingleObject(stream.GetRequestHandle(), 30000), WAIT_OBJECT_0);
    sink.let_pass(1);
    EXPECT_EQ(reply.get(), result);
  }
  EXPECT_EQ(log.take(), (Log{"active", "create", "new segment 0-9 x1", "sample 0", "sample 1", "sample 2",
                             "sample 3", "sample 4", "sample 5", "stopped"}));
  sink.let_all_pass();
  ASSERT_EQ(stream.Run(), S_OK);
  EXPECT_TRUE(sink.wait_for_samples(9));
  EXPECT_EQ(stream.Active(), S_FALSE) << "already active";
  EXPECT_EQ(chain.stop(), S_OK);
  EXPECT_EQ(log.take().back(), "destroy");
  EXPECT_FALSE(stream.ThreadExists());
  EXPECT_TRUE(chain.breaches().empty());
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
  int received = 0;
  HRESULT sink_result = S_OK;
  connect([&](IMediaSample*) { return ++received == 2 ? sink_result : S_OK; });
  stream.sample_count = 2;
  const struct {
    HRESULT end_result;   // of FillBuffer after sample 1
    HRESULT sink_result;  // of the sink for sample 1
    Log log;              // after sample 1
    std::vector<LONG> events;
  } cases[] = {
      {S_FALSE, S_OK, {"buffer free", "end of stream", "done"}, {EC_COMPLETE}},
      {E_ACCESSDENIED, S_OK, {"buffer free", "end of stream", "failed"}, {EC_COMPLETE, EC_ERRORABORT}},
      {VFW_S_NO_MORE_ITEMS, S_OK, {"buffer free", "end of stream", "failed"}, {EC_COMPLETE, EC_ERRORABORT}},
      // A receiver that refuses a sample gets nothing more, not even an end of stream.
      {S_FALSE, S_FALSE, {"done"}, {}},
      {S_FALSE, VFW_E_RUNTIME_ERROR, {"done"}, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    received = 0;
    sink_result = c.sink_result;
    stream.end_result = c.end_result;
    const size_t old_events = chain.graph.events().size();
    log.take();
    ASSERT_EQ(chain.pause(), S_OK);
    ASSERT_TRUE(log.wait_for(c.log.back()));
    Log expected{"active", "create", "new segment 0-9 x1", "sample 0", "sample 1"};
    expected.insert(expected.end(), c.log.begin(), c.log.end());
    EXPECT_EQ(log.take(), expected);
    const std::vector<GraphEvent> events = chain.graph.events();
    ASSERT_EQ(events.size() - old_events, c.events.size());
    for (size_t i = 0; i < c.events.size(); ++i) EXPECT_EQ(events[old_events + i].code, c.events[i]);
    if (c.events.size() == 2) {
      EXPECT_EQ(events.back().param1, c.end_result);
    }
    EXPECT_EQ(chain.stop(), S_OK);
    EXPECT_TRUE(chain.breaches().empty());
  }
}

TEST(Source, NumbersItsPinsFromOneAndClosesGaps) {
  const ComPtr<TestSource> source(new TestSource(4));
  delete &source->stream(1);
  EXPECT_EQ(source->GetPinCount(), 3);
  EXPECT_EQ(source->GetPin(3), nullptr);
  EXPECT_EQ(source->GetPin(-1), nullptr);
  for (int i = 0; i < 3; ++i) {
    LPWSTR id = nullptr;
    ASSERT_EQ(source->stream(i).QueryId(&id), S_OK);
    EXPECT_EQ(std::u16string(id), std::u16string(1, static_cast<WCHAR>(u'1' + i)));
    ComPtr<IPin> found;
    EXPECT_EQ(source->FindPin(id, found.out()), S_OK);
    EXPECT_EQ(found.get(), static_cast<IPin*>(&source->stream(i)));
    CoTaskMemFree(id);
  }
  for (const WCHAR* id : {u"0", u"4", u"-1", u"Out", u"", u"99999999999999999999"}) {
    ComPtr<IPin> found(&source->stream(0));
    EXPECT_EQ(source->FindPin(id, found.out()), VFW_E_NOT_FOUND);
    EXPECT_FALSE(found);
  }
}

}  // namespace
}  // namespace zdr::test
