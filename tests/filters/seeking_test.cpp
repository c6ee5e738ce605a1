// IMediaSeeking, and what a seek makes of the streams.
#include <gtest/gtest.h>

#include <random>

#include "tests/filters/codec_tracks.h"
#include "tests/filters/sink_graph.h"

namespace zdr::tests {
namespace {

using test::MovieDescription;
using test::TrackDescription;

constexpr REFERENCE_TIME kMs = 10000;
constexpr DWORD kAbsolute = AM_SEEKING_AbsolutePositioning;
constexpr DWORD kRelative = AM_SEEKING_RelativePositioning;
constexpr DWORD kIncremental = AM_SEEKING_IncrementalPositioning;
constexpr DWORD kKeyFrame = AM_SEEKING_SeekToKeyFrame;

// A sample of this size tells its number.
constexpr uint32_t kSizeOfNone = 10;

void number_by_size(TrackDescription& track) {
  for (size_t i = 0; i < track.sizes.size(); ++i) track.sizes[i] = kSizeOfNone + static_cast<uint32_t>(i + 1);
}
uint32_t number_of(const SinkSample& sample) {
  return static_cast<uint32_t>(sample.data.size()) - kSizeOfNone;
}

constexpr REFERENCE_TIME kFrame = 40 * kMs;
constexpr REFERENCE_TIME kUnit = 20 * kMs;
constexpr uint32_t kSyncEvery = 25;

// 25 frames a second with a sync sample each second, and speech of 20 ms a unit; both for 8 s.
MovieDescription numbered_movie(uint32_t frames = 200, uint32_t units = 400) {
  TrackDescription video = test::avc_track(frames);
  video.durations = {40};
  for (uint32_t number = 1; number <= frames; number += kSyncEvery) video.sync_samples.push_back(number);
  TrackDescription audio = evrc_track(units);
  number_by_size(video);
  number_by_size(audio);
  return {.tracks = {audio, video}};
}

// --- The interface -----------------------------------------------------------------------------------------

TEST(Seeking, AnswersOfTheInterface) {
  FilterUnderTest under_test(numbered_movie());
  const auto seeking = under_test.seeking(0);
  DWORD caps = 0;
  EXPECT_EQ(seeking->GetCapabilities(&caps), S_OK);
  EXPECT_EQ(caps, 55u);  // required: the current position is told, but not announced
  const struct {
    DWORD asked;
    HRESULT result;
    DWORD kept;
  } kCapabilities[] = {
      {0x05, S_OK, 0x05}, {0x48, E_FAIL, 0}, {0x40, E_FAIL, 0}, {0x41, S_FALSE, 1}, {0, S_OK, 0}};
  for (const auto& each : kCapabilities) {
    caps = each.asked;
    EXPECT_EQ(seeking->CheckCapabilities(&caps), each.result) << each.asked;
    EXPECT_EQ(caps, each.kept) << each.asked;
  }
  EXPECT_EQ(seeking->IsFormatSupported(&TIME_FORMAT_MEDIA_TIME), S_OK);
  EXPECT_EQ(seeking->IsFormatSupported(&TIME_FORMAT_FRAME), S_FALSE);
  EXPECT_EQ(seeking->IsUsingTimeFormat(&TIME_FORMAT_NONE), S_FALSE);
  GUID format{};
  EXPECT_EQ(seeking->QueryPreferredFormat(&format), S_OK);
  EXPECT_EQ(format, TIME_FORMAT_MEDIA_TIME);
  format = {};
  EXPECT_EQ(seeking->GetTimeFormat(&format), S_OK);
  EXPECT_EQ(format, TIME_FORMAT_MEDIA_TIME);
  LONGLONG earliest = -1;
  LONGLONG latest = -1;
  EXPECT_EQ(seeking->GetDuration(&latest), S_OK);
  EXPECT_EQ(latest, 8000 * kMs);
  EXPECT_EQ(seeking->GetAvailable(&earliest, nullptr), S_OK);
  EXPECT_EQ(seeking->GetAvailable(nullptr, &latest), S_OK);
  EXPECT_EQ(earliest, 0);
  EXPECT_EQ(latest, 8000 * kMs);
  double rate = 0;
  EXPECT_EQ(seeking->SetRate(2.0), E_NOTIMPL);
  EXPECT_EQ(seeking->GetRate(&rate), S_OK);
  EXPECT_EQ(rate, 1.0);
  // Required: not there for any argument.
  EXPECT_EQ(seeking->SetTimeFormat(&TIME_FORMAT_MEDIA_TIME), E_NOTIMPL);
  EXPECT_EQ(seeking->SetTimeFormat(nullptr), E_NOTIMPL);
  EXPECT_EQ(seeking->ConvertTimeFormat(nullptr, nullptr, 0, nullptr), E_NOTIMPL);
  EXPECT_EQ(seeking->GetPreroll(nullptr), E_NOTIMPL);
}

TEST(Seeking, RefusesNullPointers) {
  FilterUnderTest under_test(numbered_movie());
  const auto seeking = under_test.seeking(1);
  LONGLONG position = 0;
  EXPECT_EQ(seeking->GetCapabilities(nullptr), E_POINTER);
  EXPECT_EQ(seeking->CheckCapabilities(nullptr), E_POINTER);
  EXPECT_EQ(seeking->IsFormatSupported(nullptr), E_POINTER);
  EXPECT_EQ(seeking->QueryPreferredFormat(nullptr), E_POINTER);
  EXPECT_EQ(seeking->GetTimeFormat(nullptr), E_POINTER);
  EXPECT_EQ(seeking->IsUsingTimeFormat(nullptr), E_POINTER);
  EXPECT_EQ(seeking->GetDuration(nullptr), E_POINTER);
  EXPECT_EQ(seeking->GetStopPosition(nullptr), E_POINTER);
  EXPECT_EQ(seeking->GetCurrentPosition(nullptr), E_POINTER);
  EXPECT_EQ(seeking->GetRate(nullptr), E_POINTER);
  // Required: both or none.
  EXPECT_EQ(seeking->GetPositions(&position, nullptr), E_POINTER);
  EXPECT_EQ(seeking->GetPositions(nullptr, &position), E_POINTER);
}

TEST(Seeking, SetPositionsMovesAllPins) {
  constexpr REFERENCE_TIME kStart = 1000 * kMs;  // before each case
  constexpr REFERENCE_TIME kStop = 5000 * kMs;
  const struct {
    std::string name;
    LONGLONG current;
    DWORD current_flags;
    LONGLONG stop;
    DWORD stop_flags;
    HRESULT result;
    REFERENCE_TIME expected_start;
    REFERENCE_TIME expected_stop;
  } kCases[] = {
      {"absolute", 7 * kMs, kAbsolute, 9 * kMs, kAbsolute, S_OK, 7 * kMs, 9 * kMs},
      {"start alone", 7 * kMs, kAbsolute, 0, 0, S_OK, 7 * kMs, kStop},
      {"stop alone", 0, 0, 9 * kMs, kAbsolute, S_OK, kStart, 9 * kMs},
      {"nothing", 7, 0, 9, 0, S_OK, kStart, kStop},
      {"relative", 7, kRelative, 9, kRelative, S_OK, kStart + 7, kStop + 9},
      {"stop counts from the new start", 7, kRelative, 9, kIncremental, S_OK, kStart + 7, kStart + 16},
      {"required: no order, no bounds", -5, kAbsolute, -9, kAbsolute, S_OK, -5, -9},
      {"required: key frame in current", 7, kAbsolute | kKeyFrame, 0, 0, S_OK, 7, kStop},
      {"required: not in stop", 7, kAbsolute, 9, kAbsolute | kKeyFrame, E_INVALIDARG, kStart, kStop},
      {"modifiers alone", 7, kKeyFrame, 0, 0, E_INVALIDARG, kStart, kStop},
      {"incremental current", 7, kIncremental, 0, 0, E_INVALIDARG, kStart, kStop},
      {"wraps", INT64_MAX, kRelative, 0, 0, S_OK, INT64_MIN + kStart - 1, kStop},
  };
  for (const auto& each : kCases) {
    FilterUnderTest under_test(numbered_movie());
    LONGLONG start = kStart;
    LONGLONG stop = kStop;
    ASSERT_EQ(under_test.seeking(1)->SetPositions(&start, kAbsolute, &stop, kAbsolute), S_OK);
    start = each.current;
    stop = each.stop;
    EXPECT_EQ(under_test.seeking(1)->SetPositions(&start, each.current_flags, &stop, each.stop_flags),
              each.result)
        << each.name;
    for (const int pin : {0, 1}) {
      EXPECT_EQ(under_test.seeking(pin)->GetPositions(&start, &stop), S_OK);
      EXPECT_EQ(start, each.expected_start) << each.name;
      EXPECT_EQ(stop, each.expected_stop) << each.name;
    }
  }
  FilterUnderTest under_test(numbered_movie());
  EXPECT_EQ(under_test.seeking(0)->SetPositions(nullptr, kAbsolute, nullptr, 0), E_POINTER);
  EXPECT_EQ(under_test.seeking(0)->SetPositions(nullptr, 0, nullptr, kAbsolute), E_POINTER);
  EXPECT_EQ(under_test.seeking(0)->SetPositions(nullptr, 0, nullptr, 0), S_OK);
}

// --- One stream, without threads ---------------------------------------------------------------------------

TEST(Seeking, StartsAtTheSyncSampleBefore) {
  const struct {
    REFERENCE_TIME target;
    uint32_t number;
    bool preroll;
  } kCases[] = {
      {0, 1, false},
      {500 * kMs, 1, true},
      {1040 * kMs, 26, true},
      // Required: the look-up forward gives the frame before the one that starts here.
      {1000 * kMs, 1, true},
      {-3000 * kMs, 1, false},
      {7990 * kMs, 176, true},
  };
  for (const auto& each : kCases) {
    FilterUnderTest under_test({.tracks = {numbered_movie().tracks[1]}});
    LONGLONG start = each.target;
    under_test.seeking(0)->SetPositions(&start, kAbsolute, nullptr, 0);
    FakeSample sample(1000);
    ASSERT_EQ(under_test.fill(0, sample), S_OK) << each.target;
    EXPECT_EQ(static_cast<uint32_t>(sample.length) - kSizeOfNone, each.number) << each.target;
    EXPECT_TRUE(sample.discontinuity && sample.sync);
    EXPECT_EQ(sample.preroll, each.preroll) << each.target;
    // Stamps count from the target.
    EXPECT_EQ(sample.start, (each.number - 1) * kFrame - each.target);
    FakeSample next(1000);
    ASSERT_EQ(under_test.fill(0, next), S_OK);
    EXPECT_FALSE(next.discontinuity);
  }
}

TEST(Seeking, AudioAloneStartsItsStampsAtItsFirstUnit) {
  FilterUnderTest under_test({.tracks = {numbered_movie().tracks[0]}});
  LONGLONG start = 1010 * kMs;
  under_test.seeking(0)->SetPositions(&start, kAbsolute, nullptr, 0);
  FakeSample sample(1000);
  ASSERT_EQ(under_test.fill(0, sample), S_OK);
  EXPECT_EQ(sample.start, 0);
  EXPECT_EQ(under_test.fill(0, sample), S_OK);
  EXPECT_EQ(sample.start, kUnit);
}

TEST(Seeking, EndsAtOnceBehindTheStopPosition) {
  for (const REFERENCE_TIME target : {8001 * kMs, REFERENCE_TIME{INT64_MAX}}) {
    FilterUnderTest under_test({.tracks = {numbered_movie().tracks[1]}});
    LONGLONG start = target;
    under_test.seeking(0)->SetPositions(&start, kAbsolute, nullptr, 0);
    FakeSample sample(1000);
    EXPECT_EQ(under_test.fill(0, sample), S_FALSE);
    // Required: the seek is over with that; what is filled next goes on where the track was, before the
    // start.
    ASSERT_EQ(under_test.fill(0, sample), S_OK);
    EXPECT_EQ(static_cast<uint32_t>(sample.length) - kSizeOfNone, 1u);
    EXPECT_EQ(sample.start, -target);
  }
}

// A frame before the start is shown after all when the next one lies behind the stop. The comparison is made
// in 32 bits, which last for 429 s.
TEST(Seeking, RequiredLastFrameBeforeTheStopIsShownInTheFirst429Seconds) {
  for (const bool late : {false, true}) {
    TrackDescription track = test::avc_track(4);
    track.durations = {late ? 430000u : 1000u, 1000};
    track.sync_samples = {1, 2, 3, 4};
    FilterUnderTest under_test(track);
    LONGLONG start = (track.durations[0] + 500) * kMs;  // half-way between the second and the third frame
    LONGLONG stop = start + kMs;
    under_test.seeking(0)->SetPositions(&start, kAbsolute, &stop, kAbsolute);
    FakeSample sample(1000);
    ASSERT_EQ(under_test.fill(0, sample), S_OK);
    while (sample.start < -1000 * kMs && under_test.fill(0, sample) == S_OK) {  // the look-up lands early
    }
    EXPECT_EQ(sample.start, -500 * kMs);
    EXPECT_EQ(sample.preroll, late);
  }
}

TEST(Seeking, RequiredStopAloneGoesBackToTheSegmentStart) {
  FilterUnderTest under_test({.tracks = {numbered_movie().tracks[1]}});
  FakeSample sample(1000);
  for (int i = 0; i < 5; ++i) under_test.fill(0, sample);
  LONGLONG stop = 3000 * kMs;
  under_test.seeking(0)->SetPositions(nullptr, 0, &stop, kAbsolute);
  ASSERT_EQ(under_test.fill(0, sample), S_OK);
  EXPECT_EQ(static_cast<uint32_t>(sample.length) - kSizeOfNone, 1u);
  EXPECT_TRUE(sample.discontinuity);
}

TEST(Seeking, RequiredCurrentPositionCountsFromTheSegmentStart) {
  FilterUnderTest under_test({.tracks = {numbered_movie().tracks[1]}});
  LONGLONG position = 1040 * kMs;
  under_test.seeking(0)->SetPositions(&position, kAbsolute, nullptr, 0);
  FakeSample sample(1000);
  for (const REFERENCE_TIME expected : {-40 * kMs, REFERENCE_TIME{0}, 40 * kMs}) {
    ASSERT_EQ(under_test.fill(0, sample), S_OK);
    EXPECT_EQ(under_test.seeking(0)->GetCurrentPosition(&position), S_OK);
    EXPECT_EQ(position, expected);
  }
}

// A late renderer makes the pin skip to the next sync sample, if that is nearer than the delay.
TEST(Seeking, LatenessSkipsToTheNextSyncSample) {
  const struct {
    int frames_played;
    REFERENCE_TIME late;
    uint32_t next;
  } kCases[] = {
      {1, 949 * kMs, 2},  // 960 ms to the next one, less 10 ms
      {1, 951 * kMs, 26},
      {10, 589 * kMs, 11},
      {10, 591 * kMs, 26},
      {25, 100 * kMs, 26},  // it comes next anyway
      {199, 5000 * kMs, 200},
      {0, 5000 * kMs, 1},  // required: nothing is known before the first frame
      // Required: behind the last sync sample the time runs below 0, and there is nothing to skip to.
      {190, 0, 191},
  };
  for (const auto& each : kCases) {
    FilterUnderTest under_test({.tracks = {numbered_movie().tracks[1]}});
    FakeSample sample(1000);
    for (int i = 0; i < each.frames_played; ++i) ASSERT_EQ(under_test.fill(0, sample), S_OK);
    EXPECT_EQ(under_test.pin(0).Notify(nullptr, {Famine, 500, each.late, 0}), S_OK);
    ASSERT_EQ(under_test.fill(0, sample), S_OK);
    EXPECT_EQ(static_cast<uint32_t>(sample.length) - kSizeOfNone, each.next) << each.frames_played;
  }
}

// --- Both streams, with their workers ----------------------------------------------------------------------

// What a seek to `target` must have made of the two streams.
void expect_sought(SinkGraph& graph, REFERENCE_TIME target) {
  SCOPED_TRACE(target);
  const std::vector<SinkSample> audio = graph.segment(0);
  const std::vector<SinkSample> video = graph.segment(1);
  ASSERT_FALSE(audio.empty());
  ASSERT_FALSE(video.empty());
  const REFERENCE_TIME audio_first = (number_of(audio[0]) - 1) * kUnit;
  const uint32_t first_frame = number_of(video[0]);
  // The look-up of the time lands at most one early, that of the sync sample of audio at most another one.
  EXPECT_LT(target - audio_first, 3 * kUnit);
  EXPECT_LE(audio_first, target);
  EXPECT_EQ(first_frame % kSyncEvery, 1u);
  const auto frame_of_target = static_cast<uint32_t>(target / kFrame + 1);
  EXPECT_TRUE(frame_of_target - first_frame < kSyncEvery + 1) << first_frame << ' ' << frame_of_target;
  const bool rebased = audio_first > (first_frame - 1) * kFrame;
  const REFERENCE_TIME base = rebased ? audio_first : target;
  for (size_t i = 0; i < audio.size(); ++i) {
    EXPECT_EQ((audio[i].flags & AM_SAMPLE_DATADISCONTINUITY) != 0, i == 0);
    EXPECT_EQ(number_of(audio[i]), number_of(audio[0]) + i);
    EXPECT_EQ(audio[i].start, (number_of(audio[i]) - 1) * kUnit - base);
  }
  for (size_t i = 0; i < video.size(); ++i) {
    const REFERENCE_TIME time = (first_frame + i - 1) * static_cast<uint64_t>(kFrame);
    EXPECT_EQ((video[i].flags & AM_SAMPLE_DATADISCONTINUITY) != 0, i == 0);
    EXPECT_EQ(number_of(video[i]), first_frame + i);
    EXPECT_EQ(video[i].start, time - base);
    EXPECT_EQ((video[i].flags & AM_SAMPLE_PREROLL) != 0, rebased && time < audio_first) << i;
  }
}

TEST(Seeking, InEveryStateMovesBothStreams) {
  std::mt19937 random(3);
  SinkGraph graph(numbered_movie());
  for (int i = 0; i < 40; ++i) {
    SCOPED_TRACE(i);
    const REFERENCE_TIME target = static_cast<REFERENCE_TIME>(random() % 7900) * kMs;
    if (random() % 4 == 0) graph.stop();
    if (random() % 4 == 0) graph.pause();
    ASSERT_EQ(graph.seek(target), S_OK);
    ASSERT_EQ(graph.run(), S_OK);
    ASSERT_TRUE(graph.wait_for_ends());
    expect_sought(graph, target);
  }
  EXPECT_EQ(graph.breaches(), std::vector<std::string>{});
}

TEST(Seeking, InMidStreamManyTimes) {
  std::mt19937 random(5);
  SinkGraph graph(numbered_movie());
  graph.run();
  REFERENCE_TIME target = 0;
  for (int i = 0; i < 300; ++i) {
    target = static_cast<REFERENCE_TIME>(random() % 7900) * kMs;
    ASSERT_EQ(graph.seek(target), S_OK);
    if (random() % 3 == 0) std::this_thread::yield();
    if (random() % 20 == 0) graph.stop();
    if (random() % 20 == 0) graph.pause();
    graph.run();
  }
  ASSERT_EQ(graph.seek(target), S_OK);
  ASSERT_TRUE(graph.wait_for_ends());
  expect_sought(graph, target);
  EXPECT_EQ(graph.breaches(), std::vector<std::string>{});
}

// The events are shared by name, so each filter takes signals of the other.
TEST(Seeking, TwoFiltersAtATime) {
  SinkGraph graphs[2] = {SinkGraph(numbered_movie()), SinkGraph(numbered_movie())};
  const auto play = [](SinkGraph& graph, uint32_t seed) {
    std::mt19937 random(seed);
    graph.run();
    for (int i = 0; i < 60; ++i) {
      EXPECT_EQ(graph.seek(static_cast<REFERENCE_TIME>(random() % 7900) * kMs), S_OK);
      if (random() % 8 == 0) graph.stop();
      EXPECT_EQ(graph.run(), S_OK);
      EXPECT_TRUE(random() % 4 != 0 || graph.wait_for_ends());
    }
    EXPECT_TRUE(graph.wait_for_ends());
  };
  std::thread other(play, std::ref(graphs[1]), 11);
  play(graphs[0], 12);
  other.join();
  for (SinkGraph& graph : graphs) EXPECT_EQ(graph.breaches(), std::vector<std::string>{});
}

TEST(Seeking, AStreamThatIsNotPlayedIsNotWaitedFor) {
  SinkGraph graph(numbered_movie());
  graph.run();
  graph.seek(3000 * kMs);
  ASSERT_TRUE(graph.wait_for_ends());
  graph.stop();
  graph.disconnect(1);
  graph.run();
  graph.seek(2000 * kMs);
  ASSERT_TRUE(graph.wait_for_end(0));
  graph.stop();
  // Sought while it was connected, and left out afterwards.
  ASSERT_EQ(graph.connect(1), S_OK);
  graph.seek(2000 * kMs);
  graph.disconnect(0);
  graph.run();
  ASSERT_TRUE(graph.wait_for_end(1));
  EXPECT_EQ(graph.breaches(), std::vector<std::string>{});
}

TEST(Seeking, AStreamThatHasEndedIsNotWaitedFor) {
  SinkGraph graph(numbered_movie(50));  // video ends after 2 s
  graph.run();
  for (int i = 0; i < 2; ++i) {
    LONGLONG start = 7000 * kMs;
    LONGLONG stop = 8000 * kMs;
    ASSERT_EQ(graph.under_test.seeking(0)->SetPositions(&start, kAbsolute, &stop, kAbsolute), S_OK);
    ASSERT_TRUE(graph.wait_for_end(0));
    // Video lies within its stop position now: it plays its last frames, all before audio's first.
    ASSERT_TRUE(graph.wait_for_end(1));
  }
}

// The sink keeps the first frame, so audio has seconds to wait for video; a stop does not wait with it.
TEST(Seeking, AStopEndsAWaitForThePeer) {
  SinkGraph graph(numbered_movie());
  graph.sink(1).hold();
  graph.pause();
  ASSERT_TRUE(graph.sink(1).wait_until_held());
  graph.seek(7960 * kMs);  // from a sync sample 7000 ms
  ASSERT_TRUE(graph.sink(1).wait_until_held());
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(graph.stop(), S_OK);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

}  // namespace
}  // namespace zdr::tests
