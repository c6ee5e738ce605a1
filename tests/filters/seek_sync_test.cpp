// The resynchronisation of two workers without filter and pins: its rules, waits and signals.
#include "filters/source/mp4/sync/seek_sync.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <future>
#include <thread>

#include "filters/source/mp4/readers/owned_handles.h"

namespace zdr::test {
namespace {

using namespace mp4source;
using Sync = mp4source::SeekSync;  // the fixture has the name of the suite
using Rebase = Sync::Rebase;

constexpr REFERENCE_TIME kSecond = 10000000;
constexpr REFERENCE_TIME kBlink = kSecond / 50;
constexpr REFERENCE_TIME kHour = 3600 * kSecond;

class SeekSync : public ::testing::Test {
 protected:
  // A wait that does not end would hold the program for an hour.
  SeekSync() { alarm(60); }
  ~SeekSync() override { alarm(0); }

  using Pending = std::future<Sync::Outcome>;

  // As after a seek in which both streams take part and both workers play.
  void both_play() {
    sync.workers_stopped(true, true);
    sync.loop_entered(StreamKind::kAudio);
    sync.loop_entered(StreamKind::kVideo);
  }
  Pending start(StreamKind stream, REFERENCE_TIME first_time) {
    return std::async(std::launch::async,
                      [=, this] { return sync.resynchronise(stream, first_time, request.get()); });
  }
  // Repeats the action until the wait has ended, because an action before the start of the wait may have no
  // effect.
  template <class Action>
  static Sync::Outcome end_by(Pending& pending, Action action) {
    do {
      action();
    } while (pending.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready);
    return pending.get();
  }
  // True if the stream waits for its peer at all. A request is there already, and only a wait consumes it.
  bool waits(StreamKind stream, REFERENCE_TIME first_time) {
    const UniqueHandle stop(CreateEventW(nullptr, FALSE, TRUE, nullptr));
    sync.resynchronise(stream, first_time, stop.get());
    return WaitForSingleObject(stop.get(), 0) == WAIT_TIMEOUT;
  }
  static bool has_ended(Pending& pending) {
    return pending.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  }
  UniqueHandle av_data{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
  UniqueHandle seek_handling{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
  UniqueHandle request{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  Sync sync{av_data.get(), seek_handling.get()};
};

TEST_F(SeekSync, VideoStartsEarlierAndAudioWaitsUntilVideoHasCaughtUp) {
  both_play();
  Pending audio = start(StreamKind::kAudio, 2 * kHour);
  const Sync::Outcome video = sync.resynchronise(StreamKind::kVideo, kHour, request.get());
  EXPECT_EQ(video.rebase, Rebase::kBothPins);
  EXPECT_EQ(video.start, 2 * kHour);
  EXPECT_TRUE(sync.is_preroll(kHour, 0));
  EXPECT_TRUE(sync.is_preroll(2 * kHour - 1, 0));
  EXPECT_FALSE(has_ended(audio));  // the wait's limit is an hour
  EXPECT_FALSE(sync.is_preroll(2 * kHour, 0));
  const Sync::Outcome outcome = audio.get();
  EXPECT_EQ(outcome.rebase, Rebase::kBothPins);
  EXPECT_EQ(outcome.start, 2 * kHour);
}

// Whichever comes first, and with a signal left over from an earlier seek.
TEST_F(SeekSync, VideoWaitsForAudio) {
  for (int round = 0; round < 20; ++round) {
    both_play();
    SetEvent(av_data.get());
    Pending video = start(StreamKind::kVideo, kSecond);
    video.wait_for(std::chrono::milliseconds(round % 3));  // the delay only varies the timing
    EXPECT_EQ(sync.resynchronise(StreamKind::kAudio, kSecond + 10000, request.get()).rebase,
              Rebase::kBothPins);
    EXPECT_EQ(video.get().start, kSecond + 10000);
  }
}

TEST_F(SeekSync, AWaitForThePeerEndsWithThePeerASignalOrARequest) {
  const struct {
    std::string name;
    StreamKind waiting;
    std::function<void()> end;
    Rebase rebase;
  } kCases[] = {
      {"the peer has no sample", StreamKind::kVideo, [&] { sync.stream_ended(StreamKind::kAudio); },
       Rebase::kNone},
      {"the peer has ended", StreamKind::kAudio, [&] { sync.worker_ended(StreamKind::kVideo); },
       Rebase::kBothPins},
      {"a signal of another filter", StreamKind::kVideo, [&] { SetEvent(av_data.get()); }, Rebase::kNone},
      // While the time of video is unknown, audio does not wait for it to catch up, at any place of the file.
      {"the same for audio", StreamKind::kAudio, [&] { SetEvent(av_data.get()); }, Rebase::kBothPins},
      {"a request", StreamKind::kVideo, [&] { SetEvent(request.get()); }, Rebase::kNone},
  };
  for (const auto& each : kCases) {
    both_play();
    Pending pending = start(each.waiting, kHour);
    EXPECT_EQ(end_by(pending, each.end).rebase, each.rebase) << each.name;
  }
}

// Both workers ended with the stop, perhaps after video had its first sample, and audio starts before video.
TEST_F(SeekSync, AudioWaitsForVideoAfterAStopOnceTheFilterStarts) {
  for (const bool video_had_sample : {false, true}) {
    both_play();
    EXPECT_TRUE(!video_had_sample || waits(StreamKind::kVideo, 0));
    for (const StreamKind stream : {StreamKind::kAudio, StreamKind::kVideo}) {
      sync.loop_left(stream);
      sync.worker_ended(stream);
    }
    sync.filter_starting();
    sync.worker_created(StreamKind::kAudio);
    sync.loop_entered(StreamKind::kAudio);
    EXPECT_TRUE(waits(StreamKind::kAudio, kHour)) << video_had_sample;
  }
}

TEST_F(SeekSync, NoWorkerWaitsForWhatHasHappenedAlready) {
  both_play();
  sync.stream_ended(StreamKind::kAudio);
  EXPECT_FALSE(waits(StreamKind::kVideo, 0));
  EXPECT_TRUE(sync.is_preroll(0, kSecond));
  EXPECT_FALSE(sync.is_preroll(kSecond, kSecond));
  EXPECT_FALSE(sync.is_preroll(0, kSecond));  // the gate stays open
  sync.worker_ended(StreamKind::kAudio);
  both_play();  // with new workers
  EXPECT_TRUE(waits(StreamKind::kVideo, 0));
  // Unlike the signal of a first time, that of a video that has caught up may come before the wait for it.
  SetEvent(seek_handling.get());
  EXPECT_FALSE(waits(StreamKind::kAudio, kHour));
}

TEST_F(SeekSync, TheSecondWorkerSignalsTheFirst) {
  both_play();
  Pending audio = start(StreamKind::kAudio, 0);
  end_by(audio, [&] { SetEvent(av_data.get()); });
  ResetEvent(av_data.get());
  sync.resynchronise(StreamKind::kVideo, kSecond, request.get());
  EXPECT_EQ(WaitForSingleObject(av_data.get(), 0), WAIT_OBJECT_0);
}

TEST_F(SeekSync, TheWaitForVideoToCatchUpEndsWithARequestASignalOrVideosLoop) {
  const std::function<void()> kEnds[] = {[&] { SetEvent(request.get()); },
                                         [&] { sync.loop_left(StreamKind::kVideo); },
                                         [&] { SetEvent(seek_handling.get()); }};
  for (const std::function<void()>& end : kEnds) {
    both_play();
    ResetEvent(request.get());
    Pending audio = start(StreamKind::kAudio, kHour);
    EXPECT_EQ(sync.resynchronise(StreamKind::kVideo, 0, request.get()).rebase, Rebase::kBothPins);
    EXPECT_FALSE(has_ended(audio));
    EXPECT_EQ(end_by(audio, end).start, kHour);
  }
}

TEST_F(SeekSync, NoWaitDependsOnASignalThatAnotherFilterConsumes) {
  both_play();
  std::atomic<bool> done{false};
  std::thread thief([&] {
    while (!done) WaitForSingleObject(av_data.get(), 1);
  });
  Pending video = start(StreamKind::kVideo, 2 * kSecond);
  EXPECT_EQ(sync.resynchronise(StreamKind::kAudio, kSecond, request.get()).rebase, Rebase::kNone);
  EXPECT_EQ(video.get().rebase, Rebase::kNone);
  done = true;
  thief.join();
}

TEST_F(SeekSync, AnOldGateStaysUntilTheTimeOfAudioIsKnown) {
  both_play();
  Pending video = start(StreamKind::kVideo, 0);
  sync.resynchronise(StreamKind::kAudio, kBlink, request.get());
  video.get();
  EXPECT_TRUE(sync.is_preroll(0, 0));

  both_play();  // the next seek, while the gate is set; audio has no time yet
  EXPECT_TRUE(sync.is_preroll(4 * kSecond, 5 * kSecond));
  EXPECT_FALSE(sync.is_preroll(5 * kSecond, 5 * kSecond));
  // Audio waits for the difference of the two, which is short however late they are.
  video = start(StreamKind::kVideo, kHour);
  sync.resynchronise(StreamKind::kAudio, kHour + kBlink, request.get());
  video.get();
  EXPECT_TRUE(sync.is_preroll(kHour, kHour));
  EXPECT_FALSE(sync.is_preroll(kHour + kBlink, kHour));
}

// After a seek of a stopped filter, the worker that starts first does not rely on the other stream.
TEST_F(SeekSync, KeptFirstWorkerToStartDisarmsTheOtherStream) {
  for (const StreamKind stream : {StreamKind::kAudio, StreamKind::kVideo}) sync.pin_seeking(stream, false);
  both_play();
  sync.worker_created(StreamKind::kAudio);
  sync.worker_created(StreamKind::kVideo);
  sync.arm(StreamKind::kAudio);
  EXPECT_EQ(start(StreamKind::kAudio, kSecond).get().rebase, Rebase::kThisPin);
  // Video starts later, finds the time of audio, and moves both.
  sync.arm(StreamKind::kVideo);
  const Sync::Outcome video = sync.resynchronise(StreamKind::kVideo, kSecond - kBlink, request.get());
  EXPECT_EQ(video.rebase, Rebase::kBothPins);
  EXPECT_EQ(video.start, kSecond);
}

// A seek clears the latch of a pin without a worker, and sets that of the other pin for one with a worker.
TEST_F(SeekSync, KeptLatchesDecideWhetherTheFirstWorkerDisarmsTheOtherStream) {
  constexpr struct {
    bool audio_works;
    bool video_works;
    bool armed_after_audio;  // both streams, after the worker of audio has started
    bool armed_after_video;
  } kCases[] = {{false, false, false, false},
                {true, true, true, true},
                {false, true, true, true},
                {true, false, true, false}};
  for (const auto& row : kCases) {
    for (const StreamKind first : {StreamKind::kAudio, StreamKind::kVideo}) {
      both_play();
      Pending video = start(StreamKind::kVideo, 0);  // sets the gate, which stays while both are armed
      sync.resynchronise(StreamKind::kAudio, kBlink, request.get());
      video.get();
      sync.pin_seeking(StreamKind::kAudio, row.audio_works);
      sync.pin_seeking(StreamKind::kVideo, row.video_works);
      both_play();
      sync.worker_created(first);
      EXPECT_FALSE(sync.is_preroll(0, 0));
      const bool armed = first == StreamKind::kAudio ? row.armed_after_audio : row.armed_after_video;
      EXPECT_EQ(sync.is_preroll(0, 1), armed) << row.audio_works << row.video_works;
    }
  }
}

}  // namespace
}  // namespace zdr::test
