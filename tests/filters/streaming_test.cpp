// Streams through the pins' workers: whole plays, state changes, and failures at every step.
#include <gtest/gtest.h>

#include <map>

#include "mediakit/aac/stream_builder.h"
#include "mediakit/files/speech_file.h"
#include "tests/filters/codecs.h"
#include "tests/filters/debugger_texts.h"
#include "tests/filters/sink_graph.h"
#include "tests/platform/fault_at.h"
#include "tests/support/failing_allocator.h"

namespace zdr::test {
namespace {

MovieDescription audio_and_video(uint32_t audio_units = 100, uint32_t frames = 20) {
  return {.tracks = {amr_track(audio_units), avc_track(frames)}};
}

bool has_worker(SinkGraph& graph) {
  return graph.pin(0).ThreadExists() || graph.pin(1).ThreadExists();
}

TEST(Streaming, PlaysBothTracksToTheirEnds) {
  SinkGraph graph(audio_and_video());
  const DebuggerTexts texts;
  EXPECT_EQ(graph.run(), S_OK);  // pauses first
  ASSERT_TRUE(graph.wait_for_ends());
  EXPECT_EQ(graph.sink(0).sample_count(), 10u);
  EXPECT_EQ(graph.sink(1).sample_count(), 20u);
  // Each pin has a thread of its own, which ends with the stop.
  EXPECT_NE(graph.sink(0).samples()[0].thread, graph.sink(1).samples()[0].thread);
  EXPECT_EQ(graph.pause(), S_OK);
  EXPECT_EQ(graph.stop(), S_OK);
  EXPECT_FALSE(has_worker(graph));
  EXPECT_EQ(graph.breaches(), std::vector<std::string>{});
  EXPECT_EQ(texts.all(), u"Pause Called\nPause Called\n");
}

TEST(Streaming, KeptTrackContinuesAfterAStop) {
  SinkGraph graph({.tracks = {avc_track(20)}});
  graph.sink(0).hold();
  graph.run();
  graph.sink(0).let_pass(3);
  ASSERT_TRUE(graph.sink(0).wait_for_samples(3));
  ASSERT_TRUE(graph.sink(0).wait_until_held());  // with the fourth, which the stop discards
  graph.stop();
  graph.sink(0).let_all_pass();
  graph.run();
  ASSERT_TRUE(graph.wait_for_ends());
  const std::vector<SinkSample> rest = graph.sink(0).samples();
  ASSERT_EQ(rest.size(), 16u);
  EXPECT_EQ(rest.front().start, 4 * 1000000);
}

// A pin that cannot start must not leave the one before it running, whose sink may already hold its worker.
TEST(Streaming, ALaterPinThatFailsEndsTheEarlierWorkers) {
  for (const bool hold : {false, true}) {
    SinkGraph graph(audio_and_video());
    if (hold) graph.sink(0).hold();
    {
      const FaultAt fault(platform::FaultPoint::kThreadCreate, 2);
      EXPECT_EQ(graph.pause(), E_FAIL);
    }
    EXPECT_FALSE(has_worker(graph));
    FILTER_STATE state = State_Running;
    graph.under_test.filter->GetState(0, &state);
    EXPECT_EQ(state, State_Stopped);
    EXPECT_EQ(graph.stop(), S_OK);
    graph.sink(0).let_all_pass();
    EXPECT_EQ(graph.run(), S_OK);
    EXPECT_TRUE(graph.wait_for_ends());
    EXPECT_EQ(graph.sink(1).sample_count(), 20u);
  }
}

// Loads, connects and plays, as far as possible. A sample that cannot be read ends a stream without an error.
void load_and_play(const Bytes& movie) {
  SinkGraph graph;
  const HRESULT hr = graph.under_test.load(movie);
  EXPECT_TRUE(hr == S_OK || hr == VFW_E_INVALID_FILE_FORMAT || hr == VFW_E_NOT_FOUND || hr == E_OUTOFMEMORY)
      << std::hex << hr;
  const bool runs = hr == S_OK && graph.build() == S_OK && graph.run() == S_OK;
  EXPECT_TRUE(!runs || graph.wait_for_ends());
  for (const GraphEvent& event : graph.graph.events()) EXPECT_EQ(event.code, EC_COMPLETE);
}

TEST(Streaming, EveryFailureOfThePlatformEndsInAStatus) {
  using platform::FaultPoint;
  const Bytes movie = build_movie(audio_and_video(12, 3)).bytes;
  for (const FaultPoint point :
       {FaultPoint::kFileOpen, FaultPoint::kFileRead, FaultPoint::kFileSeek, FaultPoint::kFileSize,
        FaultPoint::kEventCreate, FaultPoint::kMutexCreate, FaultPoint::kThreadCreate,
        FaultPoint::kTaskAllocation, FaultPoint::kHeapAllocation}) {
    bool triggered = true;
    for (int n = 1; triggered; ++n) {
      SCOPED_TRACE(std::to_string(static_cast<int>(point)) + " at " + std::to_string(n));
      const FaultAt fault(point, n);
      try {
        load_and_play(movie);
      } catch (const std::bad_alloc&) {  // the filter could not be created
      }
      triggered = fault.triggered();
      ASSERT_EQ(DllCanUnloadNow(), S_OK);
    }
  }
}

TEST(Streaming, EveryFailedAllocationOfAnOpenEndsInAStatus) {
  const Bytes movie = build_movie(audio_and_video(12, 3)).bytes;
  const std::pair<std::string, Bytes> kFiles[] = {
      {"clip.mp4", movie}, {"clip.amr", speech(false, 3, 0x3C).bytes()}, {"clip.aac", adts_file(3, 400)}};
  for (const auto& [file_name, content] : kFiles) {
    bool triggered = true;
    for (uint64_t n = 1; triggered; ++n) {
      SCOPED_TRACE(file_name + std::to_string(n));
      FilterUnderTest under_test;
      const std::u16string name = under_test.write(content, file_name).u16string();
      const FailingAllocator fault(n);
      if (under_test.file_source->Load(name.c_str(), nullptr) == S_OK) {
        CMediaType type;
        under_test.media_type(type);
      }
      triggered = fault.triggered();
    }
  }
}

TEST(Streaming, EveryFailedAllocationOfAConnectionOrAStartEndsInAStatus) {
  std::map<HRESULT, int> connections;
  std::map<HRESULT, int> starts;
  bool triggered = true;
  for (uint64_t n = 1; triggered; ++n) {
    FilterUnderTest under_test(audio_and_video(12, 3));
    SinkChain chain;
    chain.add_sinks(static_cast<CBaseFilter&>(*under_test.filter.get()));
    HRESULT connected;
    HRESULT started;
    {
      const FailingAllocator fault(n);
      connected = chain.connect_all();
      started = chain.pause();
      triggered = fault.triggered();
    }
    ++connections[connected];
    ++starts[started];
    chain.stop();
    if (connected != S_OK) chain.connect_all();
    EXPECT_EQ(chain.run(), S_OK) << n;
    EXPECT_TRUE(chain.wait_for_ends()) << "with memory again, after failure " << n;
  }
  EXPECT_GT(connections[E_OUTOFMEMORY], 0);
  EXPECT_EQ(connections[VFW_E_NO_ACCEPTABLE_TYPES], 0);  // no type is missing for want of memory
  EXPECT_GT(starts[E_OUTOFMEMORY], 0);
}

}  // namespace
}  // namespace zdr::test
