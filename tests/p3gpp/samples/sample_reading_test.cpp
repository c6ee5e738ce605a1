// Reading samples: the bytes, the edit shift, and the reads of the file.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/p3gpp/samples/track_file.h"

namespace zdr::test {
namespace {

constexpr size_t kFileSize = 4096;
constexpr uint64_t kMedia = 2048;  // inside the media of such a file

// Six samples of 10 to 60 bytes, one of them empty, in two chunks.
TrackDescription two_chunks(uint32_t first_size = 10, uint64_t second_chunk = kMedia + 1000) {
  return raw_track(6, 0,
                   {{"stts", stts({{6, 100}})},
                    {"stsz", stsz({first_size, 0, 30, 40, 50, 60})},
                    {"stsc", stsc({{1, 3, 1}, {2, 3, 2}})},
                    {"stco", stco({kMedia, second_chunk})}});
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

TEST(SampleReading, TakesOneReadPerSampleAndNoneForALocationOrAnEmptySample) {
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

TEST(SampleReading, SamplePastTheEndOfTheFileIsLocatedButNotRead) {
  // Sample 5 is truncated, sample 6 is past the end; sample 1 is larger than a signed count can hold.
  OpenTrack track(two_chunks(0x80000000, kFileSize - 70), kFileSize);
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

TEST(SampleReading, SampleLargerThanTheBufferIsLocatedButNotRead) {
  OpenTrack track(two_chunks(), kFileSize);
  for (const uint32_t capacity : {39u, 40u}) {
    Bytes bytes(capacity, 0xEE);
    P3gppSample sample{};
    sample.number = 4;
    sample.buffer = bytes.data();
    EXPECT_EQ(P3GPP_ReadSampleBounded(track.get(), &sample, capacity),
              capacity == 40 ? P3GPP_OK : P3GPP_ERR_READ);
    EXPECT_EQ(bytes[38], capacity == 40 ? track.source().bytes[kMedia + 1038] : 0xEE);
    EXPECT_EQ(sample.size, 40u);
  }
}

TEST(SampleReading, KeptOnlyAnEmptyEditInALongerListShiftsAndOnlyDecodingTimes) {
  const std::vector<std::tuple<const char*, std::vector<Edit>, uint32_t>> cases = {
      {"no list", {}, 0},
      {"a single empty edit", {{1000, -1}}, 0},
      {"delay, then media", {{1000, -1}, {500, 0}}, 1000},  // movie units, unconverted
      {"no empty edit", {{1000, 0}, {500, 20}}, 0},
      {"the first of two", {{5, 0}, {70, -1}, {900, -1}}, 70},
      {"wraps", {{0xFFFFFF00, -1}, {5, 0}}, 0xFFFFFF00},
  };
  for (const auto& [name, edits, shift] : cases) {
    SCOPED_TRACE(name);
    TrackDescription description = two_chunks();
    description.edits = edits;
    OpenTrack track(description, kFileSize);
    const Read result(track, 4);
    EXPECT_EQ(result.sample.decoding_time, 300 + shift);
    EXPECT_EQ(result.sample.composition_time, 300u);
    EXPECT_EQ(track.lookup('d', 4), std::to_string(300 + shift) + ":300");
    EXPECT_EQ(track.lookup('t', 250), "2@100") << "a search for a time ignores the shift";
  }
}

TEST(SampleReading, FailedReadDoesNotAffectTheNextOne) {
  OpenTrack track(raw_track(2000, 5, {{"stts", stts(Runs(2000, {1, 1}))}, {"stco", stco({kMedia})}}), 40960);
  uint32_t failures = 0;
  for (uint32_t number = 1; number <= 2000; ++number) {
    // Fails the read of the sample, or of one of the tables before it.
    track.source().failing_read = track.source().read_count + 1 + number % 3;
    failures += Read(track, number).status == P3GPP_ERR_READ;
    track.source().failing_read = 0;
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
