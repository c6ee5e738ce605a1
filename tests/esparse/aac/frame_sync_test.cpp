// Frame sync and resync, against a plain reading of the rules byte by byte.
#include <gtest/gtest.h>

#include <random>

#include "esparse/aac/frame_sync.h"
#include "esparse/aac/status.h"
#include "tests/esparse/aac/stream_builder.h"

namespace {

using namespace zdr::aacf;
using zdr::aacf::test::adif_header;
using zdr::aacf::test::adts_frame;
using zdr::aacf::test::silent_block;
using Data = std::vector<uint8_t>;

constexpr uint32_t kUntouched = 777;

AACF_SyncState adts_state() {
  AACF_SyncState state;
  state.kind = AACF_KIND_ADTS;
  state.first_header = {0xFF, 0xF1, 0x50, 0x80, 0, 0, 0, 0};
  return state;
}

struct Found {
  int32_t status;
  uint32_t length;
  bool operator==(const Found&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Found& found) {
  return out << found.status << " (" << found.length << ")";
}

Found sync(const AACF_SyncState& state, const Data& data) {
  Found found{0, kUntouched};
  found.status = frame_sync(state, data, found.length);
  return found;
}

// A header that claims `length`, and zeros up to `size` bytes.
Data piece(uint32_t length, size_t size, uint8_t fourth_byte_bits = 0) {
  Data data{0xFF,
            0xF1,
            0x50,
            static_cast<uint8_t>(0x80 | fourth_byte_bits | length >> 11),
            static_cast<uint8_t>(length >> 3),
            static_cast<uint8_t>(length << 5),
            0};
  data.resize(size);
  return data;
}

Data operator+(Data first, const Data& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

TEST(FrameSync, OfAdtsFollowsItsRules) {
  const Found more{AACF_ERR_NEED_MORE_DATA, kUntouched};
  const struct {
    const char* what;
    Data data;
    Found expected;
  } cases[] = {
      {"nothing", {}, more},
      {"four bytes", piece(20, 4), more},
      {"a frame and the next header", piece(20, 20) + piece(20, 5), {AACF_OK, 20}},
      {"the next header's fifth byte is missing", piece(20, 20) + piece(20, 4), more},
      {"low bits of the fourth byte may differ", piece(20, 20) + piece(4095, 20, 0xC), {AACF_OK, 20}},
      {"high bits may not", piece(20, 20) + Data{0xFF, 0xF1, 0x50, 0x90, 0} + Data(20, 0), more},
      {"length 0", piece(0, 40), {AACF_ERR_FAILED, kUntouched}},
      {"no header at all", Data(100, 0xFF), more},
      {"required: the length counts from the data, not from the header",
       Data(10, 0) + piece(30, 20) + piece(20, 20),
       {AACF_OK, 30}},
      {"required: the second header is believed", Data(10, 0) + piece(21, 25) + piece(9, 7), {AACF_OK, 35}},
      {"a rejected header without a second", piece(20, 50), more},
      {"required: six bytes left are a success", Data(10, 0) + piece(20, 6), {kHeaderCutOff, kUntouched}},
      {"required: five bytes left are a success", Data(10, 0) + piece(20, 5), {kHeaderCutOff, kUntouched}},
      {"four bytes left are none", Data(10, 0) + piece(20, 4), more},
      {"a second header may be cut off", piece(21, 30) + piece(20, 5), {AACF_OK, 30}},
  };
  for (const auto& c : cases) EXPECT_EQ(sync(adts_state(), c.data), c.expected) << c.what;
  EXPECT_EQ(kHeaderCutOff, 55435);
}

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

Found plain_resync(const Data& data) {
  for (size_t i = 0; i + 4 < data.size(); ++i) {
    if (matches(data, i)) return {0, static_cast<uint32_t>(i)};
  }
  return {-10101, static_cast<uint32_t>(data.size() > 4 ? data.size() - 4 : 0)};
}

// Bytes of headers are made frequent, so that every branch is taken often.
TEST(FrameSync, AgreesWithThePlainReading) {
  std::mt19937 random(1);
  const auto below = [&random](uint32_t limit) { return random() % limit; };
  int seen[5] = {};
  for (int round = 0; round < 30000; ++round) {
    Data data;
    const size_t size = below(120);
    while (data.size() < size) {
      if (below(4) == 0) {
        data = data + piece(static_cast<uint32_t>(below(60)), 7);
      } else {
        constexpr uint8_t kBytes[] = {0xFF, 0xF1, 0x50, 0x80, 0, 8};
        data.push_back(kBytes[below(std::size(kBytes))]);
      }
    }
    data.resize(size);
    const Found expected = plain_sync(data);
    ASSERT_EQ(sync(adts_state(), data), expected) << "round " << round;
    ++seen[expected.status == 0 ? 0 : expected.status == -1 ? 1 : expected.status == 55435 ? 2 : 3];
    Found resynced{0, 0};
    resynced.status = resync(adts_state(), data, resynced.length);
    ASSERT_EQ(resynced, plain_resync(data)) << "round " << round;
  }
  for (int i = 0; i < 4; ++i) EXPECT_GT(seen[i], 300) << i;
}

AACF_SyncState raw_state() {
  AACF_SyncState state;
  state.kind = AACF_KIND_RAW;
  state.config = {4096, 1024, 44100, 2, 1, 44100, 0, 0};
  return state;
}

TEST(FrameSync, OfRawBlocksMeasuresThem) {
  const Data block = silent_block(200);
  EXPECT_EQ(sync(raw_state(), block + block), (Found{AACF_OK, 200}));
  EXPECT_EQ(sync(raw_state(), block), (Found{AACF_OK, 200}));
  EXPECT_EQ(sync(raw_state(), Data(block.begin(), block.end() - 1)),
            (Found{AACF_ERR_NEED_MORE_DATA, kUntouched}));
  // 0xFF begins no block: end of block, then bits.
  Found resynced{0, 0};
  resynced.status = resync(raw_state(), Data{0x60, 0x60, 0x60} + block, resynced.length);
  EXPECT_EQ(resynced, (Found{AACF_OK, 3}));
  resynced.status = resync(raw_state(), {}, resynced.length);
  EXPECT_EQ(resynced, (Found{AACF_ERR_NEED_MORE_DATA, 0}));
}

}  // namespace
