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

Found find(int32_t (*how)(const AACF_SyncState&, std::span<const uint8_t>, uint32_t&),
           const AACF_SyncState& state, const Data& data) {
  Found found{0, kUntouched};
  found.first = how(state, data, found.second);
  return found;
}

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

// Header bytes, and headers of short frames, are frequent in the data, so that every branch is taken often.
TEST(FrameSync, KeptRulesOfAdtsMatchThePlainModel) {
  AACF_SyncState state;
  state.kind = AACF_KIND_ADTS;
  state.first_header = {0xFF, 0xF1, 0x50, 0x80};
  std::mt19937 random(1);
  const auto below = [&random](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
  std::map<int32_t, int> seen;
  for (int round = 0; round < 30000; ++round) {
    Data data;
    const size_t size = below(120);
    while (data.size() < size) {
      if (below(4) == 0) {
        const uint32_t length = below(60);
        const uint32_t fourth = below(8) == 0 ? 0x90 : 0x80 | below(4) << 2 | (below(16) == 0 ? 1u : 0u);
        for (const uint32_t byte : {0xFFu, 0xF1u, 0x50u, fourth, length >> 3, length << 5, 0u}) {
          data.push_back(static_cast<uint8_t>(byte));
        }
      } else {
        constexpr uint8_t kBytes[] = {0xFF, 0xF1, 0x50, 0x80, 0x90, 0, 8};
        data.push_back(kBytes[below(std::size(kBytes))]);
      }
    }
    data.resize(size);
    const Found expected = plain_sync(data);
    ASSERT_EQ(find(frame_sync, state, data), expected) << "round " << round;
    ASSERT_EQ(find(find_next_header, state, data), plain_search(data)) << "round " << round;
    ++seen[expected.first];
  }
  for (const int32_t status : {0, -1, 55435, -10101}) EXPECT_GT(seen[status], 300) << status;
}

}  // namespace
}  // namespace zdr::test
