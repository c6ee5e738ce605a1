// Sample lookups with random tables, small caches and random orders of calls: a track in use returns the same
// results as one just opened, except where results depend on earlier calls (lookup_rules_test.cpp).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/p3gpp/samples/track_file.h"

namespace zdr::test {
namespace {

class TrackMaker {
 public:
  explicit TrackMaker(uint32_t seed) : random_(seed) {}

  uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random_() % limit); }
  bool one_in(uint32_t n) { return below(n) == 0; }

  // Tables of `samples` samples; some have runs without samples.
  TrackDescription make(uint32_t samples) {
    std::vector<uint32_t> sizes(samples);
    for (uint32_t& size : sizes) size = one_in(50) ? 0 : below(one_in(20) ? 0x40000000 : 400);
    TrackDescription track =
        raw_track(samples, 0, {{"stsz", one_in(4) ? constant_stsz(77, samples) : stsz(sizes)}});
    track.replaced["stts"] = stts(runs(samples, 1, 2000));
    if (one_in(2)) track.replaced["ctts"] = ctts(runs(samples, 0, 0xFFFFFFFF));
    std::vector<ChunkRun> chunks;
    std::vector<uint64_t> offsets;
    const uint32_t base = one_in(4) ? 0 : 1;
    for (uint32_t covered = 0; covered < samples;) {
      chunks.push_back(
          {static_cast<uint32_t>(offsets.size()) + base, one_in(20) ? 0 : 1 + below(12), 1 + below(3)});
      const uint32_t count = 1 + below(4);
      for (uint32_t i = 0; i < count; ++i) offsets.push_back(random_() % 0xFFFFFFFF);
      covered += count * chunks.back().samples_per_chunk;
    }
    track.replaced["stsc"] = stsc(chunks);
    track.replaced["stco"] = one_in(3) ? co64(offsets) : stco(offsets);
    return track;
  }

 private:
  Runs runs(uint32_t samples, uint32_t least, uint32_t range) {
    Runs all;
    const uint32_t longest = 1 + below(one_in(2) ? 4 : 60);
    for (uint32_t covered = 0; covered < samples; covered += all.back().first) {
      const uint32_t count = one_in(15) ? 0 : std::min(1 + below(longest), samples - covered);
      all.emplace_back(count, least + below(range));
    }
    return all;
  }

  std::mt19937_64 random_;
};

TEST(SampleLookup, GivesTheSameResultsInAnyOrder) {
  for (uint32_t seed = 1; seed <= 500 && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    TrackMaker random(seed);
    const uint32_t samples = 1 + random.below(random.one_in(4) ? 3000 : 120);
    const TrackDescription track = random.make(samples);
    OpenTrack used(track, 0, random.one_in(2) ? 1 : 24576);
    OpenTrack reopened(track, 0, 24576);
    const auto fresh = [&](char call, uint32_t argument) {
      reopened.reopen();
      return reopened.lookup(call, argument);
    };
    const auto end = static_cast<uint32_t>(std::stoul(fresh('d', samples)));
    uint32_t number = 0;
    uint32_t last = 0;  // sample located last
    for (int i = 0; i < 300 && !HasFailure(); ++i) {
      const uint32_t kind = random.below(10);  // in order, a few steps back, or anywhere
      if (kind < 6) ++number;
      if (kind == 6 || kind == 7) number -= std::min(number, random.below(8));
      if (kind > 7) number = random.below(samples + 2);
      if (random.below(10) < 7) {
        const std::string expected = fresh('o', number);
        const std::string found = used.lookup('o', number);
        // After a step back only the composition time may differ.
        const size_t compared = number > last ? std::string::npos : expected.rfind(':');
        EXPECT_EQ(found.substr(0, compared), expected.substr(0, compared)) << number;
        if (found[0] != '-') last = number;
      } else {  // found forward or back: the sample that holds the time, or the one before
        const uint32_t time = random.one_in(20) ? 0xFFFFFFFF : random.below(end + 3000);
        const std::string before = fresh('t', time);
        const auto holder = static_cast<uint32_t>(std::stoul(before)) + 1;
        const std::string times = fresh('d', holder);
        const std::string holds = std::to_string(holder) + '@' + times.substr(0, times.find(':'));
        EXPECT_THAT(used.lookup('t', time), testing::AnyOf(before, holds)) << time;
      }
    }
  }
}

// Also where a table ends early or a time is too large, and with delayed tracks.
TEST(SampleLookup, SamplesLocatedTogetherAreThoseLocatedOneByOne) {
  for (uint32_t seed = 1; seed <= 600 && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    TrackMaker random(seed);
    const uint32_t samples = 1 + random.below(600);
    TrackDescription track = random.make(samples);
    if (random.one_in(4))
      track.replaced["stts"] = stts({{samples - samples / 3, 0xFFFFFFFF / samples * (1 + random.below(2))}});
    if (random.one_in(8)) track.replaced["ctts"] = ctts({{samples / 2, 7}});
    if (random.one_in(4)) track.edits = {{1000, -1}, {500, 0}};
    OpenTrack single(track, 0, 24576);
    OpenTrack batched(track, 0, random.one_in(2) ? 1 : 24576);
    std::vector<P3gppSample> batch(1 + random.below(200));
    P3gppSample record{};
    record.number = 1 + random.below(samples);
    for (int32_t status = P3GPP_OK; status == P3GPP_OK && !HasFailure();) {
      uint32_t located = 0;
      batch[0] = record;
      status =
          P3GPP_LocateSamples(batched.get(), batch.data(), static_cast<uint32_t>(batch.size()), &located);
      for (uint32_t i = 0; i < located; ++i, ++record.number) {
        EXPECT_EQ(P3GPP_ReadSample(single.get(), &record), P3GPP_OK);
        EXPECT_EQ(sample_text(batch[i]), sample_text(record)) << record.number;
      }
      if (located < batch.size()) {
        EXPECT_EQ(P3GPP_ReadSample(single.get(), &record), status) << record.number;
      }
    }
  }
}

// Sync searches as a walk entry by entry.
struct SyncWalk {
  std::vector<uint32_t> table;
  size_t at = 0;

  void back(uint32_t number) {
    while (table[at] > number && at > 0) --at;
  }
  void forward(uint32_t number) {
    while (table[at] < number && at + 1 < table.size()) ++at;
  }
  int64_t lookup(char call, uint32_t number) {
    const bool is_above = table[at] > number;
    if (call == 's') {
      const bool from_front = number < table[at] / 2;
      if (from_front) at = 0;
      is_above && !from_front ? back(number) : forward(number);
      return table[at] == number ? 1 : 0;
    }
    is_above ? back(number) : forward(number + 1);
    if (call == 'f' && is_above) forward(number);
    if (call == 'b') back(number);
    if (call == 'f' && !is_above && table[at] <= number) return P3GPP_ERR_NO_SYNC_SAMPLE;
    return table[at];
  }
};

TEST(SampleLookup, SyncSearchesAreAWalkOfFewReads) {
  constexpr uint32_t kSamples = 50000;
  for (uint32_t seed = 0; seed < 200 && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    TrackMaker random(seed);
    SyncWalk walk;
    const bool is_long = seed < 8;
    const bool is_unsorted = seed % 2 != 0;
    const uint32_t entries = is_long ? 10000 + random.below(10000) : 1 + random.below(300);
    for (uint32_t i = 0; i < entries; ++i) {
      const bool is_small = is_long && is_unsorted ? !random.one_in(5000) : random.one_in(9);
      walk.table.push_back(random.below(is_small ? 99 : kSamples));
    }
    if (is_long && is_unsorted) walk.table.back() = kSamples;  // from there, a search may begin at the front
    const size_t shuffled = is_long ? is_unsorted * entries : random.below(4) * random.below(entries) / 4;
    std::sort(walk.table.begin(), walk.table.end() - static_cast<int64_t>(shuffled));
    OpenTrack track(
        raw_track(kSamples, 0, {{"stsz", constant_stsz(1, kSamples)}, {"stss", stss(walk.table)}}));
    track.lookup('f', kSamples);  // learns the order
    walk.lookup('f', kSamples);
    const size_t reads = track.source().reads.size();
    for (int i = 0; i < 300 && !HasFailure(); ++i) {
      const char call = "sfb"[random.below(3)];
      const uint32_t number =
          1 + (random.one_in(3) ? walk.table[random.below(entries)] : random.below(kSamples)) % kSamples;
      EXPECT_EQ(track.lookup(call, number), std::to_string(walk.lookup(call, number))) << call << number;
    }
    const size_t most_reads = shuffled == 0 ? 300 * 20 : 300;
    EXPECT_TRUE(!(is_long || shuffled == 0) || track.source().reads.size() - reads <= most_reads);
  }
}

}  // namespace
}  // namespace zdr::test
