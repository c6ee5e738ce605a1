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
    writer.touching = true;
    PsState state;
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
  PsState state;
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

TEST(PsPayload, IsUnusableWithoutItsHeaderOrItsBits) {
  Reading r;
  EXPECT_EQ(r.parse(coherence_up(10, false)), PsResult::kNoHeader);
  ASSERT_EQ(r.parse(coherence_up(10, true)), PsResult::kParsed);
  EXPECT_EQ(r.frame.icc[0][19], 1);
  ASSERT_EQ(r.parse(coherence_up(10, false)), PsResult::kParsed);
  EXPECT_EQ(r.frame.icc[0][19], 2);
  // Beyond its range an index stays at the end of it.
  for (int again = 0; again < 10; ++again) r.parse(coherence_up(10, false));
  EXPECT_EQ(r.frame.icc[0][0], 7);
}

// A header counts together with its data: one that is not followed by usable ones leaves the data of the next
// frames to the header before.
TEST(PsPayload, ThatIsUnusableChangesNothing) {
  BitWriter reserved;
  reserved.fields({{1, 1}, {1, 1}, {6, 3}, {0, 1}, {0, 1}, {0, 1}, {1, 2}});
  BitWriter falling;
  falling.fields({{1, 1}, {0, 1}, {0, 1}, {0, 1}, {1, 1}, {1, 2}, {9, 5}, {8, 5}});
  struct Case {
    const char* name;
    BitWriter bits;
    size_t length;
  };
  const BitWriter other = coherence_up(20, true);
  for (const Case& c : {Case{"reserved mode", reserved, 1000}, Case{"falling borders", falling, 1000},
                        Case{"cut data", other, other.size() - 1}, Case{"cut header", other, 5}}) {
    Reading r;
    ASSERT_EQ(r.parse(coherence_up(10, true)), PsResult::kParsed);
    EXPECT_EQ(r.parse(c.bits, c.length), PsResult::kUnusable) << c.name;
    EXPECT_FALSE(r.frame.present) << c.name;
    ASSERT_EQ(r.parse(coherence_up(10, false)), PsResult::kParsed) << c.name;
    EXPECT_EQ(r.frame.icc[0][19], 2) << c.name;
    Reading fresh;
    EXPECT_EQ(fresh.parse(c.bits, c.length), PsResult::kUnusable) << c.name;
    EXPECT_EQ(fresh.parse(coherence_up(10, false)), PsResult::kNoHeader) << c.name;
  }
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

TEST(PsInExtendedData, RequiredInASingleChannelOnlyAndOnceInItsContainer) {
  // Header without parameters, one fixed envelope; behind it padding that looks like data of a reserved mode.
  BitWriter ps;
  ps.fields({{2, 2}, {1, 1}, {0, 3}, {0, 1}, {1, 2}, {2, 2}, {1, 1}, {1, 1}, {7, 3}});
  for (const bool pair : {false, true}) {
    BitWriter w = sbr_frame(pair);
    w.fields({{1, 1}, {15, 4}, {1, 8}}).append(ps);
    for (size_t bit = ps.size(); bit < 16 * 8; ++bit) w.put(bit % 3 == 0 ? 1 : 0, 1);
    const Extended found = parse_extended(w, pair);
    EXPECT_EQ(found.present, !pair);
    EXPECT_EQ(found.signalled, !pair);
    EXPECT_EQ(found.read, w.size());
  }
}

TEST(PsInExtendedData, IsSignalledAheadOfItsHeaderButNotByOtherExtensions) {
  struct Case {
    const char* name;
    uint64_t id;
    uint64_t data;
    bool signalled;
  };
  for (const Case& c : {Case{"another extension", 1, 0x3FFF, false}, Case{"no header", 2, 0, true},
                        Case{"reserved mode", 2, 0x3E00, false}}) {
    BitWriter w = sbr_frame(false);
    w.fields({{1, 1}, {2, 4}, {c.id, 2}, {c.data, 14}});
    const Extended found = parse_extended(w, false);
    EXPECT_EQ(found.read, w.size()) << c.name;
    EXPECT_EQ(found.signalled, c.signalled) << c.name;
    EXPECT_FALSE(found.present) << c.name;
  }
}

}  // namespace
}  // namespace zdr::aacdec
