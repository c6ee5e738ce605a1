// Reading samples: the bytes, the edit shift, and what touches the file.
#include <gtest/gtest.h>

#include <algorithm>

#include "lookup_answers.h"
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

struct Read {
  Read(OpenTrack& track, uint32_t number) : bytes(256, 0xEE) {
    sample.number = number;
    sample.buffer = bytes.data();
    status = P3GPP_ReadSample(track.get(), &sample);
  }
  P3gppSample sample{};
  Bytes bytes;  // 0xEE where nothing was read
  int32_t status;
};

TEST(SampleReading, OneReadASampleAndNoneForALocationOrAnEmptySample) {
  OpenTrack track(two_chunks(), kFileSize);
  std::vector<MemorySource::Read> reads;
  track.source().log = &reads;
  for (uint32_t number = 1; number <= 6; ++number) EXPECT_GT(track.offset_of(number), 0);
  EXPECT_EQ(Read(track, 2).status, P3GPP_OK);
  EXPECT_TRUE(reads.empty());
  const Read result(track, 4);
  ASSERT_EQ(reads.size(), 1u);
  EXPECT_EQ(reads[0].position, kMedia + 1000);
  EXPECT_EQ(reads[0].count, 40u);
  EXPECT_EQ(result.sample.description_index, 2u);
  EXPECT_TRUE(std::equal(result.bytes.begin(), result.bytes.begin() + 40,
                         track.source().bytes.data() + kMedia + 1000));
  EXPECT_EQ(result.bytes[40], 0xEE) << "written past the sample";
}

TEST(SampleReading, WhatCannotBeReadFailsWithItsPlaceFilledIn) {
  TrackTables tables = two_chunks();
  tables.chunk_offsets[1] = kFileSize - 70;  // sample 5 is cut off, sample 6 lies behind the end
  tables.sizes[0] = 0x80000000;              // more than a signed count can hold
  OpenTrack track(tables, kFileSize);
  for (const uint32_t number : {5u, 6u}) {
    const Read result(track, number);
    EXPECT_EQ(result.status, P3GPP_ERR_READ);
    EXPECT_EQ(result.sample.size, number * 10);
    EXPECT_EQ(result.sample.decoding_time, (number - 1) * 100);
  }
  std::vector<MemorySource::Read> reads;
  track.source().log = &reads;
  EXPECT_EQ(Read(track, 1).status, P3GPP_ERR_READ);
  EXPECT_TRUE(reads.empty());
  EXPECT_EQ(Read(track, 0).status, P3GPP_ERR_OUT_OF_RANGE);
  EXPECT_EQ(Read(track, 7).status, P3GPP_ERR_OUT_OF_RANGE);
}

TEST(SampleReading, ASampleLargerThanTheBufferIsLocatedAndNotRead) {
  OpenTrack track(two_chunks(), kFileSize);
  Bytes bytes(64, 0xEE);
  P3gppSample sample{};
  sample.number = 4;
  sample.buffer = bytes.data();
  EXPECT_EQ(P3GPP_ReadSampleBounded(track.get(), &sample, 39), P3GPP_ERR_READ);
  EXPECT_EQ(bytes[0], 0xEE);
  EXPECT_EQ(sample.size, 40u);
  EXPECT_EQ(P3GPP_ReadSampleBounded(track.get(), &sample, 40), P3GPP_OK);
  EXPECT_EQ(bytes[39], track.source().bytes[kMedia + 1039]);
}

TEST(SampleReading, OnlyAnEmptyEditInALongerListShiftsAndOnlyTheDecodingTimeByRequirement) {
  const std::vector<std::tuple<const char*, std::vector<Edit>, uint32_t>> cases = {
      {"no list", {}, 0},
      {"a single empty edit", {{1000, -1}}, 0},
      {"delay, then media", {{1000, -1}, {500, 0}}, 1000},  // movie units, as they stand
      {"no empty edit", {{1000, 0}, {500, 20}}, 0},
      {"the first of two", {{5, 0}, {70, -1}, {900, -1}}, 70},
      {"wraps", {{0xFFFFFF00, -1}, {5, 0}}, 0xFFFFFF00},
  };
  for (const auto& [name, edits, shift] : cases) {
    SCOPED_TRACE(name);
    TrackTables tables = two_chunks();
    tables.edits = edits;
    OpenTrack track(tables, kFileSize);
    const Read result(track, 4);
    EXPECT_EQ(result.sample.decoding_time, 300 + shift);
    EXPECT_EQ(result.sample.composition_time, 300u);
    EXPECT_EQ(LookupAnswers(track)('d', 4), std::to_string(300 + shift) + ":300");
    EXPECT_EQ(LookupAnswers(track)('t', 250), "2@100") << "a search for a time knows no shift";
  }
}

TEST(SampleReading, AFailedReadLeavesTheNextTryIntact) {
  TrackTables tables = plain_tables(2000, 5);
  tables.stts.assign(2000, {1u, 1u});
  tables.chunk_offsets = {kMedia};
  OpenTrack track(tables, 40960);
  uint32_t failures = 0;
  for (uint32_t number = 1; number <= 2000; ++number) {
    // The sample's own read, or that of one of the tables before it.
    track.source().failing_read = track.source().read_count + 1 + number % 3;
    failures += Read(track, number).status == P3GPP_ERR_READ;
    track.source().failing_read = 0;
    // Nor what was in reach before it.
    for (const uint32_t each : {std::max(number, 2u) - 1, number}) {
      const Read result(track, each);
      ASSERT_EQ(result.status, P3GPP_OK);
      ASSERT_EQ(result.sample.file_offset, kMedia + (each - 1) * 5);
      ASSERT_EQ(result.sample.decoding_time, each - 1);
    }
  }
  EXPECT_GT(failures, 600u);
}

}  // namespace
}  // namespace zdr::test
