// Parametric stereo data: random bits decode to pinned values; headers and damaged data.
#include "aacdec/syntax/ps_payload.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "aacdec/tables/ps_codes.h"
#include "mediakit/aac/sbr_stream.h"
#include "tests/aacdec/checksum.h"

namespace zdr::test {
namespace {

using namespace aacdec;

// Reads successive ps_data of one stream.
struct PsReader {
  PsParserState state;
  PsFrame frame;
  uint64_t position = 0;

  PsResult parse(const BitWriter& w, uint64_t bits = 1000) {
    const Bytes bytes = w.bytes();
    BitReader reader(bytes.data(), bytes.size());
    frame = {};
    const PsResult result = parse_ps_data(reader, bits, state, frame);
    position = reader.position();
    return result;
  }
};

// The checksum is pinned; a change here changes every decoder output with parametric stereo.
TEST(PsPayload, RandomBitsDecodeToPinnedValues) {
  std::mt19937 random(1);
  Checksum sum;
  int parsed = 0;
  for (int stream = 0; stream < 300; ++stream) {
    PsReader reader;
    for (int number = 0; number < 20; ++number) {
      const BitWriter data = BitWriter{{number == 0 ? 1 : 0, 1}} + random_bits(random, 200);
      if (reader.parse(data, 1600) != PsResult::kParsed) continue;
      ++parsed;
      const PsFrame& frame = reader.frame;
      const uint64_t fields[] = {reader.position, frame.fine_iid, frame.envelope_count};
      sum.add(fields, frame.border, frame.iid, frame.icc);
    }
  }
  EXPECT_EQ(parsed, 2071);
  EXPECT_EQ(sum.value, 0x21A0EB4C3F6BFF4DU) << std::hex << sum.value;
}

// Coherence data of ten or twenty bands, each one step above the previous frame, with or without a header.
BitWriter coherence_up(int bands, bool with_header) {
  BitWriter w{{with_header ? 1 : 0, 1}};
  if (with_header) w.fields({{0, 1}, {1, 1}, {bands == 20 ? 1 : 0, 3}, {0, 1}});
  w.fields({{0, 1}, {1, 2}, {1, 1}});
  for (int band = 0; band < bands; ++band) w.put(kIccTimeCodes[8]);
  return w;
}

TEST(PsPayload, RemembersItsHeaderAndLimitsItsIndices) {
  PsReader reader;
  EXPECT_EQ(reader.parse(coherence_up(10, false)), PsResult::kNoHeader);
  for (int step = 1; step < 12; ++step) {
    ASSERT_EQ(reader.parse(coherence_up(10, step == 1)), PsResult::kParsed);
    EXPECT_EQ(reader.frame.icc[0][19], std::min(step, 7));
  }
}

// A header takes effect together with its data: after a header with unusable data, the next frames are read
// with the previous header.
TEST(PsPayload, UnusableDataChangeNothing) {
  const BitWriter reserved{{1, 1}, {1, 1}, {6, 3}, {0, 3}, {1, 2}};
  const BitWriter falling{{1, 1}, {0, 3}, {1, 1}, {1, 2}, {9, 5}, {8, 5}};
  const BitWriter other = coherence_up(20, true);
  const std::pair<BitWriter, size_t> cases[] = {
      {reserved, 1000}, {falling, 1000}, {other, other.size() - 1}, {other, 5}};
  for (const auto& [bits, length] : cases) {
    SCOPED_TRACE(testing::Message() << length << " of " << bits.size() << " bits");
    for (const bool has_header : {true, false}) {
      PsReader reader;
      if (has_header) reader.parse(coherence_up(10, true));
      EXPECT_EQ(reader.parse(bits, length), PsResult::kUnusable);
      EXPECT_FALSE(reader.frame.present);
      ASSERT_EQ(reader.parse(coherence_up(10, false)), has_header ? PsResult::kParsed : PsResult::kNoHeader);
      EXPECT_TRUE(!has_header || reader.frame.icc[0][19] == 2);
    }
  }
}

}  // namespace
}  // namespace zdr::test
