// Seeks, pauses, stops and runs at random while both pins deliver, with a model of what must follow each
// step. ZDR_SOAK_SEEKS: the number of seeks, 300 by default. With 1000 or more, no step may take over a
// second. ZDR_TEST_SESSION: the session of named objects to join; signals of other processes then end waits
// early.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <random>

#include "tests/filters/codecs.h"
#include "tests/filters/sink_graph.h"

namespace zdr::test {
namespace {

using std::chrono::steady_clock;

constexpr REFERENCE_TIME kFrame = 40 * kMs;
constexpr REFERENCE_TIME kUnit = 20 * kMs;
constexpr REFERENCE_TIME kSyncInterval = 25 * kFrame;
constexpr size_t kAudio = 0;
constexpr size_t kVideo = 1;

// Ends the program if the next step hangs.
void watch_step() {
  alarm(static_cast<unsigned>(2 * kPatience.count()));
}
struct Watchdog {
  Watchdog() { watch_step(); }
  ~Watchdog() { alarm(0); }
};

// Must hold for one stream, whichever signals arrived: it starts at the target, with a discontinuity, and
// continues sample by sample.
void expect_fresh_segment(SinkGraph& graph, size_t sink, REFERENCE_TIME target) {
  EXPECT_EQ(graph.sink(sink).segment_start(), target);
  const std::vector<SinkSample> samples = graph.sink(sink).samples();
  for (size_t i = 0; i < samples.size(); ++i) {
    ASSERT_EQ((samples[i].flags & AM_SAMPLE_DATADISCONTINUITY) != 0, i == 0) << i;
    ASSERT_EQ(samples[i].data.size(), samples[0].data.size() + i);
  }
}

// Must hold for both streams together after a seek.
void expect_synchronised(SinkGraph& graph, REFERENCE_TIME target, bool was_stopped = false) {
  const auto time_of = [](const SinkSample& sample, REFERENCE_TIME each) {
    return static_cast<REFERENCE_TIME>(sample.data.size() - 1) * each;
  };
  const std::vector<SinkSample> audio = graph.sink(kAudio).samples();
  const std::vector<SinkSample> video = graph.sink(kVideo).samples();
  ASSERT_FALSE(audio.empty() || video.empty());
  const REFERENCE_TIME audio_first = time_of(audio[0], kUnit);
  const REFERENCE_TIME video_first = time_of(video[0], kFrame);
  EXPECT_LE(audio_first, target);
  EXPECT_LT(target - audio_first, 3 * kUnit);
  // The lookup of a time may return the frame before.
  const REFERENCE_TIME earliest =
      std::max<REFERENCE_TIME>(target - kFrame, 0) / kSyncInterval * kSyncInterval;
  EXPECT_TRUE(video_first == target / kSyncInterval * kSyncInterval || video_first == earliest)
      << video_first;
  const REFERENCE_TIME base = audio_first > video_first ? audio_first : target;
  // When the filter was stopped, audio starts first and does not rely on video. It may use its own time
  // before video has reported that it takes part.
  const bool alone = was_stopped && audio[0].start == 0;
  for (const SinkSample& sample : audio) {
    ASSERT_EQ(sample.start, time_of(sample, kUnit) - (alone ? audio_first : base));
  }
  for (const SinkSample& sample : video) {
    const REFERENCE_TIME time = time_of(sample, kFrame);
    ASSERT_EQ(sample.start, time - base);
    ASSERT_EQ((sample.flags & AM_SAMPLE_PREROLL) != 0, time < audio_first) << sample.data.size();
  }
}

// One run of random steps, and how long the longest of them took.
class Soak {
 public:
  explicit Soak(uint32_t seed, bool alone) : random_(seed), alone_(alone) { graph_.run(); }

  void seek_and_change(int seeks) {
    for (int i = 0; i < seeks && !testing::Test::HasFailure(); ++i) {
      SCOPED_TRACE(i);
      const REFERENCE_TIME target = static_cast<REFERENCE_TIME>(random_() % 59000) * kMs;
      timed([&] { EXPECT_EQ(graph_.seek(target), S_OK); });
      // Other threads may do this while the workers stream.
      CMediaType type;
      EXPECT_EQ(graph_.under_test.media_type(type, kVideo), S_OK);
      EXPECT_EQ(graph_.pin(kVideo).Notify(nullptr, {Famine, 500, 0, 0}), S_OK);
      stopped_since_seek_ = false;
      stopped_during_seek_ = stopped_;
      if (one_in(2)) change_state();
      if (one_in(2)) continue;  // the next seek interrupts this one
      if (stopped_) start();
      check(target);
    }
    EXPECT_EQ(graph_.breaches(), std::vector<std::string>{});
  }
  steady_clock::duration longest() const { return longest_; }

 private:
  bool one_in(uint32_t n) { return random_() % n == 0; }

  template <class Step>
  void timed(Step step) {
    watch_step();
    const auto begin = steady_clock::now();
    step();
    longest_ = std::max(longest_, steady_clock::now() - begin);
  }

  void change_state() {
    switch (random_() % 6) {
      case 0:
        timed([&] { EXPECT_EQ(graph_.stop(), S_OK); });
        stopped_since_seek_ = stopped_since_seek_ || !stopped_;
        stopped_ = true;
        break;
      case 1:
      case 2:
        timed([&] { EXPECT_EQ(graph_.pause(), S_OK); });
        stopped_ = false;
        break;
      default:
        start();
    }
  }
  void start() {
    timed([&] { EXPECT_EQ(graph_.run(), S_OK); });
    stopped_ = false;
  }

  void check(REFERENCE_TIME target) {
    // A stop after the seek may have discarded the first samples, and then few may be left.
    if (stopped_since_seek_) return;
    const size_t count = 1 + random_() % 20;
    timed([&] {
      ASSERT_TRUE(graph_.sink(kAudio).wait_for_samples(count) && graph_.sink(kVideo).wait_for_samples(count));
    });
    expect_fresh_segment(graph_, kAudio, target);
    expect_fresh_segment(graph_, kVideo, target);
    if (alone_) expect_synchronised(graph_, target, stopped_during_seek_);
  }

  const Watchdog watchdog_;
  std::mt19937 random_;
  const bool alone_;
  SinkGraph graph_{numbered_movie(1500, 3000)};
  bool stopped_ = false;
  bool stopped_since_seek_ = false;
  bool stopped_during_seek_ = false;
  steady_clock::duration longest_{};
};

TEST(SeekSoak, EverySeekEndsWithBothStreamsAtItsTarget) {
  const char* const count = std::getenv("ZDR_SOAK_SEEKS");
  const int seeks = count != nullptr ? std::atoi(count) : 300;
  Soak soak(static_cast<uint32_t>(seeks), std::getenv("ZDR_TEST_SESSION") == nullptr);
  soak.seek_and_change(seeks);
  if (seeks < 1000) return;  // a busy machine may be slow once
  const auto longest = std::chrono::duration_cast<std::chrono::milliseconds>(soak.longest());
  std::printf("%d seeks, the longest step took %d ms\n", seeks, static_cast<int>(longest.count()));
  EXPECT_LT(longest, std::chrono::seconds(1));
}

struct AllocatorAccess : CBaseOutputPin {
  using CBaseOutputPin::m_pAllocator;
};

// Keeps all buffers of a pin whose stream has ended, until it is destroyed.
struct HeldBuffers {
  explicit HeldBuffers(CBaseOutputPin& pin) {
    for (auto& buffer : held) {
      EXPECT_EQ(
          (pin.*&AllocatorAccess::m_pAllocator)->GetBuffer(buffer.out(), nullptr, nullptr, AM_GBF_NOWAIT),
          S_OK);
    }
  }
  com::ComPtr<IMediaSample> held[4];
};

// Neither stream has had a sample between the seek and the stop. Audio's unit begins before video's frame, so
// both count from the target; audio that does not wait for video, which is late, counts from its unit.
TEST(SeekSoak, AudioWaitsForVideoInTheFirstRunAfterASeekAndAStop) {
  const Watchdog watchdog;
  MovieDescription movie = numbered_movie(200, 8);
  movie.tracks[kAudio].durations = {8000};
  movie.tracks[kVideo].sync_samples.clear();
  FilterUnderTest under_test(movie);
  SinkChain chain;
  std::vector<SinkOptions> options(2);
  options[kVideo].on_call = [&](std::string_view call) {
    if (!call.starts_with("new segment 35000000")) return;
    for (int i = 0; i < 2000 && chain.sink(kAudio).sample_count() == 0; ++i) std::this_thread::yield();
  };
  chain.add_sinks(static_cast<CBaseFilter&>(*under_test.filter.get()), std::move(options));
  ASSERT_EQ(chain.connect_all(), S_OK);
  chain.run();
  ASSERT_TRUE(chain.wait_for_ends());
  {
    const HeldBuffers audio(under_test.pin(kAudio));
    const HeldBuffers video(under_test.pin(kVideo));
    under_test.seek(3500 * kMs);
    chain.stop();
  }
  chain.run();
  ASSERT_TRUE(chain.wait_for_ends());
  EXPECT_LT(chain.sink(kAudio).samples().at(0).start, 0);
}

// Video has no buffer for its first frame, so audio waits for it without a limit.
TEST(SeekSoak, AStopEndsTheUnlimitedWaitForThePeer) {
  const Watchdog watchdog;
  SinkGraph graph(numbered_movie(200, 400));
  for (const bool stop : {true, false}) {
    graph.run();
    ASSERT_TRUE(graph.wait_for_ends());
    auto held = std::make_unique<HeldBuffers>(graph.under_test.pin(kVideo));
    ASSERT_EQ(graph.seek(3500 * kMs), S_OK);
    EXPECT_TRUE(graph.sink(kAudio).samples().empty() || graph.sink(kAudio).segment_start() == 0);
    EXPECT_TRUE(!stop || graph.stop() == S_OK);
    EXPECT_TRUE(graph.sink(kAudio).samples().empty() || graph.sink(kAudio).segment_start() == 0);
    held.reset();
    if (stop) continue;
    ASSERT_TRUE(graph.wait_for_ends());
    expect_synchronised(graph, 3500 * kMs);
  }
}

// The command that runs tests of this program; its folder may have a blank.
std::string own_program() {
  return "'" + std::filesystem::canonical("/proc/self/exe").string() + "' --gtest_filter=";
}

// In a shared session each process consumes signals of the other, which may end its waits early but never
// stops it or breaks the order of its streams. In private sessions the two do not affect each other.
TEST(SeekSoak, TwoProcessesSeekAtOnce) {
  const std::string soak = own_program() + "SeekSoak.EverySeek*";
  const std::string shared = "ZDR_TEST_SESSION=zdr-soak-" + std::to_string(getpid());
  for (const std::string& session : {std::string(), shared}) {
    const std::string once = "ZDR_SOAK_SEEKS=100 " + session + " " + soak;
    EXPECT_EQ(std::system((once + " & " + once + " && wait $!").c_str()), 0) << session;
  }
}

// The process starts itself twice: one keeps a filter while the other plays and stops.
TEST(SeekSoak, AStopSetsTheEventsOfAllProcessesOfTheSession) {
  const char* const session = std::getenv("ZDR_TEST_SESSION");
  const std::string program = own_program();
  if (session == nullptr) {
    const std::string joined = "ZDR_TEST_SESSION=zdr-events-" + std::to_string(getpid()) + " ";
    EXPECT_EQ(std::system((joined + program + "SeekSoak.AStopSets*").c_str()), 0);
    return;
  }
  const FilterUnderTest filter;
  const SharedEvents events;
  EXPECT_FALSE(events.wait(0));
  EXPECT_EQ(std::system((program + "Streaming.PlaysBothTracksToTheirEnds").c_str()), 0);
  EXPECT_TRUE(events.wait(0));
}

}  // namespace
}  // namespace zdr::test
