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
  Read(OpenTrack& track, uint32_t number, uint32_t capacity = 256) {
    sample.number = number;
    sample.buffer = reinterpret_cast<uint8_t*>(bytes.data());
    status = P3GPP_ReadSampleBounded(track.get(), &sample, capacity);
  }
  P3gppSample sample{};
  std::string bytes = std::string(256, '\xEE');  // where nothing was read
  int32_t status;
};

TEST(SampleReading, TakesOneReadPerSampleAndNoneForALocationOrAnEmptySample) {
  OpenTrack track(two_chunks(), kFileSize);
  const std::vector<Source::Read>& reads = track.source().reads;
  const size_t before = reads.size();
  for (uint32_t number = 1; number <= 6; ++number) EXPECT_GT(track.offset_of(number), 0);
  EXPECT_EQ(Read(track, 2).status, P3GPP_OK);
  const Read too_small(track, 4, 39);
  EXPECT_EQ(too_small.status, P3GPP_ERR_READ);
  EXPECT_EQ(reads.size(), before);
  const Read result(track, 4, 40);
  EXPECT_EQ(result.status, P3GPP_OK);
  ASSERT_EQ(reads.size(), before + 1);
  EXPECT_EQ(reads.back().position, kMedia + 1000);
  EXPECT_EQ(reads.back().count, 40u);
  EXPECT_EQ(sample_text(result.sample), "3048:40:2:300:300");
  EXPECT_EQ(sample_text(too_small.sample), sample_text(result.sample)) << "located";
  EXPECT_EQ(result.bytes, track.source().content().substr(kMedia + 1000, 40) + std::string(216, '\xEE'));
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
  const size_t before = track.source().reads.size();
  EXPECT_EQ(Read(track, 1, 0xFFFFFFFF).status, P3GPP_ERR_READ);
  EXPECT_EQ(track.source().reads.size(), before);
  EXPECT_EQ(Read(track, 0).status, P3GPP_ERR_OUT_OF_RANGE);
  EXPECT_EQ(Read(track, 7).status, P3GPP_ERR_OUT_OF_RANGE);
}

TEST(SampleReading, KeptOnlyAnEmptyEditInALongerListShiftsAndOnlyDecodingTimes) {
  const std::vector<std::pair<std::vector<Edit>, std::string>> cases = {
      {{}, "300"},
      {{{1000, -1}}, "300"},             // a single one
      {{{1000, -1}, {500, 0}}, "1300"},  // movie units, unconverted
      {{{1000, 0}, {500, 20}}, "300"},
      {{{5, 0}, {70, -1}, {900, -1}}, "370"},
      {{{0xFFFFFF00, -1}, {5, 0}}, "44"},  // wraps
  };
  for (const auto& [edits, time] : cases) {
    TrackDescription description = two_chunks();
    description.edits = edits;
    // A search for a time ignores the shift.
    const std::string calls = "o4=3048:40:2:" + time + ":300 d4=" + time + ":300 t250=2@100";
    EXPECT_EQ(replayed(description, calls), calls);
  }
}

TEST(SampleReading, FailedReadDoesNotAffectTheNextOne) {
  OpenTrack track(raw_track(2000, 5, {{"stts", stts(Runs(2000, {1, 1}))}, {"stco", stco({kMedia})}}), 40960);
  uint32_t failures = 0;
  for (uint32_t number = 1; number <= 2000; ++number) {
    // Fails the read of the sample, or of one of the tables before it.
    track.source().failing_read = track.source().reads.size() + 1 + number % 3;
    failures += Read(track, number).status == P3GPP_ERR_READ;
    track.source().failing_read = 0;
    for (const uint32_t each : {number, std::max(number, 2u) - 1, number}) {
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
