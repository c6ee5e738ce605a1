// The resynchronisation of two workers, without filter and pins: events, threads and the rules.
#include "filters/source/mp4/seek_sync.h"

#include <gtest/gtest.h>

#include <future>

#include "filters/source/mp4/owned_handles.h"

namespace zdr::mp4source {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Rebase = SeekSync::Rebase;

constexpr REFERENCE_TIME kSecond = 10000000;
constexpr REFERENCE_TIME kBlink = kSecond / 50;
constexpr REFERENCE_TIME kHour = 3600 * kSecond;
constexpr seconds kPatience{20};
// How long something that must not happen is given to happen.
constexpr milliseconds kCalm{60};

class SeekSyncTest : public ::testing::Test {
 protected:
  using Pending = std::future<SeekSync::Outcome>;

  // As after a seek in which both streams take part and both workers play.
  void both_play() {
    sync.workers_stopped(true, true);
    sync.loop_entered(Stream::kAudio);
    sync.loop_entered(Stream::kVideo);
  }

  Pending start(Stream stream, REFERENCE_TIME first_time) {
    return std::async(std::launch::async,
                      [=, this] { return sync.resynchronise(stream, first_time, request.get()); });
  }
  SeekSync::Outcome finish(Pending& pending) {
    EXPECT_EQ(pending.wait_for(kPatience), std::future_status::ready);
    return pending.get();
  }
  // Signals until the wait has ended: one that comes before the wait has begun is discarded.
  SeekSync::Outcome release(Pending& pending) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    do {
      SetEvent(av_data.get());
    } while (pending.wait_for(milliseconds(1)) != std::future_status::ready &&
             std::chrono::steady_clock::now() < end);
    return finish(pending);
  }
  static bool waits(Pending& pending) { return pending.wait_for(kCalm) == std::future_status::timeout; }
  static bool signalled(const UniqueHandle& event) {
    return WaitForSingleObject(event.get(), 0) == WAIT_OBJECT_0;
  }

  UniqueHandle av_data{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
  UniqueHandle seek_handling{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
  UniqueHandle request{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  SeekSync sync{av_data.get(), seek_handling.get()};
};

TEST_F(SeekSyncTest, VideoStartsEarlierAndAudioWaitsUntilVideoHasCaughtUp) {
  both_play();
  Pending audio = start(Stream::kAudio, kHour);
  Pending video = start(Stream::kVideo, kHour - 2 * kSecond);
  const SeekSync::Outcome video_outcome = finish(video);
  EXPECT_EQ(video_outcome.rebase, Rebase::kBothPins);
  EXPECT_EQ(video_outcome.start, kHour);
  EXPECT_TRUE(sync.is_preroll(kHour - 2 * kSecond, 0));
  EXPECT_TRUE(sync.is_preroll(kHour - 1, 0));
  EXPECT_TRUE(waits(audio));
  EXPECT_FALSE(sync.is_preroll(kHour, 0));
  const SeekSync::Outcome audio_outcome = finish(audio);
  EXPECT_EQ(audio_outcome.rebase, Rebase::kBothPins);
  EXPECT_EQ(audio_outcome.start, kHour);
}

TEST_F(SeekSyncTest, WaitsAtMostForTheDifferenceOfTheTimes) {
  both_play();
  Pending video = start(Stream::kVideo, 0);
  Pending audio = start(Stream::kAudio, kBlink);
  EXPECT_EQ(finish(audio).rebase, Rebase::kBothPins);
  EXPECT_EQ(finish(video).rebase, Rebase::kBothPins);
}

TEST_F(SeekSyncTest, NothingMovesWhenAudioStartsNoLater) {
  for (const REFERENCE_TIME audio_first : {kSecond, 2 * kSecond}) {
    both_play();
    Pending audio = start(Stream::kAudio, audio_first);
    Pending video = start(Stream::kVideo, 2 * kSecond);
    EXPECT_EQ(finish(audio).rebase, Rebase::kNone);
    EXPECT_EQ(finish(video).rebase, Rebase::kNone);
    EXPECT_FALSE(sync.is_preroll(0, kHour));
  }
}

TEST_F(SeekSyncTest, AStreamAloneGoesByItsOwnTime) {
  sync.workers_stopped(false, true);
  EXPECT_EQ(sync.resynchronise(Stream::kVideo, kSecond, request.get()).rebase, Rebase::kNone);
  EXPECT_TRUE(sync.is_preroll(kSecond, 2 * kSecond));
  EXPECT_FALSE(sync.is_preroll(2 * kSecond, 2 * kSecond));
  EXPECT_FALSE(sync.is_preroll(kSecond, 2 * kSecond));  // once only
  EXPECT_FALSE(signalled(seek_handling));

  sync.workers_stopped(true, false);
  const SeekSync::Outcome audio = sync.resynchronise(Stream::kAudio, kSecond, request.get());
  EXPECT_EQ(audio.rebase, Rebase::kThisPin);
  EXPECT_EQ(audio.start, kSecond);
}

TEST_F(SeekSyncTest, AStreamThatEndsReleasesItsPeer) {
  both_play();
  Pending video = start(Stream::kVideo, kSecond);
  EXPECT_TRUE(waits(video));
  sync.stream_ended(Stream::kAudio);
  EXPECT_EQ(finish(video).rebase, Rebase::kNone);
  EXPECT_TRUE(sync.is_preroll(kSecond, 2 * kSecond));  // as video alone
}

TEST_F(SeekSyncTest, ASignalLeftOverFromAnEarlierSeekDoesNotCount) {
  both_play();
  SetEvent(av_data.get());
  Pending video = start(Stream::kVideo, kSecond);
  EXPECT_TRUE(waits(video));
  Pending audio = start(Stream::kAudio, 2 * kSecond);
  EXPECT_EQ(finish(video).rebase, Rebase::kBothPins);
  EXPECT_FALSE(sync.is_preroll(2 * kSecond, 0));
  finish(audio);
}

TEST_F(SeekSyncTest, AStrangersSignalReleasesTheWait) {
  both_play();
  Pending video = start(Stream::kVideo, kSecond);
  EXPECT_TRUE(waits(video));
  EXPECT_EQ(release(video).rebase, Rebase::kNone);
  // Audio without a time of video has nothing to wait for, however far in the file it is.
  sync.workers_stopped(true, true);
  Pending audio = start(Stream::kAudio, kHour);
  EXPECT_TRUE(waits(audio));
  EXPECT_EQ(release(audio).rebase, Rebase::kBothPins);
}

TEST_F(SeekSyncTest, NoWaitDependsOnASignalThatAStrangerTakes) {
  both_play();
  // The longest waiting takes a signal, so the thief goes first.
  auto thief = std::async(std::launch::async, [this] { return WaitForSingleObject(av_data.get(), 20000); });
  EXPECT_EQ(thief.wait_for(kCalm), std::future_status::timeout);
  Pending video = start(Stream::kVideo, 2 * kSecond);
  EXPECT_TRUE(waits(video));
  Pending audio = start(Stream::kAudio, kSecond);
  EXPECT_EQ(finish(video).rebase, Rebase::kNone);
  EXPECT_EQ(finish(audio).rebase, Rebase::kNone);
  EXPECT_EQ(thief.get(), WAIT_OBJECT_0);
}

TEST_F(SeekSyncTest, EveryWaitEndsByARequestToTheWorker) {
  both_play();
  Pending video = start(Stream::kVideo, kSecond);
  EXPECT_TRUE(waits(video));
  SetEvent(request.get());
  finish(video);

  ResetEvent(request.get());
  both_play();
  Pending early_video = start(Stream::kVideo, 0);
  Pending audio = start(Stream::kAudio, kHour);
  finish(early_video);
  EXPECT_TRUE(waits(audio));
  SetEvent(request.get());
  finish(audio);
}

TEST_F(SeekSyncTest, AudioDoesNotWaitForVideoThatHasLeftItsLoop) {
  both_play();
  Pending video = start(Stream::kVideo, 0);
  Pending audio = start(Stream::kAudio, kHour);
  finish(video);
  EXPECT_TRUE(waits(audio));
  sync.loop_left(Stream::kVideo);
  EXPECT_EQ(finish(audio).rebase, Rebase::kBothPins);
}

TEST_F(SeekSyncTest, APeerWhoseWorkerHasEndedIsNotAwaited) {
  both_play();
  Pending audio = start(Stream::kAudio, kSecond);
  EXPECT_TRUE(waits(audio));
  sync.worker_ended(Stream::kVideo);
  finish(audio);
}

TEST_F(SeekSyncTest, AnOldGateStaysForTheFramesBeforeATimeNotYetKnown) {
  both_play();
  Pending video = start(Stream::kVideo, 0);
  Pending audio = start(Stream::kAudio, kBlink);
  finish(video);
  finish(audio);
  EXPECT_TRUE(sync.is_preroll(0, 0));

  both_play();  // the next seek, while the gate is set; audio is not there yet
  EXPECT_TRUE(sync.is_preroll(4 * kSecond, 5 * kSecond));
  EXPECT_FALSE(sync.is_preroll(5 * kSecond, 5 * kSecond));
  audio = start(Stream::kAudio, 5 * kSecond + kBlink);
  video = start(Stream::kVideo, 5 * kSecond);
  finish(video);
  EXPECT_TRUE(sync.is_preroll(5 * kSecond, 5 * kSecond));
  EXPECT_FALSE(sync.is_preroll(5 * kSecond + kBlink, 5 * kSecond));
  finish(audio);
}

// After a seek of a stopped filter the worker that starts first does not count on the other stream.
TEST_F(SeekSyncTest, RequiredFirstWorkerToStartDisarmsTheOtherStream) {
  sync.pin_sought(Stream::kAudio, false);
  sync.pin_sought(Stream::kVideo, false);
  sync.workers_stopped(true, true);
  sync.worker_created(Stream::kAudio);
  sync.worker_created(Stream::kVideo);
  sync.arm(Stream::kAudio);
  EXPECT_EQ(sync.resynchronise(Stream::kAudio, kSecond, request.get()).rebase, Rebase::kThisPin);
  // Video comes later, finds audio, and moves both.
  sync.arm(Stream::kVideo);
  const SeekSync::Outcome video = sync.resynchronise(Stream::kVideo, 0, request.get());
  EXPECT_EQ(video.rebase, Rebase::kBothPins);
  EXPECT_EQ(video.start, kSecond);
}

TEST_F(SeekSyncTest, RunningWorkersDisarmNobody) {
  sync.pin_sought(Stream::kAudio, false);
  sync.pin_sought(Stream::kVideo, false);
  sync.pin_sought(Stream::kAudio, true);
  sync.pin_sought(Stream::kVideo, true);
  both_play();
  sync.worker_created(Stream::kAudio);
  Pending audio = start(Stream::kAudio, kSecond);
  EXPECT_TRUE(waits(audio));
  sync.stream_ended(Stream::kVideo);
  finish(audio);
}

}  // namespace
}  // namespace zdr::mp4source
