// The rules of the lookups by hand-worked cases: those that players rely on, and the ends of tables.
// sample_lookup_test.cpp has the same lookups over random tables.
#include <gtest/gtest.h>

#include "track_file.h"

namespace zdr::test {
namespace {

TrackTables timed(const Runs& stts, uint32_t samples, const Runs& ctts = {},
                  const std::vector<Edit>& edits = {}) {
  TrackTables tables = plain_tables(samples);
  tables.stts = stts;
  tables.has_ctts = !ctts.empty();
  tables.ctts = ctts;
  tables.edits = edits;
  return tables;
}
TrackTables synced(const std::vector<uint32_t>& stss) {
  TrackTables tables = plain_tables(100);
  tables.has_stss = true;
  tables.stss = stss;
  return tables;
}
TrackTables chunked(const std::vector<ChunkRun>& stsc, const std::vector<uint64_t>& offsets,
                    uint32_t samples) {
  TrackTables tables = plain_tables(samples);
  tables.stts = {{100, 0}};
  tables.stsc = stsc;
  tables.chunk_offsets = offsets;
  return tables;
}

TEST(LookupRules, AnswersAreAsRequired) {
  const Runs two_rates = {{10, 1000}, {10, 500}};
  const Runs above_32_bits = {{4, 0x50000000}, {4, 1}};
  const std::vector<Edit> delay = {{1000, -1}, {400, 0}};
  TrackTables without_stss = synced({});
  without_stss.has_stss = false;
  const std::string neighbours = "f5=6 b5=4 b1=1 f100=-6008 b100=-6008 s77=1 s101=0";
  const std::vector<std::tuple<const char*, TrackTables, std::string>> cases = {
      // Forward, a search for a time answers the sample before; backward, the one that holds it.
      {"time, forward", timed({{100, 1000}}, 100), "t0=1@0 t1500=1@0 t2000=2@1000"},
      {"time, back", timed(two_rates, 20), "t12000=14@11500 t9500=10@9000"},
      {"time behind the runs", timed(two_rates, 20), "t15001=20@15000 t4294967295=20@15000"},
      {"time with the position behind the runs", timed(two_rates, 40),
       "d35=0:0 t15001=20@15000 t9500=10@9000"},
      {"time in runs of no length", timed({{5, 0}, {5, 10}, {5, 0}}, 15), "t25=7@10 t60=15@50 t50=11@50"},
      {"time of 2^33 samples", timed({{0xFFFFFFFF, 0}, {0xFFFFFFFF, 0}}, 4), "t1=-6008"},
      {"time without runs", timed({}, 4), "t0=1@0 t1=-6009"},
      {"times above 32 bits", timed(above_32_bits, 8),
       "d4=4026531840:4026531840 d5=-6008 d3=2684354560:2684354560 t4294967295=3@2684354560"},
      {"numbers out of range", timed({{8, 1}}, 8), "d0=-6008 d9=-6008 o0=-6008 o9=-6008 d4294967295=-6008"},
      // Backward, a composition offset comes from one run too early, but for the last sample of a run.
      {"composition, forward", timed({{6, 0}}, 6, {{2, 10}, {2, 20}, {2, 30}}),
       "d1=0:10 d2=0:10 d3=0:20 d5=0:30"},
      {"composition, back to 4", timed({{6, 0}}, 6, {{2, 10}, {2, 20}, {2, 30}}), "d5=0:30 d4=0:20"},
      {"composition, back to 3", timed({{6, 0}}, 6, {{2, 10}, {2, 20}, {2, 30}}), "d5=0:30 d3=0:10"},
      {"composition, back to 1: there is none", timed({{6, 0}}, 6, {{2, 10}, {2, 20}}),
       "d0=-6008 d1=0:10 d3=0:20 d1=0:20"},
      {"composition of single samples", timed({{4, 0}}, 4, {{1, 10}, {1, 20}, {1, 30}}),
       "d3=0:30 d2=0:20 d1=0:10 d2=0:20"},
      // Sample 3 has no run: its times are the old ones, shifted again.
      {"beyond the time tables", timed({{2, 100}}, 4, {{2, 7}}, delay), "d1=1000:7 d2=1100:107 d3=2100:1207"},

      // Forward, the sample itself is the answer only from behind; backward, the first one at least.
      {"sync searches", synced({10, 21, 31}), "f10=21 f35=-6003 f21=21 f21=31 b21=21 b5=10"},
      {"unsorted", synced({10, 30, 5, 90}), "s90=1 s10=1 s5=0"},
      {"no sync table", without_stss, neighbours},
      {"an empty one", synced({}), neighbours},
      {"sync, numbers out of range", synced({1, 50}), "f0=-6008 b101=-6008 s0=-6009 s101=0"},

      // Counted from 0, the last run still reaches to the number of chunks, one too far.
      {"chunks from 0", chunked({{0, 2}}, {1000, 2000}, 7), "o4=2016:16:1:0:0 o5=-6009 o7=-6008"},
      {"chunks from 256, taken for 0", chunked({{256, 2}}, {1000}, 1), "o1=-6008"},
      {"chunks from 2", chunked({{2, 2}}, {1000}, 2), "-7047"},
      {"chunks from 255", chunked({{255, 2}}, {1000}, 2), "-7047"},
      {"behind the last chunk", chunked({{1, 2}, {2, 3}}, {1000, 2000}, 9),
       "o5=2032:16:1:0:0 o6=-6008 o9=-6008 o5=2032:16:1:0:0 o1=1000:16:1:0:0"},
      {"chunk below the base", chunked({{1, 1}, {0, 4}}, {1000}, 4), "o1=-6009"},
      // Chunks at one offset are one in sequence; asked again, a sample is found in its own.
      {"chunks at one offset", chunked({{1, 2}}, {1000, 1000}, 4),
       "o2=1016:16:1:0:0 o3=1032:16:1:0:0 o3=1000:16:1:0:0 o4=1016:16:1:0:0"},
  };
  for (const auto& [name, tables, calls] : cases) EXPECT_EQ(replayed(tables, calls), calls) << name;
}

TEST(SampleLocation, WithBothOffsetTablesThe32BitOneCountsAndThe64BitOneGetsTheRestOfTheBudgetByRequirement) {
  // An stco larger than its share takes all that is left.
  TrackTables tables = chunked({{1, 1}}, std::vector<uint64_t>(400, 5000), 400);
  tables.also_co64 = true;
  EXPECT_EQ(OpenTrack(tables, 0, 1024).status(), P3GPP_ERR_BAD_ARGUMENT);
  EXPECT_EQ(OpenTrack(tables, 0, 24576).offset_of(7), 5000);
}

TEST(SampleLocation, ATableCutOffByTheEndOfTheFileServesTheEntriesBeforeTheCut) {
  TrackTables tables = chunked({{1, 1}}, {}, 1000);
  for (uint32_t n = 1; n <= 1000; ++n) tables.chunk_offsets.push_back(n * 100);
  tables.stts = {{1000, 0}};
  tables.cut_off = 4;  // the last chunk offset
  OpenTrack track(tables);
  EXPECT_EQ(track.offset_of(10), 1000);
  EXPECT_EQ(track.offset_of(999), P3GPP_ERR_READ) << "its block is not whole";
  EXPECT_EQ(track.offset_of(10), 1000) << "and has replaced nothing";
}

TEST(SampleLocation, ConstantSizesNeedNoWalk) {
  TrackTables tables = chunked({{1, 0xFFFFFFFF}}, {1000}, 1);
  tables.default_size = 1000;
  tables.default_count = 0xFFFFFFFF;
  tables.stts = {{0xFFFFFFFF, 0}};
  tables.media_duration = 0xFFFFFFFF;
  OpenTrack track(tables);
  EXPECT_EQ(track.offset_of(0xFFFFFFFF), 1000 + 0xFFFFFFFELL * 1000);
  float bits_per_second = 0;
  EXPECT_EQ(P3GPP_GetBitrate(track.get(), &bits_per_second), P3GPP_OK);
  EXPECT_FLOAT_EQ(bits_per_second, 8e6F);
}

}  // namespace
}  // namespace zdr::test
