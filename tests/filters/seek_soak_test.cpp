// Seeks, pauses, stops and runs at random while both pins deliver, with a model of what must follow each.
// ZDR_SOAK_SEEKS: how many seeks (300 without it). Of a thousand and more, no step may take above a second.
// ZDR_TEST_SESSION: the session of named objects to join; a stranger's signals then end waits early.
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <random>
#include <thread>

#include "tests/filters/codec_tracks.h"
#include "tests/filters/filter_under_test.h"
#include "tests/filters/recording_sink.h"
#include "tests/support/test_graph.h"

namespace zdr::tests {
namespace {

using std::chrono::steady_clock;
using test::MovieDescription;
using test::TrackDescription;

constexpr REFERENCE_TIME kMs = 10000;
constexpr REFERENCE_TIME kFrame = 40 * kMs;
constexpr REFERENCE_TIME kUnit = 20 * kMs;
constexpr uint32_t kFrames = 1500;
constexpr uint32_t kSyncEvery = 25;
constexpr REFERENCE_TIME kSyncInterval = kSyncEvery * kFrame;
constexpr size_t kAudio = 0;
constexpr size_t kVideo = 1;

// A minute of both; the size of a sample tells its number.
MovieDescription minute() {
  TrackDescription video = test::avc_track(kFrames);
  video.durations = {40};
  for (uint32_t number = 1; number <= kFrames; number += kSyncEvery) video.sync_samples.push_back(number);
  TrackDescription audio = evrc_track(2 * kFrames);
  for (TrackDescription* track : {&video, &audio}) {
    for (size_t i = 0; i < track->sizes.size(); ++i) track->sizes[i] = static_cast<uint32_t>(i + 1);
  }
  return {.tracks = {audio, video}};
}

// Ends the program when a step hangs, since nothing else would.
class Watchdog {
 public:
  Watchdog() : thread_([this] { watch(); }) {}
  ~Watchdog() {
    {
      const std::lock_guard lock(mutex_);
      done_ = true;
    }
    changed_.notify_all();
    thread_.join();
  }
  void step() {
    const std::lock_guard lock(mutex_);
    ++steps_;
    changed_.notify_all();
  }

 private:
  void watch() {
    std::unique_lock lock(mutex_);
    while (!done_) {
      const uint64_t seen = steps_;
      if (changed_.wait_for(lock, 2 * kPatience, [&] { return done_ || steps_ != seen; })) continue;
      std::fprintf(stderr, "step %llu hangs\n", static_cast<unsigned long long>(seen));
      std::abort();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool done_ = false;
  uint64_t steps_ = 0;
  std::thread thread_;
};

class Player {
 public:
  Player() : under_test_(minute()) {
    under_test_.filter->JoinFilterGraph(&graph_, u"source");
    for (size_t i = 0; i < sinks_.size(); ++i) {
      sinks_[i] = RecordingSink::create();
      sinks_[i]->JoinFilterGraph(&graph_, u"sink");
      EXPECT_EQ(under_test_.pin(static_cast<int>(i)).Connect(&sinks_[i]->pin(), nullptr), S_OK);
    }
  }
  ~Player() {
    stop();
    for (size_t i = 0; i < sinks_.size(); ++i) {
      under_test_.pin(static_cast<int>(i)).Disconnect();
      sinks_[i]->pin().Disconnect();
      sinks_[i]->JoinFilterGraph(nullptr, nullptr);
    }
    under_test_.filter->JoinFilterGraph(nullptr, nullptr);
  }

  HRESULT pause() {
    return change([](IBaseFilter& filter) { return filter.Pause(); });
  }
  HRESULT run() {
    return change([](IBaseFilter& filter) { return filter.Run(0); });
  }
  HRESULT stop() {
    return change([](IBaseFilter& filter) { return filter.Stop(); });
  }
  HRESULT seek(REFERENCE_TIME target) {
    return under_test_.seeking(0)->SetPositions(&target, AM_SEEKING_AbsolutePositioning, nullptr, 0);
  }
  RecordingPin& sink(size_t index) { return sinks_[index]->pin(); }

 private:
  template <class Change>
  HRESULT change(Change change) {
    for (const auto& sink : sinks_) change(static_cast<IBaseFilter&>(*sink.get()));
    return change(*under_test_.filter.get());
  }

  FilterUnderTest under_test_;
  TestGraph graph_;
  std::array<com::ComPtr<RecordingSink>, 2> sinks_;
};

// What holds for one stream whoever signals whom: it begins at the target, with a discontinuity, and goes on
// sample by sample.
void expect_fresh_segment(const RecordedSegment& segment, REFERENCE_TIME target) {
  EXPECT_EQ(segment.start, target);
  for (size_t i = 0; i < segment.samples.size(); ++i) {
    ASSERT_EQ((segment.samples[i].flags & AM_SAMPLE_DATADISCONTINUITY) != 0, i == 0) << i;
    ASSERT_EQ(segment.samples[i].size, segment.samples[0].size + i);
  }
}

enum class SoughtWhile { kStopped, kStreaming };

// What both have made of a seek together.
void expect_met(const RecordedSegment& audio, const RecordedSegment& video, REFERENCE_TIME target,
                SoughtWhile state) {
  ASSERT_FALSE(audio.samples.empty() || video.samples.empty());
  const REFERENCE_TIME audio_first = (audio.samples[0].size - 1) * kUnit;
  const REFERENCE_TIME video_first = (video.samples[0].size - 1) * kFrame;
  EXPECT_LE(audio_first, target);
  EXPECT_LT(target - audio_first, 3 * kUnit);
  // The look-up of a time may give the frame before.
  const REFERENCE_TIME earliest =
      std::max<REFERENCE_TIME>(target - kFrame, 0) / kSyncInterval * kSyncInterval;
  EXPECT_TRUE(video_first == target / kSyncInterval * kSyncInterval || video_first == earliest)
      << video_first;
  const REFERENCE_TIME base = audio_first > video_first ? audio_first : target;
  // Required: of a filter that was stopped, audio starts first and does not count on video. It may go by its
  // own time before video has told that it takes part.
  const bool alone = state == SoughtWhile::kStopped && audio.samples[0].start == 0;
  for (const RecordedSample& sample : audio.samples) {
    ASSERT_EQ(sample.start, (sample.size - 1) * kUnit - (alone ? audio_first : base));
  }
  for (const RecordedSample& sample : video.samples) {
    const REFERENCE_TIME time = (sample.size - 1) * kFrame;
    ASSERT_EQ(sample.start, time - base);
    ASSERT_EQ((sample.flags & AM_SAMPLE_PREROLL) != 0, time < audio_first) << sample.size;
  }
}

// One run of random steps, and how long the longest of them took.
class Soak {
 public:
  explicit Soak(uint32_t seed, bool alone) : random_(seed), alone_(alone) { player_.run(); }

  void seek_and_change(int seeks) {
    for (int i = 0; i < seeks && !testing::Test::HasFailure(); ++i) {
      SCOPED_TRACE(i);
      const REFERENCE_TIME target = static_cast<REFERENCE_TIME>(random_() % 59000) * kMs;
      timed([&] { EXPECT_EQ(player_.seek(target), S_OK); });
      stopped_since_seek_ = false;
      sought_while_ = stopped_ ? SoughtWhile::kStopped : SoughtWhile::kStreaming;
      if (one_in(2)) change_state();
      if (one_in(2)) continue;  // the next seek comes into this one
      if (stopped_) start();
      // A stop between the seek and the samples may have taken the first ones away.
      check(target, !stopped_since_seek_);
    }
  }
  steady_clock::duration longest() const { return longest_; }
  Player& player() { return player_; }

 private:
  bool one_in(uint32_t n) { return random_() % n == 0; }

  template <class Step>
  void timed(Step step) {
    watchdog_.step();
    const auto begin = steady_clock::now();
    step();
    longest_ = std::max(longest_, steady_clock::now() - begin);
  }

  void change_state() {
    switch (random_() % 6) {
      case 0:
        timed([&] { EXPECT_EQ(player_.stop(), S_OK); });
        stopped_since_seek_ = stopped_since_seek_ || !stopped_;
        stopped_ = true;
        break;
      case 1:
      case 2:
        timed([&] { EXPECT_EQ(player_.pause(), S_OK); });
        stopped_ = false;
        break;
      default:
        start();
    }
  }
  void start() {
    timed([&] { EXPECT_EQ(player_.run(), S_OK); });
    stopped_ = false;
  }

  void check(REFERENCE_TIME target, bool whole) {
    const size_t count = 1 + random_() % 30;
    timed([&] { ASSERT_TRUE(player_.sink(kAudio).wait_for(count) && player_.sink(kVideo).wait_for(count)); });
    if (!whole) return;
    const RecordedSegment audio = player_.sink(kAudio).segment();
    const RecordedSegment video = player_.sink(kVideo).segment();
    expect_fresh_segment(audio, target);
    expect_fresh_segment(video, target);
    if (alone_) expect_met(audio, video, target, sought_while_);
  }

  std::mt19937 random_;
  const bool alone_;
  Player player_;
  Watchdog watchdog_;
  bool stopped_ = false;
  bool stopped_since_seek_ = false;
  SoughtWhile sought_while_ = SoughtWhile::kStreaming;
  steady_clock::duration longest_{};
};

TEST(SeekSoak, EverySeekEndsWithBothStreamsAtItsPlace) {
  const char* const asked = std::getenv("ZDR_SOAK_SEEKS");
  const int seeks = asked != nullptr ? std::atoi(asked) : 300;
  const bool alone = std::getenv("ZDR_TEST_SESSION") == nullptr;
  Soak soak(static_cast<uint32_t>(seeks), alone);
  soak.seek_and_change(seeks);
  for (const size_t sink : {kAudio, kVideo}) {
    EXPECT_EQ(soak.player().sink(sink).breaches(), std::vector<std::string>{});
  }
  const auto longest = std::chrono::duration_cast<std::chrono::milliseconds>(soak.longest());
  RecordProperty("longest_step_ms", static_cast<int>(longest.count()));
  if (seeks < 1000) return;  // a busy machine may be slow once
  std::printf("%d seeks, the longest step took %d ms\n", seeks, static_cast<int>(longest.count()));
  EXPECT_LT(longest, std::chrono::seconds(1));
}

// Video has no buffer for its first frame, so audio waits for it, for as long as that may be.
TEST(SeekSoak, AStopEndsTheUnlimitedWaitForThePeer) {
  const Watchdog watchdog;
  Player player;
  player.run();
  for (const bool stop : {true, false}) {
    player.run();
    player.sink(kVideo).keep_buffers();
    ASSERT_EQ(player.seek(30500 * kMs), S_OK);
    EXPECT_TRUE(player.sink(kAudio).segment().samples.empty());
    if (stop) {
      const auto begin = steady_clock::now();
      EXPECT_EQ(player.stop(), S_OK);
      EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds(5));
      EXPECT_TRUE(player.sink(kAudio).segment().samples.empty());
      player.sink(kVideo).give_buffers_back();
      continue;
    }
    player.sink(kVideo).give_buffers_back();
    ASSERT_TRUE(player.sink(kAudio).wait_for(5) && player.sink(kVideo).wait_for(30));
    expect_met(player.sink(kAudio).segment(), player.sink(kVideo).segment(), 30500 * kMs,
               SoughtWhile::kStreaming);
  }
}

// --- Processes
// ----------------------------------------------------------------------------------------------

// This program once more, for a soak of its own in that session; null: in a private one.
pid_t start_soak(const char* session) {
  std::vector<std::string> variables{"ZDR_SOAK_SEEKS=100"};
  if (session != nullptr) variables.push_back(std::string("ZDR_TEST_SESSION=") + session);
  for (char** variable = environ; *variable != nullptr; ++variable) {
    if (std::string_view(*variable).substr(0, 9) != "ZDR_SOAK_") variables.emplace_back(*variable);
  }
  std::vector<char*> environment;
  for (std::string& variable : variables) environment.push_back(variable.data());
  environment.push_back(nullptr);
  std::string program = "/proc/self/exe";
  std::string filter = "--gtest_filter=SeekSoak.EverySeek*";
  char* arguments[] = {program.data(), filter.data(), nullptr};
  pid_t child = -1;
  EXPECT_EQ(posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environment.data()), 0);
  return child;
}

int exit_status(pid_t child) {
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}

// In a shared session each process takes signals of the other, which may end its waits early but never stops
// it or breaks the order of its streams; in sessions of their own the two don't meet at all.
TEST(SeekSoak, TwoProcessesSeekAtOnce) {
  const std::string shared = "zdr-soak-" + std::to_string(getpid());
  for (const char* session : {static_cast<const char*>(nullptr), shared.c_str()}) {
    const pid_t first = start_soak(session);
    const pid_t second = start_soak(session);
    EXPECT_EQ(exit_status(first), 0) << (session != nullptr ? session : "private");
    EXPECT_EQ(exit_status(second), 0);
  }
}

}  // namespace
}  // namespace zdr::tests
