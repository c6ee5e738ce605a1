// Lookup results worked out by hand: those that players rely on, and those at the ends of tables. Reading
// samples: the bytes, the edit shift, and the reads of the file.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/p3gpp/samples/track_file.h"

namespace zdr::test {
namespace {

TrackDescription timed(const Runs& times, uint32_t samples, const Runs& offsets = {},
                       const std::vector<Edit>& edits = {}) {
  TrackDescription track = raw_track(samples, 16, {{"stts", stts(times)}});
  if (!offsets.empty()) track.replaced["ctts"] = ctts(offsets);
  track.edits = edits;
  return track;
}
TrackDescription synced(const std::vector<uint32_t>& numbers) {
  return raw_track(100, 16, {{"stss", stss(numbers)}});
}
TrackDescription chunked(const std::vector<ChunkRun>& chunks, const std::vector<uint64_t>& offsets,
                         uint32_t samples) {
  return raw_track(samples, 16,
                   {{"stts", stts({{100, 0}})}, {"stsc", stsc(chunks)}, {"stco", stco(offsets)}});
}

// Its sample description is followed by 20 bytes that are read as the next box, and ends with as many. The
// entries of its tables are therefore read 20 bytes too late.
TrackDescription misread() {
  const Bytes entry = audio_entry("sawp", 1, 8000, concat({dawp(1, 2), box("free", Bytes(12))}));
  TrackDescription track = raw_track(0, 0,
                                     {{"stsd", stsd({entry})},
                                      {"stts", stts({{0, 0}, {0, 0}, {0, 10}, {5, 0}})},
                                      {"stsc", stsc({{1, 1, 9}, {1, 1, 1}, {10, 7, 100}})},
                                      {"stsz", stsz({1, 1, 1, 1, 1, 30, 31, 32})},
                                      {"stco", stco({1, 2, 3, 4, 5, 6000})}});
  track.appended["stbl"] = box("free", Bytes(12));
  return track;
}

TEST(LookupRules, KeptResultsDependOnEarlierCalls) {
  const Runs two_rates = {{10, 1000}, {10, 500}};
  const Runs above_32_bits = {{4, 0x50000000}, {4, 1}};
  const std::vector<Edit> delay = {{1000, -1}, {400, 0}};
  const std::string neighbours = "f5=6 b5=4 b1=1 f100=-6008 b100=-6008 s77=1 s101=0";
  const std::vector<std::tuple<const char*, TrackDescription, std::string>> cases = {
      // Walking forward, a search for a time returns the sample before the one that holds it; backward, that
      // one.
      {"time, forward", timed({{100, 1000}}, 100), "t0=1@0 t1500=1@0 t2000=2@1000"},
      {"time, back", timed(two_rates, 20), "t12000=14@11500 t9500=10@9000"},
      {"time in the first half: searched from the front", timed(two_rates, 20),
       "t12000=14@11500 t5000=6@5000 t12000=14@11500 t4999=4@3000"},
      {"time past the runs", timed(two_rates, 20), "t15001=20@15000 t4294967295=20@15000"},
      {"time with the position past the runs", timed(two_rates, 40), "d35=0:0 t15001=20@15000 t9500=10@9000"},
      {"time in runs without duration", timed({{5, 0}, {5, 10}, {5, 0}}, 15), "t25=7@10 t60=15@50 t50=11@50"},
      {"time of 2^33 samples", timed({{0xFFFFFFFF, 0}, {0xFFFFFFFF, 0}}, 4), "t1=-6008"},
      {"time without runs", timed({}, 4), "t0=1@0 t1=-6009"},
      {"times above 32 bits", timed(above_32_bits, 8),
       "d4=4026531840:4026531840 d5=-6008 d3=2684354560:2684354560 t4294967295=3@2684354560"},
      {"numbers out of range", timed({{8, 1}}, 8), "d0=-6008 d9=-6008 o0=-6008 o9=-6008 d4294967295=-6008"},
      // Walking backward, a composition offset is taken from one run too early, except for the last sample of
      // a run.
      {"composition, forward", timed({{6, 0}}, 6, {{2, 10}, {2, 20}, {2, 30}}),
       "d1=0:10 d2=0:10 d3=0:20 d5=0:30"},
      {"composition, back to 4", timed({{6, 0}}, 6, {{2, 10}, {2, 20}, {2, 30}}), "d5=0:30 d4=0:20"},
      {"composition, back to 3", timed({{6, 0}}, 6, {{2, 10}, {2, 20}, {2, 30}}), "d5=0:30 d3=0:10"},
      {"composition, back to 1: no offset found", timed({{6, 0}}, 6, {{2, 10}, {2, 20}}),
       "d0=-6008 d1=0:10 d3=0:20 d1=0:20"},
      {"composition of single samples", timed({{4, 0}}, 4, {{1, 10}, {1, 20}, {1, 30}}),
       "d3=0:30 d2=0:20 d1=0:10 d2=0:20"},
      {"composition, far back", timed({{10, 0}}, 10, {{2, 10}, {2, 20}, {2, 30}, {2, 40}, {2, 50}}),
       "d9=0:50 d3=0:10"},
      // No run covers sample 3: its times are those of the call before, shifted again.
      {"beyond the time tables", timed({{2, 100}}, 4, {{2, 7}}, delay), "d1=1000:7 d2=1100:107 d3=2100:1207"},

      // A forward search returns the sample itself only from a later position; a backward search returns at
      // least the first sync sample.
      {"sync searches", synced({10, 21, 31}), "f10=21 f35=-6003 f21=21 f21=31 b21=21 b5=10"},
      {"unsorted", synced({10, 30, 5, 90}), "s90=1 s10=1 s5=0"},
      {"no sync table", raw_track(100), neighbours},
      {"empty sync table", synced({}), neighbours},
      {"sync, numbers out of range", synced({1, 50}), "f0=-6008 b101=-6008 s0=-6009 s101=0"},

      // If chunks are numbered from 0, the last run still extends to the number of chunks, one too far.
      {"chunks from 0", chunked({{0, 2}}, {1000, 2000}, 7), "o4=2016:16:1:0:0 o5=-6009 o7=-6008"},
      {"chunks from 256, read as 0", chunked({{256, 2}}, {1000}, 1), "o1=-6008"},
      {"chunks from 2", chunked({{2, 2}}, {1000}, 2), "-7047"},
      {"chunks from 255", chunked({{255, 2}}, {1000}, 2), "-7047"},
      {"past the last chunk", chunked({{1, 2}, {2, 3}}, {1000, 2000}, 9),
       "o5=2032:16:1:0:0 o6=-6008 o9=-6008 o5=2032:16:1:0:0 o1=1000:16:1:0:0"},
      {"no chunk runs", chunked({}, {1000}, 1), "-6009"},
      {"chunk below the base", chunked({{1, 1}, {0, 4}}, {1000}, 4), "o1=-6009"},
      // Located in order, chunks at the same offset are read as one; located again, a sample is found in its
      // own chunk.
      {"chunks at one offset", chunked({{1, 2}}, {1000, 1000}, 4),
       "o2=1016:16:1:0:0 o3=1032:16:1:0:0 o3=1000:16:1:0:0 o4=1016:16:1:0:0"},

      // Opening the track again resets its positions.
      {"sync search after opening again", synced({10, 21, 31}), "f35=-6003 r0=0 f21=31"},

      {"tables after an entry that leaves bytes to the next box", misread(),
       "o1=6000:30:7:0:0 o3=6061:32:7:10:10"},
      // A table that claims more entries than its box holds fails past them; no walk over constant sizes.
      {"times past the box", raw_track(10, 16, {{"stts", stts({{4, 100}}, 3)}}),
       "d4=300:300 d5=-7012 d4=300:300"},
      {"times without an entry", raw_track(10, 16, {{"stts", stts({}, 3)}}), "-7012"},
      {"2^32 samples of one size",
       raw_track(1, 0,
                 {{"stts", stts({{0xFFFFFFFF, 0}})},
                  {"stsc", stsc({{1, 0xFFFFFFFF}})},
                  {"stsz", constant_stsz(1000, 0xFFFFFFFF)}}),
       "o4294967295=4294967294000:1000:1:0:0"},
      // Readers bound offsets; here a sum wraps.
      {"offsets past 2^64",
       raw_track(2, 16, {{"stsc", stsc({{1, 2}})}, {"stco", co64({0xFFFFFFFFFFFFFFF6})}}),
       "o2=6:16:1:1:1 o1=18446744073709551606:16:1:0:0 o2=6:16:1:1:1"},
  };
  for (const auto& [name, track, calls] : cases) EXPECT_EQ(replayed(track, calls), calls) << name;
}

TEST(SampleLocation, KeptStcoIsUsedAndLeavesCo64TheRestOfTheBudget) {
  // An stco that exceeds the rest of the budget takes all of it.
  const std::vector<uint64_t> offsets(400, 5000);
  const std::vector<uint64_t> other_offsets(400, 6000);
  const Bytes tables = concat({stco(offsets), co64(other_offsets)});
  const TrackDescription track = raw_track(400, 16, {{"stsc", stsc({{1, 1}})}, {"stco", tables}});
  EXPECT_EQ(OpenTrack(track, 0, 1024).status(), P3GPP_ERR_BAD_ARGUMENT);
  EXPECT_EQ(OpenTrack(track, 0, 24576).offset_of(7), 5000);
}

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
