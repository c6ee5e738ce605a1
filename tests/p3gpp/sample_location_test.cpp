// Places of samples: chunk numbering, chunks without offsets, order of access.
#include "gtest/gtest.h"
#include "track_file.h"

namespace zdr::test {
namespace {

TrackTables chunked(std::vector<ChunkRun> stsc, std::vector<uint64_t> offsets, uint32_t samples) {
  TrackTables tables;
  tables.stts = {{samples, 1}};
  tables.sizes.assign(samples, 16);
  tables.stsc = std::move(stsc);
  tables.chunk_offsets = std::move(offsets);
  return tables;
}

// The file offset, or the negative status.
int64_t offset_of(const OpenTrack& track, uint32_t number) {
  P3gppSample sample{};
  sample.number = number;
  const int32_t status = P3GPP_ReadSample(track.get(), &sample);
  return status == P3GPP_OK ? static_cast<int64_t>(sample.file_offset) : status;
}

TEST(SampleLocation, TheLastRunReachesOneChunkTooFarWhenCountingFromZeroByRequirement) {
  const OpenTrack from_zero(chunked({{0, 2}}, {1000, 2000}, 7));
  EXPECT_EQ(offset_of(from_zero, 2), 1016);
  EXPECT_EQ(offset_of(from_zero, 4), 2016);
  EXPECT_EQ(offset_of(from_zero, 5), P3GPP_ERR_BAD_ARGUMENT);  // in chunk 2, which has no offset
  EXPECT_EQ(offset_of(from_zero, 7), P3GPP_ERR_OUT_OF_RANGE);
}

TEST(SampleLocation, OnlyTheLowByteOfTheFirstChunkNumberCountsByRequirement) {
  for (const auto& [first_chunk, status] :
       std::initializer_list<std::pair<uint32_t, int32_t>>{{0, P3GPP_OK},
                                                           {1, P3GPP_OK},
                                                           {2, P3GPP_ERR_NO_TABLE},
                                                           {256, P3GPP_OK},
                                                           {255, P3GPP_ERR_NO_TABLE}}) {
    EXPECT_EQ(OpenTrack(chunked({{first_chunk, 2}}, {1000}, 2)).status(), status) << first_chunk;
  }
}

TEST(SampleLocation, SamplesBehindTheLastChunkFailAndDisturbNothing) {
  const OpenTrack track(chunked({{1, 2}, {2, 3}}, {1000, 2000}, 9));
  EXPECT_EQ(offset_of(track, 5), 2032);
  EXPECT_EQ(offset_of(track, 6), P3GPP_ERR_OUT_OF_RANGE);
  EXPECT_EQ(offset_of(track, 9), P3GPP_ERR_OUT_OF_RANGE);
  EXPECT_EQ(offset_of(track, 10), P3GPP_ERR_OUT_OF_RANGE);
  EXPECT_EQ(offset_of(track, 5), 2032);
  EXPECT_EQ(offset_of(track, 1), 1000);
}

TEST(SampleLocation, ChunkNumberBelowTheBaseFails) {
  const OpenTrack track(chunked({{1, 1}, {0, 4}}, {1000}, 4));
  EXPECT_EQ(offset_of(track, 1), P3GPP_ERR_BAD_ARGUMENT);  // chunk 0 where chunks count from 1
  EXPECT_EQ(offset_of(track, 2), P3GPP_ERR_BAD_ARGUMENT);
}

TEST(SampleLocation, ChunksAtOneOffsetAreReadAsOneInSequenceByRequirement) {
  const OpenTrack track(chunked({{1, 2}}, {1000, 1000}, 4));
  EXPECT_EQ(offset_of(track, 2), 1016);
  EXPECT_EQ(offset_of(track, 3), 1032);
  EXPECT_EQ(offset_of(track, 3), 1000);  // asked again, it is found in its own chunk
  EXPECT_EQ(offset_of(track, 4), 1016);
}

TEST(SampleLocation, WithBothOffsetTablesThe32BitOneCountsAndThe64BitOneGetsTheRestOfTheBudgetByRequirement) {
  // An stco larger than its share takes all that is left.
  TrackTables tables = chunked({{1, 1}}, std::vector<uint64_t>(400, 5000), 400);
  tables.also_co64 = true;
  EXPECT_EQ(OpenTrack(tables, 0, 1024).status(), P3GPP_ERR_BAD_ARGUMENT);
  const OpenTrack roomy(tables, 0, 24576);
  ASSERT_EQ(roomy.status(), P3GPP_OK);
  EXPECT_EQ(offset_of(roomy, 7), 5000);
}

TEST(SampleLocation, ATableCutOffByTheEndOfTheFileServesTheEntriesBeforeTheCut) {
  TrackTables tables = chunked({{1, 1}}, {}, 1000);
  for (uint32_t n = 1; n <= 1000; ++n) tables.chunk_offsets.push_back(n * 100);
  tables.cut_off = 4;  // the last chunk offset
  const OpenTrack track(tables);
  ASSERT_EQ(track.status(), P3GPP_OK);
  EXPECT_EQ(offset_of(track, 10), 1000);
  EXPECT_EQ(offset_of(track, 999), P3GPP_ERR_READ);  // its block is not whole
  EXPECT_EQ(offset_of(track, 10), 1000);             // and has replaced nothing
}

TEST(SampleLocation, ConstantSizesNeedNoWalk) {
  TrackTables tables = chunked({{1, 0xFFFFFFFF}}, {1000}, 1);
  tables.default_size = 1000;
  tables.default_count = 0xFFFFFFFF;
  tables.stts = {{0xFFFFFFFF, 0}};
  tables.media_duration = 0xFFFFFFFF;
  const OpenTrack track(tables);
  EXPECT_EQ(offset_of(track, 0xFFFFFFFF), 1000 + 0xFFFFFFFELL * 1000);
  float bits_per_second = 0;
  EXPECT_EQ(P3GPP_GetBitrate(track.get(), &bits_per_second), P3GPP_OK);
  EXPECT_FLOAT_EQ(bits_per_second, 8e6F);
}

}  // namespace
}  // namespace zdr::test
