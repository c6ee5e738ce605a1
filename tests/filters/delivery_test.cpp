// What FillBuffer() writes to each media sample, compared with a plain computation from the track's
// description.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/filters/codecs.h"
#include "tests/filters/filter_under_test.h"

namespace zdr::test {
namespace {

std::vector<Filled> play(const TrackDescription& track, LONG capacity = FilterUnderTest::kCapacity) {
  return FilterUnderTest(track).play(capacity);
}

// --- The plain computation ---

int64_t duration_of(const TrackDescription& track, size_t index) {
  return track.durations.empty() ? 100 : track.durations[std::min(index, track.durations.size() - 1)];
}

// Milliseconds before truncation of every sample, and of the end.
std::vector<double> times_ms(const TrackDescription& track) {
  std::vector<double> times;
  int64_t time = 0;
  for (size_t i = 0; i <= track.sizes.size(); ++i) {
    times.push_back(static_cast<double>(time) * 1000.0 / track.time_scale);
    time += duration_of(track, i);
  }
  return times;
}

REFERENCE_TIME whole_ms(double ms) {
  return static_cast<int64_t>(ms) * 10000;
}

std::vector<Filled> expected_video(const TrackDescription& track) {
  const std::vector<double> times = times_ms(track);
  const size_t count = track.sizes.size();
  const double end_ms = std::floor(times[count]);
  std::vector<Filled> expected;
  for (size_t i = 0; i < count && whole_ms(times[i]) <= whole_ms(end_ms); ++i) {
    const REFERENCE_TIME start = whole_ms(times[i]);
    const auto number = static_cast<uint32_t>(i + 1);
    REFERENCE_TIME length = whole_ms(times[i + 1] - times[i]);
    // The last one lasts a period of the frame rate.
    if (i + 1 == count)
      length = end_ms == 0 ? 1 : whole_ms(1000.0 / (static_cast<double>(count) / (end_ms / 1000.0)));
    const bool sync = track.sync_samples.empty() || std::ranges::count(track.sync_samples, number) > 0;
    const Bytes data = sample_content(1, number, track.sizes[i]);
    expected.push_back({start, start + length, sync, false, i == 0, data});
  }
  return expected;
}

std::vector<Filled> expected_audio(const TrackDescription& track, size_t units_per_sample, bool size_table) {
  const std::vector<double> times = times_ms(track);
  std::vector<Filled> expected;
  for (size_t i = 0; i < track.sizes.size(); i += units_per_sample) {
    const REFERENCE_TIME start = whole_ms(times[i]);
    Filled group{start, start + 1, true, false, i == 0, {}};
    Bytes table(20, 0);
    for (size_t k = 0; k < units_per_sample && i + k < track.sizes.size(); ++k) {
      const uint32_t size = track.sizes[i + k];
      const Bytes unit = sample_content(1, static_cast<uint32_t>(i + k + 1), size);
      group.data.insert(group.data.end(), unit.begin(), unit.end());
      table[2 * k] = static_cast<uint8_t>(size);
      table[2 * k + 1] = static_cast<uint8_t>(size >> 8);
    }
    if (size_table) group.data.insert(group.data.end(), table.begin(), table.end());
    expected.push_back(group);
  }
  return expected;
}

// Tracks of random length and timing; `seed` makes them repeatable.
TrackDescription randomised(TrackDescription track, uint32_t seed) {
  std::mt19937 random(seed);
  const auto pick = [&](uint32_t low, uint32_t high) {
    return std::uniform_int_distribution<uint32_t>(low, high)(random);
  };
  track.time_scale = std::vector<uint32_t>{1, 90, 600, 1000, 8000, 11025, 30000, 90000}[pick(0, 7)];
  track.sizes.assign(pick(1, 60), 0);
  track.durations.assign(track.sizes.size(), 0);
  track.samples_per_chunk = {pick(1, 4), pick(1, 7), pick(1, 3)};
  for (uint32_t& size : track.sizes) size = pick(1, 700);
  for (uint32_t& duration : track.durations) duration = pick(0, track.time_scale / 5);
  for (uint32_t i = 1; i <= track.sizes.size(); i += pick(1, 9)) track.sync_samples.push_back(i);
  return track;
}

// --- Whole tracks ---

TEST(Delivery, VideoIsOneFrameASample) {
  for (uint32_t seed = 0; seed < 60; ++seed) {
    const TrackDescription track = randomised(seed % 2 == 0 ? avc_track(1) : track_of("H.263"), seed);
    EXPECT_EQ(play(track), expected_video(track)) << "seed " << seed;
  }
}

TEST(Delivery, KeptAudioIsTenUnitsASampleOfOneTimeUnit) {
  for (const Codec& codec : every_codec()) {
    for (uint32_t seed = 0; seed < 12 && !codec.is_video(); ++seed) {
      TrackDescription track = randomised(codec.track, seed);
      track.sync_samples.clear();
      EXPECT_EQ(play(track), expected_audio(track, codec.units, codec.has_size_table()))
          << codec.name << seed;
    }
  }
}

TEST(Delivery, KeptSizeTableHas16BitsAnEntry) {
  TrackDescription track = aac_track(1);
  track.sizes = {65536 + 258};
  EXPECT_EQ(play(track), expected_audio(track, 10, true));
}

// --- Ends and odd tables ---

TEST(Delivery, KeptStopAndEditShiftDecideWhatATrackDelivers) {
  TrackDescription last_at_end = avc_track(3), audio_at_end = track_of("EVRC", 3);
  last_at_end.durations = audio_at_end.durations = {100, 100, 0};
  TrackDescription version_1 = avc_track(5);  // plays for 0 ms
  version_1.header_version = 1;
  TrackDescription shifted = avc_track(10);  // of 1000 ms; its tail is after the stop position
  shifted.edits = {{.segment_duration = 150, .media_time = -1}, {.segment_duration = 1000, .media_time = 0}};
  // The time table ends after sample 2. Then the shift is added once a sample.
  TrackDescription short_table = avc_track(4);
  short_table.edits = {{.segment_duration = 7, .media_time = -1}, {.segment_duration = 400, .media_time = 0}};
  short_table.replaced["stts"] = stts({{2, 100}});
  TrackDescription empty_frame = avc_track(3);
  empty_frame.sizes[1] = 0;
  const std::tuple<std::string, TrackDescription, std::vector<REFERENCE_TIME>> kCases[] = {
      {"last at the stop position", last_at_end, {0, 100, 200}},
      {"the same for audio", audio_at_end, {0, 12, 25}},
      {"duration 0", version_1, {0}},
      {"shifted", shifted, {150, 250, 350, 450, 550, 650, 750, 850, 950}},
      {"short time table", short_table, {7, 107, 114, 121}},
      {"empty frame", empty_frame, {0, 100, 200}},
  };
  for (const auto& [name, track, starts_ms] : kCases) {
    std::vector<REFERENCE_TIME> starts;
    for (const Filled& each : play(track)) starts.push_back(each.start / kMs);
    EXPECT_EQ(starts, starts_ms) << name;
  }
  EXPECT_EQ(play(short_table)[2].stop, 121 * kMs);
}

// The queries share a position in the table, so in an unsorted one their order decides what they find.
TEST(Delivery, SyncMarksOfAnUnsortedTableFollowTheOrderOfTheQueries) {
  TrackDescription track = avc_track(25);
  track.sync_samples = {1, 11, 5, 20};
  std::vector<REFERENCE_TIME> marked_ms;
  for (const Filled& each : play(track)) {
    if (each.sync) marked_ms.push_back(each.start / kMs);
  }
  EXPECT_EQ(marked_ms, (std::vector<REFERENCE_TIME>{0, 1000, 1900}));
}

TEST(Delivery, ReadsNothingThatDoesNotFit) {
  TrackDescription video = avc_track(3);
  video.sizes = {20, 21, 20};
  EXPECT_EQ(play(video, 20).size(), 1u);

  // The units that fit are delivered, without a byte for the next one.
  TrackDescription amr = amr_track(12);
  EXPECT_EQ(play(amr, 32 * 4 + 31)[0].data.size(), 32u * 4);
  TrackDescription aac = aac_track(12);
  EXPECT_EQ(play(aac, 24 * 4 + 19)[0].data.size(), 24u * 3 + 20);
  EXPECT_TRUE(play(aac, 24 + 19).empty());
  EXPECT_TRUE(play(aac, 10).empty());
}

TEST(Delivery, KeptBadUnitEndsItsGroupAndIsSkipped) {
  TrackDescription track = amr_track(30);
  const BuiltMovie good = build_movie(track);
  std::vector<uint64_t> offsets = good.sample_offsets[0];
  offsets[13] = 1u << 30;
  track.replaced["stco"] = stco(offsets);
  std::vector<size_t> sizes;
  for (const Filled& each : play(track)) sizes.push_back(each.data.size() / 32);
  EXPECT_EQ(sizes, (std::vector<size_t>{10, 3, 10, 6}));

  // As the first of a group it ends the stream.
  offsets = good.sample_offsets[0];
  offsets[10] = 1u << 30;
  track.replaced["stco"] = stco(offsets);
  FilterUnderTest under_test(track);
  EXPECT_EQ(under_test.play().size(), 1u);
  // Playback continues with the unit after it.
  const std::vector<Filled> rest = under_test.play();
  ASSERT_EQ(rest.size(), 2u);
  EXPECT_EQ(rest[0].start, 11 * 200000);
}

// --- Marks and failures ---

TEST(Delivery, KeptFirstSampleOfTheProcessIsADiscontinuity) {
  FilterUnderTest first(amr_track(30));
  FilterUnderTest second(amr_track(30));
  EXPECT_TRUE(first.fill().discontinuity);
  EXPECT_FALSE(first.fill().discontinuity);
  EXPECT_FALSE(second.fill().discontinuity);
}

// Its frame is skipped. A refused mark is set on the next sample.
TEST(Delivery, ASampleThatRefusesACallIsAnError) {
  for (HRESULT FakeSample::*refuse :
       {&FakeSample::set_discontinuity, &FakeSample::set_sync_point, &FakeSample::get_pointer}) {
    FilterUnderTest under_test(avc_track(3));
    FakeSample refusing(100);
    refusing.*refuse = E_ACCESSDENIED;
    EXPECT_EQ(under_test.fill(0, refusing), E_ACCESSDENIED);
    FakeSample null(100);
    null.null_pointer = true;
    EXPECT_EQ(under_test.fill(0, null), E_POINTER);
    EXPECT_EQ(null.content().discontinuity, refuse != &FakeSample::get_pointer);
    EXPECT_EQ(under_test.fill().start, 2000000);
  }
}

}  // namespace
}  // namespace zdr::test
