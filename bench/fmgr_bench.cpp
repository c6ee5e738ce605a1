// Measures small reads through the file manager: pairs of FMGR_FSeek64 and FMGR_FRead of 300 bytes in a file
// of 100 MB, as the parser makes them for each sample, compared with the same pairs on the OS layer.
#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <vector>

#include "mediakit/files/sources.h"
#include "os/os.h"

namespace zdr::bench {
namespace {

using namespace test;

constexpr uint32_t kFileBytes = 100'000'000;
constexpr uint32_t kReadBytes = 300;

enum Order : int64_t { kForward, kRandom, kTwoRegions };

// Returns the offsets for playing one track, for jumps, or for playing two tracks that are stored apart.
std::vector<uint32_t> make_offsets(int64_t order) {
  std::vector<uint32_t> offsets(kFileBytes / kReadBytes);
  std::minstd_rand random;
  uint32_t forward = 0;
  for (size_t i = 0; i < offsets.size(); ++i) {
    if (order == kRandom) {
      offsets[i] = static_cast<uint32_t>(random() % (kFileBytes - kReadBytes));
    } else if (order == kTwoRegions && i % 2 == 1) {
      offsets[i] = forward + kFileBytes / 2 - kReadBytes;
    } else {
      offsets[i] = forward;
      forward += kReadBytes;
    }
  }
  return offsets;
}

Source& source() {
  static Source file(FMGR_DEV_FILE_W, make_content(kFileBytes));
  return file;
}

template <class Pair>
void run_pairs(benchmark::State& state, Pair pair) {
  const std::vector<uint32_t> offsets = make_offsets(state.range(0));
  size_t next = 0;
  for (auto _ : state) {
    pair(offsets[next]);
    next = next + 1 < offsets.size() ? next + 1 : 0;
  }
  state.SetItemsProcessed(state.iterations());
  state.SetBytesProcessed(state.iterations() * kReadBytes);
}

void BM_ManagerPairs(benchmark::State& state) {
  char buffer[kReadBytes];
  const Context context = make_context(0, 0);
  const Stream stream = open_stream(source(), "rb", context);
  run_pairs(state, [&](uint32_t offset) {
    FMGR_FSeek64(stream.get(), offset, 0, FMGR_SEEK_SET);
    if (FMGR_FRead(stream.get(), buffer, kReadBytes) != int32_t{kReadBytes})
      state.SkipWithError("short read");
  });
}

void BM_OsPairs(benchmark::State& state) {
  char buffer[kReadBytes];
  void* file = nullptr;
  OS_FileOpenW(&file, source().descriptor().source.wide_path, OS_OPEN_READ);
  run_pairs(state, [&](uint32_t offset) {
    uint32_t moved = 0;
    OS_FileSeek(file, offset, 0, OS_SEEK_BEGIN);
    OS_FileRead(file, buffer, kReadBytes, &moved);
    if (moved != kReadBytes) state.SkipWithError("short read");
  });
  OS_FileClose(file);
}

BENCHMARK(BM_ManagerPairs)->ArgName("order")->Arg(kForward)->Arg(kRandom)->Arg(kTwoRegions);
BENCHMARK(BM_OsPairs)->ArgName("order")->Arg(kForward)->Arg(kRandom)->Arg(kTwoRegions);

}  // namespace
}  // namespace zdr::bench
