// Streams of one descriptor on several threads, while other threads open and close streams on it.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "mediakit/files/sources.h"

namespace zdr::test {
namespace {

void use_from_four_threads(uint32_t type, uint32_t buffer_size) {
  const Source source(type, make_content(1000));
  const Context context = make_context(buffer_size, buffer_size);
  std::atomic<int> wrong = 0;
  const auto read_at_random = [&](uint32_t seed, bool reopens) {
    std::minstd_rand random(seed + 1);
    Stream stream = open_stream(source, "rb", context);
    for (int i = 0; i < 3000; ++i) {
      if (reopens) {
        stream.reset();
        stream = open_stream(source, "rb", context);
      }
      const size_t at = random() % 1000;
      const auto count = static_cast<uint32_t>(1 + random() % 40);
      seek64(stream, static_cast<int64_t>(at), FMGR_SEEK_SET);
      if (read_text(stream, count) != source.content().substr(at, count)) ++wrong;
    }
  };
  std::vector<std::thread> threads;
  for (uint32_t seed = 0; seed < 4; ++seed) threads.emplace_back(read_at_random, seed, seed >= 2);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

TEST(Threads, KeepTheirOwnPositions) {
  for (const uint32_t type : {FMGR_DEV_FILE_W, FMGR_DEV_MEMORY}) {
    for (const uint32_t buffer_size : {0u, 16u}) use_from_four_threads(type, buffer_size);
  }
}

}  // namespace
}  // namespace zdr::test
