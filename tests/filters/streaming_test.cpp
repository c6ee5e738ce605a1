// Streams through the pins' workers: whole plays, state changes, and pins that fail or are left out.
#include <gtest/gtest.h>

#include <random>

#include "tests/filters/codec_tracks.h"
#include "tests/filters/debugger_texts.h"
#include "tests/filters/sink_graph.h"
#include "tests/platform/fault_at.h"
#include "tests/support/failing_allocator.h"

namespace zdr::tests {
namespace {

using test::MovieDescription;

MovieDescription audio_and_video(uint32_t audio_units = 100, uint32_t frames = 20) {
  return {.tracks = {test::amr_track(audio_units), test::avc_track(frames)}};
}

bool has_worker(SinkGraph& graph, int pin) {
  return graph.under_test.pin(pin).ThreadExists() != FALSE;
}

TEST(Streaming, PlaysBothTracksToTheirEnds) {
  SinkGraph graph(audio_and_video());
  EXPECT_EQ(graph.run(), S_OK);
  ASSERT_TRUE(graph.wait_for_ends());
  EXPECT_EQ(graph.sink(0).sample_count(), 10u);
  EXPECT_EQ(graph.sink(1).sample_count(), 20u);
  EXPECT_EQ(graph.stop(), S_OK);
  EXPECT_EQ(graph.breaches(), std::vector<std::string>{});
  // Each pin has a thread of its own, which ends with the stop.
  EXPECT_NE(graph.sink(0).samples()[0].thread, graph.sink(1).samples()[0].thread);
  EXPECT_FALSE(has_worker(graph, 0) || has_worker(graph, 1));
}

TEST(Streaming, RequiredEveryPauseIsToldToTheDebugger) {
  SinkGraph graph(audio_and_video());
  const DebuggerTexts texts;
  graph.run();  // through a pause
  graph.run();
  graph.pause();
  graph.stop();
  EXPECT_EQ(texts.all(), u"Pause Called\nPause Called\n");
}

TEST(Streaming, RequiredStopAndRunGoOnWhereTheTrackWas) {
  SinkGraph graph({.tracks = {test::avc_track(20)}});
  graph.sink(0).hold();
  graph.run();
  graph.sink(0).let_pass(3);
  ASSERT_TRUE(graph.sink(0).wait_for_samples(3));
  ASSERT_TRUE(graph.sink(0).wait_until_held());  // with the fourth, which the stop takes away
  graph.stop();
  graph.sink(0).let_all_pass();
  graph.run();
  ASSERT_TRUE(graph.wait_for_ends());
  const std::vector<SinkSample> rest = graph.segment(0);
  ASSERT_FALSE(rest.empty());
  EXPECT_EQ(rest.front().start, 4 * 1000000);
  EXPECT_EQ(rest.size(), 16u);
}

// A pin that cannot start must not leave the one before it running, whose sink may hold its worker already.
TEST(Streaming, ALaterPinThatFailsEndsTheEarlierWorkers) {
  for (const bool hold : {false, true}) {
    SinkGraph graph(audio_and_video());
    if (hold) graph.sink(0).hold();
    {
      const FaultAt fault(platform::FaultPoint::kThreadCreate, 2);
      EXPECT_EQ(graph.pause(), E_FAIL);
    }
    EXPECT_FALSE(has_worker(graph, 0) || has_worker(graph, 1));
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

TEST(Streaming, StartedAndStoppedAtRandomItKeepsTheOrderOfCalls) {
  SinkGraph graph(audio_and_video(3000, 600));
  std::mt19937 random(7);
  for (int i = 0; i < 150; ++i) {
    switch (random() % 4) {
      case 0:
        EXPECT_EQ(graph.pause(), S_OK);
        break;
      case 1:
        EXPECT_EQ(graph.run(), S_OK);
        break;
      case 2:
        EXPECT_EQ(graph.stop(), S_OK);
        break;
      default:
        // Types may be asked for, and lateness told, while the workers stream.
        CMediaType type;
        EXPECT_EQ(graph.under_test.pin(1).GetMediaType(0, &type), S_OK);
        EXPECT_EQ(graph.under_test.pin(1).Notify(nullptr, {Famine, 500, 2000000, 0}), S_OK);
        std::this_thread::yield();
    }
  }
  graph.stop();
  EXPECT_EQ(graph.breaches(), std::vector<std::string>{});
}

// The whole way, as far as it goes. What cannot be read ends a stream without an error.
void load_and_play(const test::Bytes& movie) {
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
  const test::Bytes movie = test::build_movie(audio_and_video(12, 3)).bytes;
  for (const FaultPoint point :
       {FaultPoint::kFileOpen, FaultPoint::kFileRead, FaultPoint::kFileSeek, FaultPoint::kFileSize,
        FaultPoint::kEventCreate, FaultPoint::kMutexCreate, FaultPoint::kThreadCreate,
        FaultPoint::kTaskAllocation, FaultPoint::kHeapAllocation}) {
    bool struck = true;
    for (int n = 1; struck; ++n) {
      SCOPED_TRACE(std::to_string(static_cast<int>(point)) + " at " + std::to_string(n));
      const FaultAt fault(point, n);
      try {
        load_and_play(movie);
      } catch (const std::bad_alloc&) {  // there was no filter
      }
      struck = fault.struck();
      ASSERT_EQ(DllCanUnloadNow(), S_OK);
    }
  }
}

TEST(Streaming, EveryFailedAllocationOnTheWayEndsInAStatus) {
  const test::Bytes movie = test::build_movie(audio_and_video(12, 3)).bytes;
  bool struck = true;
  for (uint64_t n = 1; struck; ++n) {
    SCOPED_TRACE(n);
    FilterUnderTest under_test;
    const auto path = under_test.folder / "clip.mp4";
    write_file(path, {reinterpret_cast<const char*>(movie.data()), movie.size()});
    const std::u16string name = wide(path.string());
    const test::FailingAllocator fault(n);
    if (under_test.file_source->Load(name.c_str(), nullptr) == S_OK) {
      CMediaType type;
      under_test.pin(0).GetMediaType(0, &type);
    }
    struck = fault.struck();
  }
}

}  // namespace
}  // namespace zdr::tests
