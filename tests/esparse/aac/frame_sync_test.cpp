// Compares the search for ADTS frames with a plain model that examines every byte.
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "esparse/aac/frame_sync.h"

namespace zdr::test {
namespace {

using namespace aacf;
using Data = std::vector<uint8_t>;

constexpr uint32_t kUntouched = 777;

// Status and length, or offset.
using Found = std::pair<int32_t, uint32_t>;

// Compares 28 bits.
bool matches(const Data& data, size_t i) {
  return data[i] == 0xFF && data[i + 1] == 0xF1 && data[i + 2] == 0x50 && data[i + 3] >> 4 == 8;
}

Found plain_sync(const Data& data) {
  bool rejected = false;
  for (size_t i = 0; i + 4 < data.size(); ++i) {
    if (!matches(data, i)) continue;
    if (rejected) return {0, static_cast<uint32_t>(i)};
    if (data.size() - i < 7) return {55435, kUntouched};
    const size_t length = (data[i + 3] & 3u) << 11 | data[i + 4] << 3 | data[i + 5] >> 5;
    if (length == 0) return {-1, kUntouched};
    if (data.size() - i <= length + 4) return {-10101, kUntouched};
    if (matches(data, length)) return {0, static_cast<uint32_t>(length)};
    rejected = true;
  }
  return {-10101, kUntouched};
}

Found plain_search(const Data& data) {
  for (size_t i = 0; i + 4 < data.size(); ++i) {
    if (matches(data, i)) return {0, static_cast<uint32_t>(i)};
  }
  return {-10101, static_cast<uint32_t>(data.size() > 4 ? data.size() - 4 : 0)};
}

// Returns up to 120 bytes: mostly headers in a row, of frames of up to 31 bytes, so that every branch is
// taken often.
Data random_data(std::mt19937& random) {
  const auto below = [&random](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
  Data data(below(120));
  uint32_t at = 0;
  for (uint8_t& byte : data) {
    const uint32_t fourth = 0x80 + (below(6) == 0 ? below(32) : 0);
    const uint32_t header[] = {0xFF, 0xF1, 0x50, fourth, below(4), below(256), 0};
    byte = static_cast<uint8_t>(header[at % 7]);
    at += below(16) == 0 ? below(7) : 1;
  }
  return data;
}

TEST(FrameSync, KeptRulesOfAdtsMatchThePlainModel) {
  AACF_SyncState state;
  state.kind = AACF_KIND_ADTS;
  state.first_header = {0xFF, 0xF1, 0x50, 0x80};
  std::mt19937 random(1);
  std::map<int32_t, int> seen;
  for (int round = 0; round < 30000; ++round) {
    const Data data = random_data(random);
    uint32_t length = kUntouched;
    const int32_t status = frame_sync(state, data, length);
    ASSERT_EQ(Found(status, length), plain_sync(data)) << "round " << round;
    uint32_t offset = kUntouched;
    const int32_t search_status = find_next_header(state, data, offset);
    ASSERT_EQ(Found(search_status, offset), plain_search(data)) << "round " << round;
    ++seen[status];
  }
  for (const int32_t status : {0, -1, 55435, -10101}) EXPECT_GT(seen[status], 300) << status;
}

}  // namespace
}  // namespace zdr::test
