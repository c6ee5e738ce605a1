// Parametric stereo data: random bits decode to pinned values.
#include "aacdec/syntax/ps_payload.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <random>

#include "mediakit/aac/sbr_stream.h"
#include "tests/aacdec/checksum.h"

namespace zdr::test {
namespace {

using namespace aacdec;

auto bytes_of(const PsParserState& state) {
  return std::bit_cast<std::array<uint8_t, sizeof(PsParserState)>>(state);
}

// The checksum is pinned; a change here changes every decoder output with parametric stereo. Some data have a
// header, some are truncated. A header takes effect together with its data: unusable data change nothing.
TEST(PsPayload, RandomBitsDecodeToPinnedValuesAndUnusableDataChangeNothing) {
  std::mt19937 random(1);
  Checksum sum;
  std::array<int, 3> counts{};  // by result
  for (int stream = 0; stream < 300; ++stream) {
    PsParserState state;
    for (int number = 0; number < 20; ++number) {
      const bool with_header = random() % 4 == 0;
      const uint64_t bits = random() % 8 == 0 ? random() % 100 : 1600;
      const Bytes bytes = (BitWriter{{with_header ? 1 : 0, 1}} + random_bits(random, 200)).bytes();
      BitReader reader(bytes.data(), bytes.size());
      PsFrame frame;
      const auto before = bytes_of(state);
      const PsResult result = parse_ps_data(reader, bits, state, frame);
      ++counts[static_cast<size_t>(result)];
      EXPECT_EQ(frame.present, result == PsResult::kParsed);
      if (!frame.present) {
        EXPECT_EQ(bytes_of(state), before);
        continue;
      }
      const uint64_t fields[] = {reader.position(), frame.fine_iid, frame.envelope_count};
      sum.add(fields, frame.border, frame.iid, frame.icc);
    }
  }
  EXPECT_EQ(counts, (std::array{2570, 1783, 1647}));
  EXPECT_EQ(sum.value, 0xEC0B42BBD058B733U) << std::hex << sum.value;
}

}  // namespace
}  // namespace zdr::test
