// The sample lookups against a reference that expands whole tables, over random tables, small caches and
// random orders of calls, so that every rule that depends on earlier calls is met in every state.
#include <algorithm>
#include <random>

#include "gtest/gtest.h"
#include "lookup_answers.h"
#include "lookup_model.h"
#include "track_file.h"

namespace zdr::test {
namespace {

class TableMaker {
 public:
  explicit TableMaker(uint32_t seed) : random_(seed) {}

  uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random_() % limit); }
  bool one_in(uint32_t n) { return below(n) == 0; }

  TrackTables make() {
    TrackTables tables;
    const uint32_t samples = 1 + below(one_in(4) ? 3000 : 120);
    make_sizes(tables, samples);
    // The other tables may cover less or more than all samples.
    tables.stts = make_runs(one_in(5) ? samples - below(samples) : samples, one_in(8) ? 40000000 : 2000);
    tables.has_ctts = one_in(2);
    tables.ctts = make_runs(one_in(5) ? samples - below(samples) : samples, one_in(8) ? 0xFFFFFFFF : 500);
    tables.has_stss = one_in(2);
    const uint32_t step = 1 + below(30);
    for (uint32_t n = 1 + below(step); tables.has_stss && n <= samples; n += 1 + below(step)) {
      tables.stss.push_back(n);
    }
    make_chunks(tables, samples);
    if (one_in(4)) tables.edits = {{below(5000), one_in(2) ? -1 : 0}, {7, one_in(2) ? -1 : 5}};
    return tables;
  }

 private:
  void make_sizes(TrackTables& tables, uint32_t samples) {
    tables.sizes.assign(samples, 0);
    for (uint32_t& size : tables.sizes) size = one_in(50) ? 0 : below(one_in(20) ? 0x40000000 : 400);
    if (one_in(4)) {
      tables.default_size = 1 + below(1000);
      tables.default_count = samples;
    }
  }

  Runs make_runs(uint32_t samples, uint32_t max_value) {
    Runs runs;
    const uint32_t longest = 1 + below(one_in(2) ? 4 : 60);
    for (uint32_t covered = 0; covered < samples;) {
      const uint32_t count = one_in(15) ? 0 : 1 + below(longest);
      runs.emplace_back(count, one_in(12) ? 0 : below(max_value));
      covered += count;
    }
    return runs;
  }

  void make_chunks(TrackTables& tables, uint32_t samples) {
    tables.co64 = one_in(3);
    tables.stsc.clear();
    tables.chunk_offsets.clear();
    uint32_t chunk = one_in(4) ? 0 : 1;
    const uint32_t first = chunk;
    const uint32_t longest = 1 + below(12);
    for (uint32_t covered = 0; covered < samples;) {
      const uint32_t per_chunk = one_in(20) ? 0 : 1 + below(longest);
      const uint32_t chunks = 1 + below(5);
      tables.stsc.push_back({chunk, per_chunk, 1 + below(3)});
      covered += per_chunk * chunks;
      chunk += chunks;
    }
    // Sometimes entries out of order, and sometimes chunks without an offset.
    if (one_in(6) && tables.stsc.size() > 2) std::swap(tables.stsc[1], tables.stsc[2]);
    const uint32_t count = one_in(6) ? 1 + below(chunk - first) : chunk - first;
    const uint64_t range = tables.co64 ? 0x7000000000 : 0xFFFFFFFF;
    for (uint32_t i = 0; i < count; ++i) {
      // Neighbours at the same offset, now and then.
      const bool repeated = i > 0 && one_in(4);
      tables.chunk_offsets.push_back(repeated ? tables.chunk_offsets.back() : random_() % range);
    }
  }

  std::mt19937_64 random_;
};

// Walks over sample numbers: runs in order, small steps back, far jumps.
class AccessOrder {
 public:
  AccessOrder(uint32_t seed, uint32_t samples) : random_(seed), samples_(samples) {}
  uint32_t next() {
    const uint32_t kind = static_cast<uint32_t>(random_() % 10);
    if (kind < 6) {
      ++number_;
    } else if (kind < 8) {
      number_ -= std::min(number_, static_cast<uint32_t>(random_() % 8));
    } else {
      number_ = static_cast<uint32_t>(random_() % (samples_ + 2));
    }
    number_ = std::min(number_, samples_ + 2);
    return number_;
  }

 private:
  std::mt19937 random_;
  uint32_t samples_;
  uint32_t number_ = 0;
};

uint32_t some_time(TableMaker& random, uint32_t near) {
  if (random.one_in(3)) return near + random.below(50);
  if (random.one_in(20)) return 0xFFFFFFFF - random.below(3);
  return random.below(near + 3000);
}

void run_orders(uint32_t seed) {
  TableMaker random(seed);
  const TrackTables tables = random.make();
  OpenTrack track(tables, 0, random.one_in(2) ? 1 : 24576);
  ASSERT_EQ(track.status(), P3GPP_OK);
  LookupModel model(tables);
  LookupAnswers actual(track);
  LookupAnswers expected(model);
  AccessOrder order(seed, tables.sample_count());
  for (int i = 0; i < 600 && !::testing::Test::HasFailure(); ++i) {
    const char call = "dtsfbooooo"[random.below(10)];
    const uint32_t number = order.next();
    const uint32_t argument = call == 't' ? some_time(random, expected.decoding_time()) : number;
    EXPECT_EQ(actual(call, argument), expected(call, argument))
        << "seed " << seed << ", " << call << argument;
  }
}

TEST(SampleLookup, AgreesWithExpandedTablesInAnyOrder) {
  for (uint32_t seed = 1; seed <= 1500 && !HasFailure(); ++seed) run_orders(seed);
}

}  // namespace
}  // namespace zdr::test
