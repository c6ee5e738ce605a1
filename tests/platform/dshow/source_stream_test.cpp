// CSource and its pins. Of CSourceStream's worker: the protocol of its commands, what it sends in which
// order, and that every way of stopping it comes to an end wherever it stands.
#include <com_ptr.h>
#include <gtest/gtest.h>
#include <streams.h>

#include <future>

#include "tests/platform/fault_at.h"
#include "tests/support/test_chain.h"

namespace zdr::tests {
namespace {

using Log = std::vector<std::string>;

constexpr DWORD kUnknownCommand = 99;

StreamOptions samples_then(uint32_t count, HRESULT end_result) {
  StreamOptions options;
  options.sample_count = count;
  options.end_result = end_result;
  return options;
}

HRESULT command(TestStream& stream, DWORD number) {
  return static_cast<HRESULT>(stream.CallWorker(number));
}

// Calls from a thread of its own, and returns once the worker can see the request.
template <class Call>
std::future<HRESULT> call_pending(TestStream& stream, Call call) {
  auto result = std::async(std::launch::async, call);
  EXPECT_EQ(WaitForSingleObject(stream.GetRequestHandle(), 30000), WAIT_OBJECT_0);
  return result;
}

// A connected stream whose worker the test drives itself: memory is committed, and the sink takes samples.
class WorkerProtocol : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(chain.connect(), S_OK);
    ASSERT_EQ(chain.sink_filter().Pause(), S_OK);
    ASSERT_EQ(stream.allocator()->Commit(), S_OK);
    ASSERT_TRUE(stream.Create());
    chain.log.take();
  }
  void TearDown() override {
    chain.sink_filter().Stop();
    stream.allocator()->Decommit();
    if (!stream.ThreadExists()) return;
    EXPECT_EQ(stream.Stop(), S_OK);
    EXPECT_EQ(stream.Exit(), S_OK);
    stream.Close();
  }

  TestChain chain{{StreamOptions{}}};
  TestStream& stream = chain.stream();
  TestSinkPin& sink = chain.sink();
};

TEST_F(WorkerProtocol, WantsToBeInitialisedFirst) {
  for (const DWORD number : {1u, 2u, 3u, 4u, kUnknownCommand})
    EXPECT_EQ(command(stream, number), E_UNEXPECTED);
  EXPECT_TRUE(chain.log.take().empty());
  EXPECT_EQ(command(stream, 0), S_OK);
  EXPECT_EQ(chain.log.take(), Log{"thread create"});
  // Once only.
  EXPECT_EQ(command(stream, 0), E_NOTIMPL);
  EXPECT_EQ(command(stream, kUnknownCommand), E_NOTIMPL);
  EXPECT_EQ(command(stream, 3), S_OK);
}

TEST_F(WorkerProtocol, StreamsFromPauseUntilStop) {
  sink.hold();
  ASSERT_EQ(stream.Init(), S_OK);
  ASSERT_EQ(stream.Pause(), S_OK);
  ASSERT_TRUE(sink.wait_until_held());
  // Commands while streaming: only the stop ends the loop, and none starts it afresh.
  const struct {
    DWORD number;
    HRESULT result;
  } commands[] = {
      {0, E_UNEXPECTED}, {1, S_OK}, {2, S_OK}, {4, E_UNEXPECTED}, {kUnknownCommand, E_UNEXPECTED}};
  for (const auto& c : commands) {
    SCOPED_TRACE(c.number);
    auto result = call_pending(stream, [&] { return command(stream, c.number); });
    sink.let_pass(1);
    EXPECT_EQ(result.get(), c.result);
    ASSERT_TRUE(sink.wait_until_held());
  }
  auto stopped = call_pending(stream, [this] { return stream.Stop(); });
  sink.let_pass(1);
  EXPECT_EQ(stopped.get(), S_OK);
  EXPECT_EQ(chain.log.take(),
            (Log{"thread create", "start play", "new segment 0-9223372036854775807 x1", "sample 0",
                 "sample 1", "sample 2", "sample 3", "sample 4", "sample 5", "loop: stopped"}));
  // The run command starts the loop as well.
  ASSERT_EQ(stream.Run(), S_OK);
  ASSERT_TRUE(sink.wait_until_held());
  sink.let_all_pass();
  EXPECT_EQ(stream.Stop(), S_OK);
  EXPECT_EQ(stream.Exit(), S_OK);
  stream.Close();
  EXPECT_FALSE(stream.ThreadExists());
  const Log log = chain.log.take();
  EXPECT_EQ(log.front(), "start play");
  EXPECT_EQ(log.back(), "thread destroy");
  EXPECT_EQ(command(stream, 3), E_FAIL);
}

TEST_F(WorkerProtocol, TriesAgainForABufferUntilACommandComes) {
  stream.allocator()->Decommit();
  ASSERT_EQ(stream.Init(), S_OK);
  ASSERT_EQ(stream.Pause(), S_OK);
  // Answered from within the loop, which has no buffer to fill.
  EXPECT_EQ(command(stream, kUnknownCommand), E_UNEXPECTED);
  EXPECT_EQ(sink.sample_count(), 0u);
  ASSERT_EQ(stream.allocator()->Commit(), S_OK);
  EXPECT_TRUE(sink.wait_for_samples(3));
}

TEST(SourceStream, EndsInTheWayThatFillBufferSays) {
  const Log at_end = {"sample 1", "deliver end of stream, 2 free", "end of stream"};
  const struct {
    HRESULT end_result;  // behind sample 1
    HRESULT receive;     // the sink's answer to sample 1
    bool ends;           // the stream
    const char* last;
    std::vector<LONG> events;
  } cases[] = {
      {S_FALSE, S_OK, true, "loop: done", {EC_COMPLETE}},
      // The end of the stream comes before the error, which may be a strange success.
      {E_ACCESSDENIED, S_OK, true, "loop: failed", {EC_COMPLETE, EC_ERRORABORT}},
      {VFW_S_NO_MORE_ITEMS, S_OK, true, "loop: failed", {EC_COMPLETE, EC_ERRORABORT}},
      // A receiver that refuses a sample gets nothing more, not even an end.
      {S_FALSE, S_FALSE, false, "loop: done", {}},
      {S_FALSE, VFW_E_RUNTIME_ERROR, false, "loop: done", {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    int received = 0;
    SinkOptions sink;
    sink.receive = [&](IMediaSample*) { return ++received == 2 ? c.receive : S_OK; };
    TestChain chain({samples_then(2, c.end_result)}, {sink});
    ASSERT_EQ(chain.connect(), S_OK);
    ASSERT_EQ(chain.pause(), S_OK);
    ASSERT_TRUE(chain.log.wait_for(c.last));
    Log expected = c.ends ? at_end : Log{"sample 1"};
    expected.push_back(c.last);
    Log log = chain.log.take();
    log.erase(log.begin(), log.end() - static_cast<std::ptrdiff_t>(expected.size()));
    EXPECT_EQ(log, expected);
    std::vector<LONG> events;
    for (const GraphEvent& event : chain.graph.events()) {
      events.push_back(event.code);
      if (event.code != EC_ERRORABORT) continue;
      EXPECT_EQ(event.param1, c.end_result);
      EXPECT_EQ(event.param2, 0);
    }
    EXPECT_EQ(events, c.events);
    EXPECT_TRUE(chain.sink().breaches().empty());

    // The worker idles: a pause starts the stream afresh, and stopping works as ever.
    received = 0;
    EXPECT_EQ(chain.stream().Pause(), S_OK);
    EXPECT_TRUE(chain.log.wait_for(c.last));
    log = chain.log.take();
    EXPECT_EQ(log[0], "start play");
    EXPECT_EQ(chain.stop(), S_OK);
    EXPECT_EQ(chain.log.take(), (Log{"inactive", "thread destroy"}));
  }
}

TEST(SourceStream, NeedsNoWorkerWithoutAConnection) {
  TestChain chain({StreamOptions{}, StreamOptions{}});
  ASSERT_EQ(chain.stream(1).Connect(&chain.sink(1), nullptr), S_OK);
  ASSERT_EQ(chain.pause(), S_OK);
  EXPECT_FALSE(chain.stream(0).ThreadExists());
  EXPECT_TRUE(chain.stream(1).ThreadExists());
  // Already active.
  EXPECT_EQ(chain.stream(0).Active(), S_FALSE);
  EXPECT_EQ(chain.stop(), S_OK);
  EXPECT_FALSE(chain.stream(1).ThreadExists());
  EXPECT_EQ(chain.stream(0).Active(), S_OK);
  EXPECT_FALSE(chain.stream(0).ThreadExists());
  EXPECT_EQ(chain.stream(0).Inactive(), S_OK);
}

TEST(SourceStream, RequiredFailedWorkerBlocksTheNextUntilItIsClosed) {
  StreamOptions options;
  options.thread_create = E_ACCESSDENIED;
  TestChain chain({options});
  ASSERT_EQ(chain.connect(), S_OK);
  EXPECT_EQ(chain.source().Pause(), E_ACCESSDENIED);
  EXPECT_EQ(chain.log.take(), (Log{"thread create", "thread destroy"}));
  EXPECT_TRUE(chain.stream().ThreadExists());
  EXPECT_EQ(chain.source().Pause(), E_FAIL);
  chain.stream().Close();
  {
    const FaultAt fault(platform::FaultPoint::kThreadCreate, 1);
    EXPECT_EQ(chain.source().Pause(), E_FAIL);
    EXPECT_FALSE(chain.stream().ThreadExists());
  }
  EXPECT_EQ(chain.source().Pause(), E_ACCESSDENIED);
  chain.stream().Close();
}

TEST(SourceStream, StopsWhileTheWorkerWaitsForABuffer) {
  // The sink keeps the only buffer.
  com::ComPtr<IMediaSample> kept;
  SinkOptions sink;
  sink.receive = [&](IMediaSample* sample) { return kept = com::ComPtr<IMediaSample>(sample), S_OK; };
  StreamOptions options;
  options.buffers = 1;
  TestChain chain({options}, {sink});
  ASSERT_EQ(chain.connect(), S_OK);
  ASSERT_EQ(chain.run(), S_OK);
  ASSERT_TRUE(chain.sink().wait_for_samples(1));
  EXPECT_EQ(chain.source().Stop(), S_OK);
  EXPECT_FALSE(chain.stream().ThreadExists());
  kept.reset();
  EXPECT_EQ(chain.stop(), S_OK);
}

TEST(SourceStream, SeeksWhileTheWorkerIsHeldInReceive) {
  TestChain chain({StreamOptions{}});
  ASSERT_EQ(chain.connect(), S_OK);
  chain.sink().hold();
  ASSERT_EQ(chain.run(), S_OK);
  ASSERT_TRUE(chain.sink().wait_until_held());
  chain.log.take();
  EXPECT_EQ(chain.stream().seek(700), S_OK);
  ASSERT_TRUE(chain.sink().wait_until_held());
  chain.sink().let_pass(2);
  ASSERT_TRUE(chain.sink().wait_for_samples(2));
  ASSERT_TRUE(chain.sink().wait_until_held());
  EXPECT_EQ(chain.stop(), S_OK);
  EXPECT_EQ(chain.log.take(), (Log{"begin flush", "loop: done", "end flush", "start play",
                                   "new segment 700000-9223372036854775807 x1", "sample 700", "sample 701",
                                   "inactive", "loop: done", "thread destroy"}));
  const SinkSample first = chain.sink().samples()[0];
  EXPECT_EQ(first.start, 700000);
  EXPECT_NE(first.flags & AM_SAMPLE_DATADISCONTINUITY, 0u);
  EXPECT_TRUE(chain.sink().breaches().empty());
}

TEST(Source, NumbersItsPinsFromOne) {
  const auto source = TestSource::create({{}, {}, {}});
  EXPECT_EQ(source->GetPinCount(), 3);
  EXPECT_EQ(source->GetPin(3), nullptr);
  EXPECT_EQ(source->GetPin(-1), nullptr);
  for (int i = 0; i < 3; ++i) {
    LPWSTR id = nullptr;
    ASSERT_EQ(source->stream(i).QueryId(&id), S_OK);
    EXPECT_EQ(std::u16string(id), std::u16string(1, static_cast<WCHAR>(u'1' + i)));
    com::ComPtr<IPin> found;
    EXPECT_EQ(source->FindPin(id, found.out()), S_OK);
    EXPECT_EQ(found.get(), static_cast<IPin*>(&source->stream(i)));
    EXPECT_EQ(source->FindPinNumber(found.get()), i);
    CoTaskMemFree(id);
  }
  for (const WCHAR* id : {u"0", u"4", u"-1", u"Out1", u"", u"99999999999999999999"}) {
    com::ComPtr<IPin> found(&source->stream(0));
    EXPECT_EQ(source->FindPin(id, found.out()), VFW_E_NOT_FOUND);
    EXPECT_FALSE(found);
  }
  EXPECT_EQ(source->FindPin(u"1", nullptr), E_POINTER);
}

TEST(Source, ClosesTheGapWhenAPinGoes) {
  const auto source = TestSource::create({{}, {}, {}});
  TestStream& last = source->stream(2);
  delete &source->stream(1);
  EXPECT_EQ(source->GetPinCount(), 2);
  EXPECT_EQ(source->FindPinNumber(&last), 1);
  EXPECT_EQ(source->RemovePin(&last), S_OK);
  EXPECT_EQ(source->RemovePin(&last), S_FALSE);
  LPWSTR id = nullptr;
  EXPECT_EQ(last.QueryId(&id), VFW_E_NOT_FOUND);
  EXPECT_EQ(source->AddPin(&last), S_OK);
}

TEST(Source, ReportsAPinThatFindsNoRoom) {
  const auto source = TestSource::create({});
  HRESULT hr = S_OK;
  {
    const FaultAt fault(platform::FaultPoint::kHeapAllocation, 1);
    const TestStream stream(source.get(), {}, u"Out", &hr);
    EXPECT_EQ(hr, E_OUTOFMEMORY);
    EXPECT_EQ(source->GetPinCount(), 0);
  }
  // A success is stored as well, whatever stood there before.
  const TestStream stream(source.get(), {}, u"Out", &hr);
  EXPECT_EQ(hr, S_OK);
}

TEST(SourceStream, OffersAndAcceptsItsOneType) {
  StreamOptions options;
  options.type.SetSubtype(&MEDIASUBTYPE_PCM);
  const auto source = TestSource::create({options});
  TestStream& stream = source->stream(0);
  CMediaType type;
  EXPECT_EQ(stream.GetMediaType(-1, &type), E_INVALIDARG);
  EXPECT_EQ(stream.GetMediaType(1, &type), VFW_S_NO_MORE_ITEMS);
  ASSERT_EQ(stream.GetMediaType(0, &type), S_OK);
  EXPECT_EQ(stream.CheckMediaType(&type), S_OK);
  type.SetSubtype(&MEDIASUBTYPE_WAVE);
  EXPECT_EQ(stream.CheckMediaType(&type), E_FAIL);
}

}  // namespace
}  // namespace zdr::tests
