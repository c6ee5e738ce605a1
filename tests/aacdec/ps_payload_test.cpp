#include "aacdec/ps_payload.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "aacdec/sbr_payload.h"
#include "aacdec/tables/ps_codes.h"
#include "tests/aacdec/bit_writer.h"
#include "tests/aacdec/ps_writer.h"
#include "tests/aacdec/sbr_writer.h"

namespace zdr::aacdec {
namespace {

using namespace test;

TEST(PsPayload, GivesWhatAPlainWriterCodedOn20Bands) {
  for (unsigned stream = 0; stream < 300; ++stream) {
    PsWriter writer(stream);
    PsState state;
    for (int number = 0; number < 20; ++number) {
      BitWriter w;
      const bool header = number == 0;
      writer.put_frame(w, header);
      const auto bytes = w.bytes();
      BitReader reader(bytes.data(), bytes.size());
      PsFrame frame;
      ASSERT_EQ(parse_ps_data(reader, w.size(), state, frame), PsResult::kParsed);
      ASSERT_EQ(reader.position(), w.size());
      ASSERT_TRUE(frame.present);
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

PsResult parse(const BitWriter& w, PsState& state, PsFrame& frame, uint64_t bits = 1000) {
  const auto bytes = w.bytes();
  BitReader reader(bytes.data(), bytes.size());
  return parse_ps_data(reader, bits, state, frame);
}

TEST(PsPayload, IsUnusableWithoutItsHeaderOrItsBits) {
  PsState state;
  PsFrame frame;
  BitWriter none;
  none.put(0, 16);
  EXPECT_EQ(parse(none, state, frame), PsResult::kNoHeader);
  BitWriter reserved;
  reserved.fields({{1, 1}, {1, 1}, {6, 3}, {0, 1}, {0, 1}, {0, 1}, {0, 2}});
  EXPECT_EQ(parse(reserved, state, frame), PsResult::kUnusable);
  BitWriter falling;
  falling.fields({{1, 1}, {0, 1}, {0, 1}, {0, 1}, {1, 1}, {1, 2}, {9, 5}, {9, 5}});
  EXPECT_EQ(parse(falling, state, frame), PsResult::kUnusable);
  // Coherence of ten bands, all one step up in time; cut, it must not count.
  BitWriter good;
  good.fields({{1, 1}, {0, 1}, {1, 1}, {0, 3}, {0, 1}, {0, 1}, {1, 2}, {1, 1}});
  for (int band = 0; band < 10; ++band) good.put(kIccTimeCodes[8]);
  EXPECT_EQ(parse(good, state, frame, good.size() - 1), PsResult::kUnusable);
  EXPECT_FALSE(frame.present);
  ASSERT_EQ(parse(good, state, frame), PsResult::kParsed);
  EXPECT_EQ(frame.icc[0][19], 1);
  ASSERT_EQ(parse(good, state, frame), PsResult::kParsed);
  EXPECT_EQ(frame.icc[0][19], 2);
  // Beyond its range an index stays at the end of it.
  for (int again = 0; again < 10; ++again) parse(good, state, frame);
  EXPECT_EQ(frame.icc[0][0], 7);
}

// sbr_extension_data of a usual header up to bs_extended_data.
BitWriter sbr_frame(bool pair) {
  std::mt19937 random(9);
  SbrHeader header;
  header.start_freq = 8;
  header.stop_freq = 9;
  header.alter_scale = 1;
  SbrBandTables bands;
  EXPECT_TRUE(build_sbr_bands(header, 44100, bands));
  SbrFrameWriter writer(random, header, bands);
  SbrModel models[2];
  BitWriter w;
  put_sbr_header(w.put(1, 1), {header});
  if (pair) {
    writer.put_pair(w, models[0], models[1], false);
  } else {
    writer.put_single(w, models[0]);
  }
  return w;
}

struct Extended {
  bool present;
  bool signalled;
  uint64_t read;
};

Extended parse_extended(BitWriter w, bool pair) {
  const auto bytes = w.bytes();
  BitReader reader(bytes.data(), bytes.size());
  SbrParser parser(22050);
  SbrFrame frame;
  bool signalled = false;
  EXPECT_EQ(parse_sbr_payload(reader, false, {0, pair}, parser, frame, signalled), SbrResult::kParsed);
  return {frame.channel[0].ps.present, signalled, reader.position()};
}

TEST(PsInExtendedData, CountsInASingleChannelOnlyAndKeepsToItsContainer) {
  // Header without parameters, one fixed envelope.
  BitWriter ps;
  ps.fields({{2, 2}, {1, 1}, {0, 3}, {0, 1}, {1, 2}});
  for (const bool pair : {false, true}) {
    BitWriter w = sbr_frame(pair);
    w.fields({{1, 1}, {15, 4}, {1, 8}}).append(ps);
    for (size_t bit = ps.size(); bit < 16 * 8; ++bit) w.put(bit % 3 == 0 ? 1 : 0, 1);
    const Extended found = parse_extended(w, pair);
    EXPECT_EQ(found.present, !pair);
    EXPECT_EQ(found.signalled, !pair);
    EXPECT_EQ(found.read, w.size());
  }
  // Another extension is passed over; data ahead of their header tell of parametric stereo but give none.
  BitWriter other = sbr_frame(false);
  other.fields({{1, 1}, {2, 4}, {1, 2}, {0x3FFF, 14}});
  EXPECT_EQ(parse_extended(other, false).read, other.size());
  EXPECT_FALSE(parse_extended(other, false).signalled);
  BitWriter headless = sbr_frame(false);
  headless.fields({{1, 1}, {2, 4}, {2, 2}, {0, 14}});
  EXPECT_TRUE(parse_extended(headless, false).signalled);
  EXPECT_FALSE(parse_extended(headless, false).present);
}

}  // namespace
}  // namespace zdr::aacdec
