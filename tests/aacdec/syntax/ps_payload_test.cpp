#include "aacdec/syntax/ps_payload.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "aacdec/tables/ps_codes.h"
#include "mediakit/aac/bit_writer.h"
#include "mediakit/aac/ps_writer.h"

namespace zdr::aacdec {
namespace {

using namespace test;

TEST(PsPayload, GivesWhatAPlainWriterCodedOn20Bands) {
  for (unsigned stream = 0; stream < 300; ++stream) {
    PsWriter writer(stream);
    writer.touching = true;
    PsParserState state;
    for (int number = 0; number < 20; ++number) {
      BitWriter w;
      writer.put_frame(w, number % 4 == 0);
      const auto bytes = w.bytes();
      BitReader reader(bytes.data(), bytes.size());
      PsFrame frame;
      ASSERT_EQ(parse_ps_data(reader, w.size(), state, frame), PsResult::kParsed);
      ASSERT_EQ(reader.position(), w.size());
      ASSERT_TRUE(frame.present);
      ASSERT_EQ(frame.fine_iid, writer.held_fine);
      ASSERT_EQ(frame.envelope_count, writer.borders.size());
      for (size_t e = 0; e < writer.borders.size(); ++e) {
        ASSERT_EQ(frame.border[e], writer.borders[e]);
        ASSERT_EQ(std::vector<int>(frame.iid[e], frame.iid[e] + 20), writer.iid.mapped(e))
            << stream << ' ' << number;
        ASSERT_EQ(std::vector<int>(frame.icc[e], frame.icc[e] + 20), writer.icc.mapped(e))
            << stream << ' ' << number;
      }
    }
  }
}

// One kind of bit string after the other, each a ps_data of its own.
struct Reading {
  PsParserState state;
  PsFrame frame;

  PsResult parse(const BitWriter& w, uint64_t bits = 1000) {
    const auto bytes = w.bytes();
    BitReader reader(bytes.data(), bytes.size());
    return parse_ps_data(reader, bits, state, frame);
  }
};

// Coherence of ten bands, or twenty, all one step up in time; with the header that says so, or without one.
BitWriter coherence_up(int bands, bool header) {
  BitWriter w;
  w.put(header ? 1 : 0, 1);
  if (header) w.fields({{0, 1}, {1, 1}, {bands == 20 ? 1U : 0U, 3}, {0, 1}});
  w.fields({{0, 1}, {1, 2}, {1, 1}});
  for (int band = 0; band < bands; ++band) w.put(kIccTimeCodes[8]);
  return w;
}

TEST(PsPayload, KeepsItsHeaderAndItsRange) {
  Reading r;
  EXPECT_EQ(r.parse(coherence_up(10, false)), PsResult::kNoHeader);
  for (int step = 1; step < 12; ++step) {
    ASSERT_EQ(r.parse(coherence_up(10, step == 1)), PsResult::kParsed);
    EXPECT_EQ(r.frame.icc[0][19], std::min(step, 7));
  }
}

// A header counts together with its data: one that is not followed by usable ones leaves the data of the next
// frames to the header before.
TEST(PsPayload, ThatIsUnusableChangesNothing) {
  BitWriter reserved;
  reserved.fields({{1, 1}, {1, 1}, {6, 3}, {0, 1}, {0, 1}, {0, 1}, {1, 2}});
  BitWriter falling;
  falling.fields({{1, 1}, {0, 1}, {0, 1}, {0, 1}, {1, 1}, {1, 2}, {9, 5}, {8, 5}});
  const BitWriter other = coherence_up(20, true);
  const std::pair<BitWriter, size_t> cases[] = {
      {reserved, 1000}, {falling, 1000}, {other, other.size() - 1}, {other, 5}};
  for (const auto& [bits, length] : cases) {
    SCOPED_TRACE(testing::Message() << bits.size() << " bits, of which " << length);
    for (const bool has_header : {true, false}) {
      Reading r;
      if (has_header) r.parse(coherence_up(10, true));
      EXPECT_EQ(r.parse(bits, length), PsResult::kUnusable);
      EXPECT_FALSE(r.frame.present);
      ASSERT_EQ(r.parse(coherence_up(10, false)), has_header ? PsResult::kParsed : PsResult::kNoHeader);
      EXPECT_TRUE(!has_header || r.frame.icc[0][19] == 2);
    }
  }
}

}  // namespace
}  // namespace zdr::aacdec
