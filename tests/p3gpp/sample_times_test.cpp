// Times of samples and samples of times, by hand-worked cases.
#include "gtest/gtest.h"
#include "track_file.h"

namespace zdr::test {
namespace {

TrackTables with_stts(Runs stts, uint32_t samples) {
  TrackTables tables;
  tables.stts = std::move(stts);
  tables.sizes.assign(samples, 4);
  tables.stsc = {{1, samples}};
  return tables;
}

struct Answer {
  int32_t status;
  uint32_t number;
  uint32_t time;
  bool operator==(const Answer&) const = default;
};

Answer sample_at(const OpenTrack& track, uint32_t time) {
  Answer answer{0, 0, time};
  answer.status = P3GPP_TimeToSample(track.get(), &answer.time, &answer.number);
  return answer;
}

uint32_t composition_offset(const OpenTrack& track, uint32_t number) {
  uint32_t decoding = 0;
  uint32_t composition = 0;
  EXPECT_EQ(P3GPP_GetSampleTime(track.get(), number, &decoding, &composition), P3GPP_OK);
  return composition - decoding;
}

TEST(SampleTimes, ForwardSearchForATimeAnswersTheSampleBeforeByRequirement) {
  const OpenTrack track(with_stts({{100, 1000}}, 100));
  EXPECT_EQ(sample_at(track, 0), (Answer{0, 1, 0}));
  EXPECT_EQ(sample_at(track, 1500), (Answer{0, 1, 0}));
  EXPECT_EQ(sample_at(track, 2000), (Answer{0, 2, 1000}));
}

TEST(SampleTimes, BackwardSearchForATimeAnswersTheSampleThatHoldsItByRequirement) {
  const OpenTrack track(with_stts({{10, 1000}, {10, 500}}, 20));
  EXPECT_EQ(sample_at(track, 12000), (Answer{0, 14, 11500}));
  EXPECT_EQ(sample_at(track, 9500), (Answer{0, 10, 9000}));
}

TEST(SampleTimes, TimeBehindTheLastSampleAnswersTheLastSampleWithTheTimeJustAfterIt) {
  const OpenTrack track(with_stts({{10, 1000}, {10, 500}}, 20));
  EXPECT_EQ(sample_at(track, 15001), (Answer{0, 20, 15000}));
  EXPECT_EQ(sample_at(track, 0xFFFFFFFF), (Answer{0, 20, 15000}));
}

// A sample that the runs do not reach leaves the position behind them; a search from there answers as one
// from before does, and one for an earlier time finds its way back.
TEST(SampleTimes, TimeSearchFromBehindTheLastRun) {
  const OpenTrack track(with_stts({{10, 1000}}, 20));
  EXPECT_EQ(composition_offset(track, 15), 0U);
  EXPECT_EQ(sample_at(track, 10001), (Answer{0, 10, 10000}));
  EXPECT_EQ(sample_at(track, 9500), (Answer{0, 10, 9000}));
}

TEST(SampleTimes, NumbersOutOfRangeHaveNoTime) {
  const OpenTrack track(with_stts({{10, 1000}}, 10));
  uint32_t decoding = 0;
  uint32_t composition = 0;
  for (const uint32_t number : {0U, 11U, 0xFFFFFFFFU}) {
    EXPECT_EQ(P3GPP_GetSampleTime(track.get(), number, &decoding, &composition), P3GPP_ERR_OUT_OF_RANGE);
  }
}

TEST(SampleTimes, TimeSearchCopesWithRunsOfNoLength) {
  const OpenTrack still(with_stts({{5, 0}, {5, 10}, {5, 0}}, 15));
  EXPECT_EQ(sample_at(still, 25), (Answer{0, 7, 10}));
  EXPECT_EQ(sample_at(still, 60), (Answer{0, 15, 50}));  // leaves the position at the last run
  EXPECT_EQ(sample_at(still, 50), (Answer{0, 11, 50}));  // the run before ends there
  const OpenTrack endless(with_stts({{0xFFFFFFFF, 0}, {0xFFFFFFFF, 0}}, 4));
  EXPECT_EQ(sample_at(endless, 1).status, P3GPP_ERR_OUT_OF_RANGE);  // 2^33 samples have no number
  const OpenTrack empty(with_stts({}, 4));
  EXPECT_EQ(sample_at(empty, 0), (Answer{0, 1, 0}));
  EXPECT_EQ(sample_at(empty, 1).status, P3GPP_ERR_BAD_ARGUMENT);
}

TEST(SampleTimes, TimesAbove32BitsFail) {
  const OpenTrack track(with_stts({{4, 0x50000000}, {4, 1}}, 8));
  uint32_t decoding = 0;
  uint32_t composition = 0;
  const auto status = [&](uint32_t n) {
    return P3GPP_GetSampleTime(track.get(), n, &decoding, &composition);
  };
  EXPECT_EQ(status(4), P3GPP_OK);
  EXPECT_EQ(decoding, 0xF0000000);
  EXPECT_EQ(status(5), P3GPP_ERR_OUT_OF_RANGE);
  EXPECT_EQ(status(3), P3GPP_OK);
  EXPECT_EQ(sample_at(track, 0xFFFFFFFF), (Answer{0, 3, 0xA0000000}));
}

TEST(SampleTimes, BackwardCompositionOffsetLandsOneRunEarlyByRequirement) {
  TrackTables tables = with_stts({{6, 0}}, 6);
  tables.has_ctts = true;
  tables.ctts = {{2, 10}, {2, 20}, {2, 30}};
  const auto after_5 = [&](uint32_t number) {
    const OpenTrack track(tables);
    composition_offset(track, 5);
    return composition_offset(track, number);
  };
  EXPECT_EQ(after_5(6), 30U);
  EXPECT_EQ(after_5(4), 20U);
  EXPECT_EQ(after_5(3), 10U);
  EXPECT_EQ(after_5(1), 0U);  // before the first run there is none

  const OpenTrack in_order(tables);
  for (uint32_t n = 1; n <= 6; ++n) EXPECT_EQ(composition_offset(in_order, n), (n + 1) / 2 * 10);

  tables.ctts = {{1, 10}, {1, 20}, {1, 30}, {1, 40}};
  const OpenTrack single(tables);
  for (const uint32_t n : {4U, 3U, 2U, 1U, 3U, 2U}) EXPECT_EQ(composition_offset(single, n), n * 10);
}

TEST(SampleTimes, SamplesBeyondTheTimeTablesKeepTheCallersTimesByRequirement) {
  TrackTables tables = with_stts({{2, 100}}, 4);
  tables.has_ctts = true;
  tables.ctts = {{2, 7}};
  tables.edits = {{1000, -1}, {400, 0}};
  const OpenTrack track(tables);
  P3gppSample sample{};
  for (sample.number = 1; sample.number <= 3; ++sample.number) {
    ASSERT_EQ(P3GPP_ReadSample(track.get(), &sample), P3GPP_OK);
  }
  // Of sample 2: 100 + 1000 and 100 + 7. Sample 3 has no run: its time is the old one, shifted again.
  EXPECT_EQ(sample.decoding_time, 1100U + 1000U);
  EXPECT_EQ(sample.composition_time, 1100U + 107U);
  // The lookup has left the position behind the last run, so this search walks backward.
  EXPECT_EQ(sample_at(track, 150), (Answer{0, 2, 100}));
  EXPECT_EQ(sample_at(OpenTrack(tables), 150), (Answer{0, 1, 0}));
}

}  // namespace
}  // namespace zdr::test
