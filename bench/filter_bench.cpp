// Measures the filter: the time from Load to the first sample, and whole files played into a sink that only
// counts.
#include <benchmark/benchmark.h>

#include <chrono>
#include <vector>

#include "bench/counting_playback.h"
#include "bench/huge_movie.h"

namespace zdr::bench {
namespace {

void load_to_first_sample(benchmark::State& state) {
  const auto& path = huge_movie(static_cast<uint32_t>(state.range(0)));
  for (auto _ : state) {
    const auto begin = std::chrono::steady_clock::now();
    Playback playback(path);
    playback.run();
    playback.pin().wait_for_first();
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
  }
}
BENCHMARK(load_to_first_sample)
    ->Arg(5000)
    ->Arg(1500000)
    ->Arg(15503906)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// Measures from Run to the end of the stream, without the load.
void play(benchmark::State& state, const std::u16string& path, uint64_t access_units_per_sample) {
  uint64_t samples = 0;
  uint64_t bytes = 0;
  for (auto _ : state) {
    Playback playback(path);
    const auto begin = std::chrono::steady_clock::now();
    playback.run();
    playback.pin().wait_for_end();
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
    samples += playback.pin().samples();
    bytes += playback.pin().bytes();
  }
  state.SetItemsProcessed(static_cast<int64_t>(samples * access_units_per_sample));
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
}

void play_small_samples(benchmark::State& state) {
  play(state, huge_movie(1500000), 10);
}
BENCHMARK(play_small_samples)->UseManualTime()->Unit(benchmark::kMillisecond);

void play_a_gigabyte(benchmark::State& state) {
  play(state, large_movie(), 1);
}
BENCHMARK(play_a_gigabyte)->MeasureProcessCPUTime()->UseManualTime()->Unit(benchmark::kMillisecond);

// Reads the same sizes in the same order without the filter: the upper limit for play_a_gigabyte. The
// argument is the number of buffers used in rotation.
void read_a_gigabyte_plainly(benchmark::State& state) {
  const auto& path = large_movie();
  std::vector<uint32_t> sizes;
  {
    const OpenMovie movie(path);
    const OpenTrack track(movie, 24576);
    P3gppSample sample{};
    for (sample.number = 1; P3GPP_ReadSample(track.get(), &sample) == P3GPP_OK; ++sample.number) {
      sizes.push_back(sample.size);
    }
  }
  std::vector<char> buffer(static_cast<size_t>(state.range(0)) << 18);
  size_t next = 0;
  uint64_t bytes = 0;
  for (auto _ : state) {
    const HANDLE file =
        CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    require(file != INVALID_HANDLE_VALUE, "opening the large file");
    for (const uint32_t size : sizes) {
      DWORD moved = 0;
      next = (next + 1) % static_cast<size_t>(state.range(0));
      require(ReadFile(file, buffer.data() + (next << 18), size, &moved, nullptr) != FALSE, "reading");
      bytes += moved;
    }
    CloseHandle(file);
  }
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
}
BENCHMARK(read_a_gigabyte_plainly)
    ->Arg(1)
    ->Arg(4)
    ->MeasureProcessCPUTime()
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zdr::bench
