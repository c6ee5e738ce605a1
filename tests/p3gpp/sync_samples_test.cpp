// Sync sample queries, by hand-worked cases.
#include "gtest/gtest.h"
#include "track_file.h"

namespace zdr::test {
namespace {

constexpr int32_t kForward = 1;
constexpr int32_t kBackward = 0;

TrackTables with_stss(std::vector<uint32_t> stss) {
  TrackTables tables;
  tables.stts = {{100, 1}};
  tables.sizes.assign(100, 4);
  tables.stsc = {{1, 100}};
  tables.has_stss = true;
  tables.stss = std::move(stss);
  return tables;
}

// The number found, or the negative status.
int64_t find(const OpenTrack& track, uint32_t from, int32_t direction) {
  uint32_t number = from;
  const int32_t status = P3GPP_FindSyncSample(track.get(), &number, direction);
  return status == P3GPP_OK ? int64_t{number} : status;
}

int64_t is_sync(const OpenTrack& track, uint32_t number) {
  int32_t flag = -1;
  const int32_t status = P3GPP_IsSyncSample(track.get(), number, &flag);
  return status == P3GPP_OK ? flag : status;
}

TEST(SyncSamples, ForwardSearchDependsOnTheSideItComesFromByRequirement) {
  const OpenTrack track(with_stss({1, 11, 21, 31}));
  EXPECT_EQ(find(track, 11, kForward), 21);  // from the front: the next one
  EXPECT_EQ(find(track, 35, kForward), P3GPP_ERR_NO_SYNC_SAMPLE);
  EXPECT_EQ(find(track, 11, kForward), 11);  // from behind: the sample itself
  EXPECT_EQ(find(track, 11, kForward), 21);
  EXPECT_EQ(find(track, 11, kBackward), 11);
  EXPECT_EQ(find(track, 30, kBackward), 21);
}

TEST(SyncSamples, BackwardSearchBeforeTheFirstSyncSampleAnswersItByRequirement) {
  const OpenTrack track(with_stss({10, 20}));
  EXPECT_EQ(find(track, 5, kBackward), 10);
  EXPECT_EQ(find(track, 25, kBackward), 20);
  EXPECT_EQ(find(track, 5, kBackward), 10);
}

TEST(SyncSamples, WithoutATableTheAnswerIsTheNeighbourByRequirement) {
  TrackTables none = with_stss({});
  none.has_stss = false;
  for (const TrackTables& tables : {none, with_stss({})}) {  // an empty table is none
    const OpenTrack track(tables);
    EXPECT_EQ(find(track, 5, kForward), 6);
    EXPECT_EQ(find(track, 5, kBackward), 4);
    EXPECT_EQ(find(track, 1, kBackward), 1);
    EXPECT_EQ(find(track, 100, kForward), P3GPP_ERR_OUT_OF_RANGE);
    EXPECT_EQ(find(track, 100, kBackward), P3GPP_ERR_OUT_OF_RANGE);
    EXPECT_EQ(is_sync(track, 77), 1);
    EXPECT_EQ(is_sync(track, 101), 0);
  }
}

TEST(SyncSamples, NumbersOutOfRangeFailInASearchAndAreNoSyncSamplesOtherwiseByRequirement) {
  const OpenTrack track(with_stss({1, 50}));
  EXPECT_EQ(find(track, 0, kForward), P3GPP_ERR_OUT_OF_RANGE);
  EXPECT_EQ(find(track, 101, kBackward), P3GPP_ERR_OUT_OF_RANGE);
  EXPECT_EQ(is_sync(track, 0), P3GPP_ERR_BAD_ARGUMENT);
  EXPECT_EQ(is_sync(track, 101), 0);
}

TEST(SyncSamples, NearTheStartTheTableIsReadFromItsFirstEntry) {
  // Out of order: a walk back from the last entry would meet 30 before 10 and answer no.
  const OpenTrack track(with_stss({10, 30, 5, 90}));
  EXPECT_EQ(is_sync(track, 90), 1);
  EXPECT_EQ(is_sync(track, 10), 1);
  EXPECT_EQ(is_sync(track, 5), 0);  // 10 is already above
}

}  // namespace
}  // namespace zdr::test
