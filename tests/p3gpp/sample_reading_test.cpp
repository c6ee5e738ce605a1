// Reading samples: the bytes, the edit shift, and what touches the file.
#include <algorithm>

#include "gtest/gtest.h"
#include "track_file.h"

namespace zdr::test {
namespace {

constexpr size_t kFileSize = 4096;
constexpr uint64_t kMedia = 2048;  // well inside the media of a file of that size

TrackTables two_chunks() {
  TrackTables tables;
  tables.sizes = {10, 0, 30, 40, 50, 60};
  tables.stts = {{6, 100}};
  tables.stsc = {{1, 3, 1}, {2, 3, 2}};
  tables.chunk_offsets = {kMedia, kMedia + 1000};
  return tables;
}

struct ReadResult {
  int32_t status;
  P3gppSample sample;
  Bytes bytes;
};

ReadResult read(const OpenTrack& track, uint32_t number) {
  ReadResult result{0, {}, Bytes(256, 0xEE)};
  result.sample.number = number;
  result.sample.buffer = result.bytes.data();
  result.status = P3GPP_ReadSample(track.get(), &result.sample);
  return result;
}

TEST(SampleReading, BytesComeFromTheSamplesPlace) {
  OpenTrack track(two_chunks(), kFileSize);
  const Bytes& file = track.source().bytes;
  const std::vector<uint64_t> offsets = {kMedia,        kMedia + 10,   kMedia + 10,
                                         kMedia + 1000, kMedia + 1040, kMedia + 1090};
  for (const uint32_t number : {1U, 2U, 3U, 4U, 5U, 6U, 3U, 1U, 6U}) {
    const ReadResult result = read(track, number);
    ASSERT_EQ(result.status, P3GPP_OK) << number;
    EXPECT_EQ(result.sample.file_offset, offsets[number - 1]);
    EXPECT_EQ(result.sample.description_index, number <= 3 ? 1U : 2U);
    const auto* begin = file.data() + offsets[number - 1];
    EXPECT_TRUE(std::equal(begin, begin + result.sample.size, result.bytes.data())) << number;
    EXPECT_EQ(result.bytes[result.sample.size], 0xEE) << "written past the sample";
  }
}

TEST(SampleReading, OneReadASampleAndNoneForALocationOrAnEmptySample) {
  OpenTrack track(two_chunks(), kFileSize);
  std::vector<MemorySource::Read> reads;
  track.source().log = &reads;
  P3gppSample location{};
  for (location.number = 1; location.number <= 6; ++location.number) {
    ASSERT_EQ(P3GPP_ReadSample(track.get(), &location), P3GPP_OK);
  }
  EXPECT_TRUE(reads.empty());
  ASSERT_EQ(read(track, 2).status, P3GPP_OK);
  EXPECT_TRUE(reads.empty());
  ASSERT_EQ(read(track, 4).status, P3GPP_OK);
  ASSERT_EQ(reads.size(), 1U);
  EXPECT_EQ(reads[0].position, kMedia + 1000);
  EXPECT_EQ(reads[0].count, 40U);
}

TEST(SampleReading, ASampleCutOffByTheEndOfTheFileFailsWithItsPlaceFilledIn) {
  TrackTables tables = two_chunks();
  tables.chunk_offsets[1] = kFileSize - 70;  // sample 5 is cut off, sample 6 lies behind the end
  OpenTrack track(tables, kFileSize);
  EXPECT_EQ(read(track, 4).status, P3GPP_OK);
  for (const uint32_t number : {5U, 6U}) {
    const ReadResult result = read(track, number);
    EXPECT_EQ(result.status, P3GPP_ERR_READ);
    EXPECT_EQ(result.sample.size, number * 10);
    EXPECT_EQ(result.sample.decoding_time, (number - 1) * 100);
  }
}

TEST(SampleReading, ASizeThatASignedCountCannotHoldIsRefusedBeforeReading) {
  TrackTables tables = two_chunks();
  tables.sizes[0] = 0x80000000;
  OpenTrack track(tables, kFileSize);
  std::vector<MemorySource::Read> reads;
  track.source().log = &reads;
  EXPECT_EQ(read(track, 1).status, P3GPP_ERR_READ);
  EXPECT_TRUE(reads.empty());
}

TEST(SampleReading, ASampleLargerThanTheBufferIsLocatedAndNotRead) {
  OpenTrack track(two_chunks(), kFileSize);
  Bytes bytes(64, 0xEE);
  P3gppSample sample{};
  sample.number = 4;
  sample.buffer = bytes.data();
  EXPECT_EQ(P3GPP_ReadSampleBounded(track.get(), &sample, 39), P3GPP_ERR_READ);
  EXPECT_EQ(bytes[0], 0xEE);
  EXPECT_EQ(sample.size, 40U);
  EXPECT_EQ(P3GPP_ReadSampleBounded(track.get(), &sample, 40), P3GPP_OK);
  EXPECT_EQ(bytes[39], track.source().bytes[kMedia + 1039]);
}

TEST(SampleReading, SampleNumbersOutOfRange) {
  OpenTrack track(two_chunks(), kFileSize);
  EXPECT_EQ(read(track, 0).status, P3GPP_ERR_OUT_OF_RANGE);
  EXPECT_EQ(read(track, 7).status, P3GPP_ERR_OUT_OF_RANGE);
}

struct ShiftCase {
  const char* name;
  std::vector<Edit> edits;
  uint32_t shift;
};

TEST(SampleReading, OnlyAnEmptyEditInALongerListShiftsAndOnlyTheDecodingTimeByRequirement) {
  const std::vector<ShiftCase> cases = {
      {"no list", {}, 0},
      {"a single empty edit", {{1000, -1}}, 0},
      {"delay, then media", {{1000, -1}, {500, 0}}, 1000},  // movie units, as they stand
      {"no empty edit", {{1000, 0}, {500, 20}}, 0},
      {"the first of two", {{5, 0}, {70, -1}, {900, -1}}, 70},
      {"wraps", {{0xFFFFFF00, -1}, {5, 0}}, 0xFFFFFF00},
  };
  for (const ShiftCase& each : cases) {
    SCOPED_TRACE(each.name);
    TrackTables tables = two_chunks();
    tables.edits = each.edits;
    OpenTrack track(tables, kFileSize);
    const ReadResult result = read(track, 4);
    EXPECT_EQ(result.sample.decoding_time, 300 + each.shift);
    EXPECT_EQ(result.sample.composition_time, 300U);
    uint32_t decoding = 0;
    uint32_t composition = 0;
    EXPECT_EQ(P3GPP_GetSampleTime(track.get(), 4, &decoding, &composition), P3GPP_OK);
    EXPECT_EQ(decoding, 300 + each.shift);
    EXPECT_EQ(composition, 300U);
    uint32_t time = 250;
    uint32_t number = 0;
    EXPECT_EQ(P3GPP_TimeToSample(track.get(), &time, &number), P3GPP_OK);
    EXPECT_EQ(time, 100U) << "a search for a time knows no shift";
  }
}

TEST(SampleReading, AFailedReadLeavesTheNextTryIntact) {
  TrackTables tables = two_chunks();
  tables.sizes.assign(2000, 5);
  tables.stts.assign(2000, {1u, 1u});
  tables.stsc = {{1, 2000}};
  OpenTrack track(tables, 40960);
  uint32_t failures = 0;
  for (uint32_t number = 1; number <= 2000; ++number) {
    // The sample's own read, or that of one of the tables before it.
    track.source().failing_read = track.source().read_count + 1 + number % 3;
    failures += read(track, number).status == P3GPP_ERR_READ;
    track.source().failing_read = 0;
    const ReadResult result = read(track, number);
    ASSERT_EQ(result.status, P3GPP_OK);
    ASSERT_EQ(result.sample.file_offset, kMedia + (number - 1) * 5);
    ASSERT_EQ(result.sample.decoding_time, number - 1);
  }
  EXPECT_GT(failures, 600U);
}

}  // namespace
}  // namespace zdr::test
