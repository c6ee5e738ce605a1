// IMediaSeeking, and what a seek makes of the streams.
#include <gtest/gtest.h>

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
uint32_t number_of(const Filled& sample) {
  return static_cast<uint32_t>(sample.data.size()) - kSizeOfNone;
}

constexpr REFERENCE_TIME kFrame = 40 * kMs;
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

// The video of it alone.
struct Video : FilterUnderTest {
  Video() : FilterUnderTest(numbered_movie().tracks[1]) {}
};

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
  GUID formats[2]{};
  EXPECT_EQ(seeking->QueryPreferredFormat(&formats[0]), S_OK);
  EXPECT_EQ(seeking->GetTimeFormat(&formats[1]), S_OK);
  for (const GUID& format : formats) EXPECT_EQ(format, TIME_FORMAT_MEDIA_TIME);
  LONGLONG earliest = -1;
  LONGLONG latest = -1;
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
  LONGLONG there = 0;
  for (const HRESULT hr : {seeking->GetCapabilities(nullptr), seeking->CheckCapabilities(nullptr),
                           seeking->IsFormatSupported(nullptr), seeking->QueryPreferredFormat(nullptr),
                           seeking->GetDuration(nullptr), seeking->GetStopPosition(nullptr),
                           seeking->GetCurrentPosition(nullptr), seeking->GetRate(nullptr),
                           // Required: both or none.
                           seeking->GetPositions(&there, nullptr), seeking->GetPositions(nullptr, &there),
                           // The stop is looked at first, its pointer before its flags.
                           seeking->SetPositions(nullptr, kAbsolute, nullptr, 0),
                           seeking->SetPositions(&there, kIncremental, nullptr, kKeyFrame),
                           seeking->SetPositions(nullptr, kIncremental, nullptr, 0)}) {
    EXPECT_EQ(hr, E_POINTER);
  }
  EXPECT_EQ(seeking->SetPositions(nullptr, kAbsolute, &there, kKeyFrame), E_INVALIDARG);
  EXPECT_EQ(seeking->SetPositions(nullptr, 0, nullptr, 0), S_OK);
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
}

// --- What the worker's function makes of it ----------------------------------------------------------------

TEST(Seeking, StartsAtTheSyncSampleBefore) {
  const std::tuple<REFERENCE_TIME, uint32_t, bool> kCases[] = {
      {0, 1, false},
      {500 * kMs, 1, true},
      {1040 * kMs, 26, true},
      // Required: the look-up forward gives the frame before the one that starts here.
      {1000 * kMs, 1, true},
      {-3000 * kMs, 1, false},
      {7990 * kMs, 176, true},
  };
  for (const auto& [target, number, preroll] : kCases) {
    Video video;
    video.seek(target);
    const Filled sample = video.fill();
    EXPECT_EQ(number_of(sample), number) << target;
    EXPECT_TRUE(sample.discontinuity && sample.sync);
    EXPECT_EQ(sample.preroll, preroll) << target;
    // Stamps count from the target.
    EXPECT_EQ(sample.start, (number - 1) * kFrame - target);
    EXPECT_FALSE(video.fill().discontinuity);
  }
}

TEST(Seeking, AudioAloneStartsItsStampsAtItsFirstUnit) {
  FilterUnderTest under_test(numbered_movie().tracks[0]);
  under_test.seek(1010 * kMs);
  EXPECT_EQ(under_test.fill().start, 0);
  EXPECT_EQ(under_test.fill().start, 20 * kMs);
}

TEST(Seeking, EndsAtOnceBehindTheStopPosition) {
  for (const REFERENCE_TIME target : {8001 * kMs, REFERENCE_TIME{INT64_MAX}}) {
    Video video;
    video.seek(target);
    FakeSample none(1000);
    EXPECT_EQ(video.fill(0, none), S_FALSE);
    // Required: the seek is over with that; what is filled next goes on where the track was, before the
    // start.
    const Filled next = video.fill();
    EXPECT_EQ(number_of(next), 1u);
    EXPECT_EQ(next.start, -target);
  }
}

TEST(Seeking, AnErrorLeavesItToTheNextRun) {
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

// A frame before the start is shown after all when the next one lies behind the stop. The comparison is made
// in 32 bits, which last for 429 s.
TEST(Seeking, RequiredLastFrameBeforeTheStopIsShownInTheFirst429Seconds) {
  const struct {
    uint32_t first_frame_ms;
    REFERENCE_TIME stop_ms;  // from the start, which lies half-way between the second and the third frame
    bool preroll;
  } kCases[] = {{1000, 1, false}, {430000, 1, true}, {1000, 1500, true}};
  for (const auto& each : kCases) {
    TrackDescription track = test::avc_track(4);
    track.durations = {each.first_frame_ms, 1000};
    track.sync_samples = {1, 2, 3, 4};
    FilterUnderTest under_test(track);
    LONGLONG start = (each.first_frame_ms + 500) * kMs;
    LONGLONG stop = start + each.stop_ms * kMs;
    under_test.seeking(0)->SetPositions(&start, kAbsolute, &stop, kAbsolute);
    Filled sample = under_test.fill();
    while (sample.start < -1000 * kMs) sample = under_test.fill();  // the look-up lands early
    EXPECT_EQ(sample.start, -500 * kMs);
    EXPECT_EQ(sample.preroll, each.preroll) << each.first_frame_ms;
  }
}

TEST(Seeking, RequiredStopAloneGoesBackToTheSegmentStart) {
  Video video;
  for (int i = 0; i < 5; ++i) video.fill();
  LONGLONG stop = 3000 * kMs;
  video.seeking(0)->SetPositions(nullptr, 0, &stop, kAbsolute);
  const Filled sample = video.fill();
  EXPECT_EQ(number_of(sample), 1u);
  EXPECT_TRUE(sample.discontinuity);
}

// Of several pins the longest one tells it, and of equal ones the first.
TEST(Seeking, RequiredCurrentPositionCountsFromTheSegmentStart) {
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
    FilterUnderTest both(numbered_movie(frames));
    FakeSample sample(1000);
    for (const int pin : {0, 0, 0, 0, 1, 1}) EXPECT_EQ(both.fill(pin, sample), S_OK);
    EXPECT_EQ(both.seeking(1)->GetCurrentPosition(&position), S_OK);
    EXPECT_EQ(position, expected) << frames;
  }
}

// A late renderer makes the pin skip to the next sync sample, if that is nearer than the delay.
TEST(Seeking, LatenessSkipsToTheNextSyncSample) {
  const std::tuple<int, REFERENCE_TIME, uint32_t> kCases[] = {
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
  for (const auto& [frames_played, late, next] : kCases) {
    Video video;
    for (int i = 0; i < frames_played; ++i) video.fill();
    EXPECT_EQ(video.pin(0).Notify(nullptr, {Famine, 500, late, 0}), S_OK);
    EXPECT_EQ(number_of(video.fill()), next) << frames_played;
  }
}

// --- Both streams, with their workers ----------------------------------------------------------------------

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

// Video that has no sample after a seek: it has ended, or its tables do not tell where to begin.
TEST(Seeking, AStreamThatHasEndedIsNotWaitedFor) {
  MovieDescription no_times = numbered_movie();
  no_times.tracks[1].replaced["stts"] = test::Bytes{};
  MovieDescription one_frame = numbered_movie(1);
  one_frame.tracks[1].sync_samples.clear();  // a search from the last sample fails
  for (const MovieDescription& movie : {numbered_movie(50), no_times, one_frame}) {
    SinkGraph graph(movie);
    graph.run();
    for (int i = 0; i < 2; ++i) {
      LONGLONG start = 7000 * kMs;
      LONGLONG stop = 8000 * kMs;
      ASSERT_EQ(graph.under_test.seeking(0)->SetPositions(&start, kAbsolute, &stop, kAbsolute), S_OK);
      ASSERT_TRUE(graph.wait_for_ends());
      EXPECT_GE(graph.segment(0).size(), 50u);
    }
  }
}

}  // namespace
}  // namespace zdr::tests
