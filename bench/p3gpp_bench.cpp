// Measures opening, locating and reading by the number of samples of a track.
#include <benchmark/benchmark.h>

#include <array>
#include <random>

#include "bench/huge_movie.h"

namespace zdr::bench {
namespace {

constexpr uint32_t kAudioBudget = 8192;  // budgets of the table cache, as passed by the pins of the filter
constexpr uint32_t kVideoBudget = 24576;
constexpr uint32_t kHundredHours = 15503906;  // of 44.1 kHz AAC

void sample_counts(benchmark::internal::Benchmark* bench) {
  for (const int64_t samples : {int64_t{5000}, int64_t{1500000}, int64_t{kHundredHours}}) bench->Arg(samples);
}

uint32_t samples_of(const benchmark::State& state) {
  return static_cast<uint32_t>(state.range(0));
}

void list_tracks(const OpenMovie& movie) {
  P3gppTrackCounts counts{};
  std::array<uint32_t, 8> ids{};
  uint32_t count = 0;
  P3gppTrackInfo* info = nullptr;
  require(P3GPP_GetTrackCounts(movie.file(), &counts) == P3GPP_OK &&
              P3GPP_GetTrackIds(movie.file(), P3GPP_TRACK_AUDIO, ids.data(), &count) == P3GPP_OK &&
              P3GPP_GetTrackInfo(movie.file(), ids[0], &info) == P3GPP_OK,
          "listing the tracks");
  info->release(info);
}

void open_and_list(benchmark::State& state) {
  const auto& path = huge_movie(samples_of(state));
  for (auto _ : state) list_tracks(OpenMovie(path));
}
BENCHMARK(open_and_list)->Apply(sample_counts)->Unit(benchmark::kMicrosecond);

void open_track(benchmark::State& state) {
  const OpenMovie movie(huge_movie(samples_of(state)));
  for (auto _ : state) OpenTrack(movie, kVideoBudget);
}
BENCHMARK(open_track)->Apply(sample_counts)->Unit(benchmark::kMicrosecond);

// What a video pin does at its start: two walks over all sizes.
void open_and_walk_sizes(benchmark::State& state) {
  const auto& path = huge_movie(samples_of(state));
  for (auto _ : state) {
    const OpenMovie movie(path);
    const OpenTrack track(movie, kVideoBudget);
    uint32_t largest = 0;
    float bitrate = 0;
    require(P3GPP_GetMaxSampleSize(track.get(), &largest) == P3GPP_OK &&
                P3GPP_GetBitrate(track.get(), &bitrate) == P3GPP_OK,
            "walking the sizes");
    benchmark::DoNotOptimize(largest);
    benchmark::DoNotOptimize(bitrate);
  }
}
BENCHMARK(open_and_walk_sizes)->Apply(sample_counts)->Unit(benchmark::kMillisecond);

void read_in_order(benchmark::State& state, uint8_t* buffer) {
  const OpenMovie movie(huge_movie(samples_of(state)));
  const OpenTrack track(movie, kAudioBudget);
  P3gppSample sample{};
  sample.buffer = buffer;
  uint64_t bytes = 0;
  for (auto _ : state) {
    if (++sample.number > samples_of(state)) sample.number = 1;
    if (P3GPP_ReadSample(track.get(), &sample) != P3GPP_OK) {
      state.SkipWithError("P3GPP_ReadSample failed");
      break;
    }
    bytes += sample.size;
  }
  state.SetItemsProcessed(state.iterations());
  if (buffer != nullptr) state.SetBytesProcessed(static_cast<int64_t>(bytes));
}

void locate_in_order(benchmark::State& state) {
  read_in_order(state, nullptr);
}
BENCHMARK(locate_in_order)->Apply(sample_counts);

void read_samples_in_order(benchmark::State& state) {
  std::array<uint8_t, 1024> buffer;
  read_in_order(state, buffer.data());
}
BENCHMARK(read_samples_in_order)->Apply(sample_counts);

// The same reads without the parser, for the time spent in the file manager and the platform.
void read_same_places_plainly(benchmark::State& state) {
  const OpenMovie movie(huge_movie(samples_of(state)));
  const OpenTrack track(movie, kAudioBudget);
  std::array<P3gppSample, 2 * kSamplesPerChunk> places{};
  for (uint32_t i = 0; i < places.size(); ++i) {
    places[i].number = i + 1;
    require(P3GPP_ReadSample(track.get(), &places[i]) == P3GPP_OK, "locating");
  }
  FMGR_Stream* stream = FMGR_FOpen(&movie.descriptor(), "rb", movie.context());
  std::array<uint8_t, 1024> buffer;
  size_t next = 0;
  for (auto _ : state) {
    const P3gppSample& place = places[next];
    next = next + 1 == places.size() ? 0 : next + 1;
    FMGR_FSeek64(stream, static_cast<uint32_t>(place.file_offset), 0, FMGR_SEEK_SET);
    benchmark::DoNotOptimize(FMGR_FRead(stream, buffer.data(), place.size));
  }
  FMGR_FClose(stream);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(read_same_places_plainly)->Arg(1500000);

// A jump as in a seek: time to sample, then location and read of the sample.
void seek_at_random(benchmark::State& state) {
  const OpenMovie movie(huge_movie(samples_of(state)));
  const OpenTrack track(movie, kAudioBudget);
  std::mt19937 random(1);
  P3gppSample sample{};
  for (auto _ : state) {
    uint32_t time = static_cast<uint32_t>(random() % (samples_of(state) * uint64_t{kSampleDelta}));
    require(P3GPP_TimeToSample(track.get(), &time, &sample.number) == P3GPP_OK &&
                P3GPP_ReadSample(track.get(), &sample) == P3GPP_OK,
            "seeking");
  }
}
BENCHMARK(seek_at_random)->Apply(sample_counts)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace zdr::bench
