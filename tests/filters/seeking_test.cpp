// IMediaSeeking, and the streams after a seek.
#include <gtest/gtest.h>

#include <array>

#include "tests/filters/codecs.h"
#include "tests/filters/sink_graph.h"

namespace zdr::test {
namespace {

constexpr DWORD kAbsolute = AM_SEEKING_AbsolutePositioning;
constexpr DWORD kRelative = AM_SEEKING_RelativePositioning;
constexpr DWORD kIncremental = AM_SEEKING_IncrementalPositioning;
constexpr DWORD kKeyFrame = AM_SEEKING_SeekToKeyFrame;

constexpr REFERENCE_TIME kFrame = 40 * kMs;

uint32_t number_of(const Filled& sample) {
  return static_cast<uint32_t>(sample.data.size());
}

// Audio and video of 8 s.
MovieDescription long_movie(uint32_t frames = 200) {
  return numbered_movie(frames, 400);
}

// Its video alone.
struct Video : FilterUnderTest {
  Video() : FilterUnderTest(long_movie().tracks[1]) {}
};

// --- The interface ---

TEST(Seeking, KeptStatusesOfTheInterface) {
  FilterUnderTest under_test(long_movie());
  IMediaSeeking& seeking = under_test.pin(0);
  DWORD capabilities = 0;
  EXPECT_EQ(seeking.GetCapabilities(&capabilities), S_OK);
  EXPECT_EQ(capabilities, 55u);  // AM_SEEKING_CanGetCurrentPos is not set
  const std::tuple<DWORD, HRESULT, DWORD> kCapabilities[] = {
      {0x05, S_OK, 0x05}, {0x48, E_FAIL, 0}, {0x40, E_FAIL, 0}, {0x41, S_FALSE, 1}, {0, S_OK, 0}};
  for (const auto& [requested, result, available] : kCapabilities) {
    capabilities = requested;
    EXPECT_EQ(seeking.CheckCapabilities(&capabilities), result) << requested;
    EXPECT_EQ(capabilities, available) << requested;
  }
  GUID formats[2]{};
  LONGLONG times[2] = {-1, -1};
  double rate = 0;
  const std::pair<HRESULT, HRESULT> kResults[] = {
      {S_OK, seeking.IsFormatSupported(&TIME_FORMAT_MEDIA_TIME)},
      {S_FALSE, seeking.IsFormatSupported(&TIME_FORMAT_FRAME)},
      {S_FALSE, seeking.IsUsingTimeFormat(&TIME_FORMAT_NONE)},
      {S_OK, seeking.QueryPreferredFormat(&formats[0])},
      {S_OK, seeking.GetTimeFormat(&formats[1])},
      {S_OK, seeking.GetAvailable(&times[0], nullptr)},
      {S_OK, seeking.GetAvailable(nullptr, &times[1])},
      {S_OK, seeking.GetRate(&rate)},
      {S_OK, seeking.SetPositions(nullptr, 0, nullptr, 0)},
      {E_INVALIDARG, seeking.SetPositions(nullptr, kAbsolute, &times[0], kKeyFrame)},
      // Not implemented for any argument.
      {E_NOTIMPL, seeking.SetRate(2.0)},
      {E_NOTIMPL, seeking.SetTimeFormat(&TIME_FORMAT_MEDIA_TIME)},
      {E_NOTIMPL, seeking.SetTimeFormat(nullptr)},
      {E_NOTIMPL, seeking.ConvertTimeFormat(nullptr, nullptr, 0, nullptr)},
      {E_NOTIMPL, seeking.GetPreroll(nullptr)},
      {E_POINTER, seeking.GetCapabilities(nullptr)},
      {E_POINTER, seeking.CheckCapabilities(nullptr)},
      {E_POINTER, seeking.IsFormatSupported(nullptr)},
      {E_POINTER, seeking.QueryPreferredFormat(nullptr)},
      {E_POINTER, seeking.GetDuration(nullptr)},
      {E_POINTER, seeking.GetStopPosition(nullptr)},
      {E_POINTER, seeking.GetCurrentPosition(nullptr)},
      {E_POINTER, seeking.GetRate(nullptr)},
      {E_POINTER, seeking.GetPositions(&times[0], nullptr)},
      {E_POINTER, seeking.GetPositions(nullptr, &times[0])},
      // The stop is checked first, its pointer before its flags.
      {E_POINTER, seeking.SetPositions(nullptr, kAbsolute, nullptr, 0)},
      {E_POINTER, seeking.SetPositions(&times[0], kIncremental, nullptr, kKeyFrame)},
      {E_POINTER, seeking.SetPositions(nullptr, kIncremental, nullptr, 0)},
  };
  for (size_t i = 0; i < std::size(kResults); ++i) EXPECT_EQ(kResults[i].second, kResults[i].first) << i;
  for (const GUID& format : formats) EXPECT_EQ(format, TIME_FORMAT_MEDIA_TIME);
  EXPECT_EQ(times[0], 0);
  EXPECT_EQ(times[1], 8000 * kMs);
  EXPECT_EQ(rate, 1.0);
}

TEST(Seeking, KeptPositionsAreNeitherClampedNorOrdered) {
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
      {"no order, no bounds", -5, kAbsolute, -9, kAbsolute, S_OK, -5, -9},
      {"key frame in current", 7, kAbsolute | kKeyFrame, 0, 0, S_OK, 7, kStop},
      {"not in stop", 7, kAbsolute, 9, kAbsolute | kKeyFrame, E_INVALIDARG, kStart, kStop},
      {"modifiers alone", 7, kKeyFrame, 0, 0, E_INVALIDARG, kStart, kStop},
      {"incremental current", 7, kIncremental, 0, 0, E_INVALIDARG, kStart, kStop},
      {"wraps", INT64_MAX, kRelative, 0, 0, S_OK, INT64_MIN + kStart - 1, kStop},
  };
  for (const auto& each : kCases) {
    FilterUnderTest under_test(long_movie());
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
}

// --- FillBuffer() after a seek ---

TEST(Seeking, StartsAtTheSyncSampleAtOrBeforeTheTarget) {
  const std::tuple<REFERENCE_TIME, uint32_t, bool> kCases[] = {
      {0, 1, false},
      {500 * kMs, 1, true},
      {1040 * kMs, 26, true},
      // The lookup of the time returns the frame before the one that starts here.
      {1000 * kMs, 1, true},
      {-3000 * kMs, 1, false},
      {7990 * kMs, 176, true},
      {8000 * kMs, 176, true},  // at the stop position
  };
  for (const auto& [target, number, preroll] : kCases) {
    Video video;
    video.seek(target);
    const Filled sample = video.fill();
    EXPECT_EQ(number_of(sample), number) << target;
    EXPECT_TRUE(sample.discontinuity && sample.sync);
    EXPECT_EQ(sample.preroll, preroll) << target;
    // Time stamps count from the target.
    EXPECT_EQ(sample.start, (number - 1) * kFrame - target);
    EXPECT_FALSE(video.fill().discontinuity);
  }
}

TEST(Seeking, AudioAloneCountsFromItsFirstUnit) {
  for (const bool has_sync_table : {false, true}) {
    TrackDescription track = long_movie().tracks[0];
    if (has_sync_table) track.sync_samples = {1, 26, 101};
    FilterUnderTest under_test(track);
    under_test.seek(1010 * kMs);
    const Filled first = under_test.fill();
    EXPECT_EQ(number_of(first), has_sync_table ? 26u : 49u);
    EXPECT_EQ(first.start, 0);
    EXPECT_EQ(under_test.fill().start, 20 * kMs);
  }
}

// Of two pins of 8 s and 4 s.
TEST(Seeking, EachPinKeepsThePositionThatASeekDoesNotSet) {
  FilterUnderTest under_test(long_movie(100));
  const auto expect_positions = [&](const std::array<REFERENCE_TIME, 4>& expected_ms) {
    std::array<REFERENCE_TIME, 4> actual{};
    for (const int i : {0, 1}) under_test.seeking(i)->GetPositions(&actual[2 * i], &actual[2 * i + 1]);
    for (REFERENCE_TIME& each : actual) each /= kMs;
    EXPECT_EQ(actual, expected_ms);
  };
  under_test.seek(1010 * kMs);
  expect_positions({1010, 8000, 1010, 4000});
  FakeSample sample(1000);
  EXPECT_EQ(under_test.fill(0, sample), S_OK);  // audio alone counts from its first unit
  expect_positions({960, 8000, 1010, 4000});
  LONGLONG stop = 3000 * kMs;
  EXPECT_EQ(under_test.seeking(1)->SetPositions(nullptr, 0, &stop, kAbsolute), S_OK);
  expect_positions({960, 3000, 1010, 3000});
  // Without any position, playback goes on where it was.
  for (const bool discontinuity : {true, false}) {
    under_test.seeking(1)->SetPositions(nullptr, 0, nullptr, 0);
    EXPECT_EQ(under_test.fill().discontinuity, discontinuity);
  }
}

TEST(Seeking, KeptSeekPastTheStopContinuesAtTheOldPosition) {
  for (const REFERENCE_TIME target : {8001 * kMs, REFERENCE_TIME{INT64_MAX}}) {
    Video video;
    video.seek(target);
    FakeSample none(1000);
    EXPECT_EQ(video.fill(0, none), S_FALSE);
    // That ends the seek.
    const Filled next = video.fill();
    EXPECT_EQ(number_of(next), 1u);
    EXPECT_EQ(next.start, -target);
  }
}

TEST(Seeking, AFailedSampleLeavesTheSeekToTheNextRun) {
  for (HRESULT FakeSample::*refuse : {&FakeSample::get_pointer, &FakeSample::set_discontinuity}) {
    Video video;
    video.seek(3000 * kMs);
    FakeSample refusing(1000);
    refusing.*refuse = E_ACCESSDENIED;
    EXPECT_EQ(video.fill(0, refusing), E_ACCESSDENIED);
    const Filled sample = video.fill();
    EXPECT_EQ(number_of(sample), 51u);
    EXPECT_TRUE(sample.discontinuity && sample.preroll);
  }
}

// A frame before the start is shown if the next one is after the stop. The comparison has 32 bits, which last
// for 429 s.
TEST(Seeking, KeptLastFrameBeforeTheStopIsShownInTheFirst429Seconds) {
  const struct {
    uint32_t first_frame_ms;
    REFERENCE_TIME stop_ms;  // from the start, which is half-way between the second and the third frame
    bool preroll;
  } kCases[] = {{1000, 1, false}, {430000, 1, true}, {1000, 1500, true}};
  for (const auto& each : kCases) {
    TrackDescription track = avc_track(4);
    track.durations = {each.first_frame_ms, 1000};
    track.sync_samples = {1, 2, 3, 4};
    FilterUnderTest under_test(track);
    LONGLONG start = (each.first_frame_ms + 500) * kMs;
    LONGLONG stop = start + each.stop_ms * kMs;
    under_test.seeking(0)->SetPositions(&start, kAbsolute, &stop, kAbsolute);
    Filled sample = under_test.fill();
    while (sample.start < -1000 * kMs) sample = under_test.fill();  // the lookup lands early
    EXPECT_EQ(sample.start, -500 * kMs);
    EXPECT_EQ(sample.preroll, each.preroll) << each.first_frame_ms;
  }
}

TEST(Seeking, KeptStopAloneGoesBackToTheSegmentStart) {
  Video video;
  for (int i = 0; i < 5; ++i) video.fill();
  LONGLONG stop = 3000 * kMs;
  video.seeking(0)->SetPositions(nullptr, 0, &stop, kAbsolute);
  const Filled sample = video.fill();
  EXPECT_EQ(number_of(sample), 1u);
  EXPECT_TRUE(sample.discontinuity);
}

// With several pins, the position is the longest pin's; among equally long pins, the first one's.
TEST(Seeking, KeptCurrentPositionCountsFromTheSegmentStart) {
  Video video;
  video.seek(1040 * kMs);
  LONGLONG position = 0;
  for (const REFERENCE_TIME expected : {-40 * kMs, REFERENCE_TIME{0}, 40 * kMs}) {
    video.fill();
    EXPECT_EQ(video.seeking(0)->GetCurrentPosition(&position), S_OK);
    EXPECT_EQ(position, expected);
  }
  const std::pair<uint32_t, REFERENCE_TIME> kFrames[] = {{199, 60 * kMs}, {200, 60 * kMs}, {201, 40 * kMs}};
  for (const auto& [frames, expected] : kFrames) {
    FilterUnderTest both(long_movie(frames));
    FakeSample sample(1000);
    for (const int pin : {0, 0, 0, 0, 1, 1}) EXPECT_EQ(both.fill(pin, sample), S_OK);
    EXPECT_EQ(both.seeking(1)->GetCurrentPosition(&position), S_OK);
    EXPECT_EQ(position, expected) << frames;
  }
}

// A late renderer makes the pin skip to the next sync sample if that is closer than the delay.
TEST(Seeking, KeptLatenessSkipsToTheNextSyncSample) {
  constexpr uint32_t kEnd = 0;
  const std::vector<uint32_t> every_25th = long_movie().tracks[1].sync_samples;
  const std::tuple<uint32_t, std::vector<uint32_t>, int, REFERENCE_TIME, uint32_t> kCases[] = {
      {40, every_25th, 1, 950 * kMs, 2},  // 960 ms to the next one, less 10 ms
      {40, every_25th, 1, 950 * kMs + 1, 26},
      {40, every_25th, 10, 590 * kMs, 11},
      {40, every_25th, 10, 590 * kMs + 1, 26},
      {40, every_25th, 25, 100 * kMs, 26},  // it is the next sample
      {40, every_25th, 199, 5000 * kMs, 200},
      {40, every_25th, 0, 5000 * kMs, 1},  // nothing is known before the first frame
      // After the last sync sample the time runs below 0, and there is nothing to skip to.
      {40, every_25th, 190, 0, 191},
      // The track ends before the next listed sync sample, so that sample has no time.
      {40, {1, 300}, 1, 0, kEnd},
      // 8 ms to the next one.
      {4, every_25th, 23, -2 * kMs, 24},
      {4, every_25th, 23, -2 * kMs + 1, 26},
  };
  for (const auto& [frame_ms, sync_samples, frames_played, late, next] : kCases) {
    TrackDescription track = long_movie().tracks[1];
    track.durations = {frame_ms};
    track.sync_samples = sync_samples;
    FilterUnderTest video(track);
    for (int i = 0; i < frames_played; ++i) video.fill();
    EXPECT_EQ(video.pin(0).Notify(nullptr, {Famine, 500, late, 0}), S_OK);
    FakeSample sample(1000);
    const bool filled = video.fill(0, sample) == S_OK;
    EXPECT_EQ(filled ? number_of(sample.content()) : kEnd, next) << frames_played;
  }
}

// --- Streams with their workers ---

// A stop and a seek set both events before they wait for the worker; a seek resets them after the flush.
// Positions outlive a stop.
TEST(Seeking, AStopAndASeekFreeTheWorkerThroughBothEvents) {
  Video video;
  const SharedEvents events;
  int freed = 0;
  CallLog log;
  SinkOptions options;
  options.log = &log;
  // Nothing but the events frees the worker from its delivery.
  options.receive = [&](IMediaSample*) {
    if (!events.wait(30000)) return E_FAIL;
    ++freed;
    return S_OK;
  };
  options.on_call = [&](std::string_view call) {
    if (call == "end flush") events.set();
    if (call.starts_with("new segment")) {
      EXPECT_EQ(events.count(), 0) << "a signal from before the flush reaches the worker";
    }
  };
  SinkChain chain;
  chain.add_sinks(static_cast<CBaseFilter&>(*video.filter.get()), {options});
  ASSERT_EQ(chain.connect_all(), S_OK);
  const auto expect_calls = [&](std::vector<std::string> expected) {
    ASSERT_TRUE(chain.sink().wait_for_samples(1));
    std::vector<std::string> calls = log.take();
    calls.pop_back();  // the sample
    EXPECT_EQ(calls, expected);
  };
  ASSERT_EQ(chain.run(), S_OK);
  expect_calls({"active", "new segment 0-80000000 x1"});
  LONGLONG start = 3000 * kMs;
  LONGLONG stop = 4000 * kMs;
  ASSERT_EQ(video.seeking(0)->SetPositions(&start, kAbsolute, &stop, kAbsolute), S_OK);
  expect_calls({"begin flush", "end flush", "new segment 30000000-40000000 x1"});
  ASSERT_EQ(chain.stop(), S_OK);
  EXPECT_EQ(freed, 2);
  ASSERT_EQ(chain.run(), S_OK);
  expect_calls({"inactive", "active", "new segment 30000000-40000000 x1"});
  ASSERT_EQ(chain.stop(), S_OK);
  ASSERT_EQ(chain.stop(), S_OK);  // even without a worker
  EXPECT_TRUE(events.wait(0));
}

TEST(Seeking, AfterASeekOfAStoppedFilterTheFirstWorkerDoesNotWaitForTheSecond) {
  FilterUnderTest under_test(long_movie());
  const mp4source::UniqueHandle audio_plays(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  std::vector<SinkOptions> options(2);
  options[1].on_call = [&](std::string_view call) {
    if (call.starts_with("new segment")) WaitForSingleObject(audio_plays.get(), INFINITE);
  };
  SinkChain chain;
  chain.add_sinks(static_cast<CBaseFilter&>(*under_test.filter.get()), std::move(options));
  ASSERT_EQ(chain.connect_all(), S_OK);
  under_test.seek(3000 * kMs);
  EXPECT_EQ(chain.run(), S_OK);
  EXPECT_TRUE(chain.sink(0).wait_for_samples(1));
  SetEvent(audio_plays.get());
  EXPECT_TRUE(chain.wait_for_ends());
}

TEST(Seeking, NoStreamWaitsForOneThatIsNotPlayed) {
  SinkGraph graph(long_movie());
  graph.run();
  graph.seek(3000 * kMs);
  ASSERT_TRUE(graph.wait_for_ends());
  graph.stop();
  graph.disconnect(1);
  graph.run();
  graph.seek(2000 * kMs);
  ASSERT_TRUE(graph.wait_for_end(0));
  graph.stop();
  // Disconnected after the seek.
  ASSERT_EQ(graph.connect(1), S_OK);
  graph.seek(2000 * kMs);
  graph.disconnect(0);
  graph.run();
  ASSERT_TRUE(graph.wait_for_end(1));
  EXPECT_EQ(graph.breaches(), std::vector<std::string>{});
}

// Video that has no sample after a seek: it has ended, or its tables have no place for the time.
TEST(Seeking, NoStreamWaitsForOneThatHasEnded) {
  MovieDescription no_times = long_movie();
  no_times.tracks[1].replaced["stts"] = Bytes{};
  MovieDescription one_frame = long_movie(1);
  one_frame.tracks[1].sync_samples.clear();  // a search from the last sample fails
  for (const MovieDescription& movie : {long_movie(50), no_times, one_frame}) {
    SinkGraph graph(movie);
    graph.run();
    for (int i = 0; i < 2; ++i) {
      LONGLONG start = 7000 * kMs;
      LONGLONG stop = 8000 * kMs;
      ASSERT_EQ(graph.under_test.seeking(0)->SetPositions(&start, kAbsolute, &stop, kAbsolute), S_OK);
      ASSERT_TRUE(graph.wait_for_ends());
      EXPECT_GE(graph.sink(0).samples().size(), 50u);
    }
  }
}

}  // namespace
}  // namespace zdr::test
