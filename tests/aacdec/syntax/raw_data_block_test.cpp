// Blocks built element by element: which are valid, and what is read from their side information.
#include "aacdec/syntax/raw_data_block.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "mediakit/aac/block_writer.h"

namespace zdr::test {
namespace {

using namespace aacdec;

constexpr int k44100 = 4;

struct Parser {
  explicit Parser(int profile = kProfileLc) {
    context.format = {k44100, profile};
    context.keep_values = true;
  }
  // Returns the number of channels, 0 for an invalid block.
  int parse(const BitWriter& elements) {
    const Bytes block = block_of(elements);
    BitReader reader(block.data(), block.size());
    const int channels = parse_raw_data_block(reader, context, *frame).value_or(0);
    position = reader.position();
    return channels;
  }

  BlockContext context;
  uint64_t position = 0;
  std::unique_ptr<Frame> frame = std::make_unique<Frame>();
};

// A single channel element up to its window sequence, with a gain of 100.
const BitWriter kOpenSce{{kSce, 3}, {0, 4}, {100, 8}};

// The same with `max_sfb` long bands, up to its sections.
BitWriter bands(int max_sfb) {
  return kOpenSce + long_ics(max_sfb);
}

// One band of book 1, up to the flags of the tools.
const BitWriter kCodedSce = BitWriter{{kSce, 3}, {0, 4}} + channel_of_one_band(100, 1);
const BitWriter kZeros = quad(0, 0, 0, 0);

BitWriter tns_of_order(uint64_t order) {
  BitWriter w = bands(0) + BitWriter{{0, 1}, {1, 1}, {1, 2}, {0, 1}, {9, 6}, {order, 5}, {0, 2}};
  for (uint64_t i = 0; i < order; ++i) w.put(5, 3);
  return w.put(0, 1);
}

BitWriter aligned_data_element() {
  return (silent_sce() + BitWriter{{kDse, 3}, {9, 4}, {1, 1}, {2, 8}}).align().put(0xFFFF, 16);
}

struct BlockCase {
  const char* name;
  int channels;  // 0: invalid
  BitWriter block;
};

void check(const BlockCase& c) {
  for (const bool keep_values : {true, false}) {
    SCOPED_TRACE(c.name);
    Parser parser;
    parser.context.keep_values = keep_values;
    EXPECT_EQ(parser.parse(c.block), c.channels);
    EXPECT_TRUE(c.channels == 0 || parser.position == c.block.size() + 3);
  }
}

TEST(RawDataBlock, ValidBlocksAreAcceptedAndMeasuredLikeDecoded) {
  const BlockCase cases[] = {
      {"only an end element", 0, {}},
      {"dual mono", 2, silent_sce(3) + silent_sce(5)},
      {"dual mono with one tag", 0, silent_sce(3) + silent_sce(3)},
      {"three single channels", 0, silent_sce(0) + silent_sce(1) + silent_sce(2)},
      {"pair after single", 0, silent_sce() + silent_cpe()},
      {"single after pair", 0, silent_cpe() + silent_sce(1)},
      {"two pairs", 0, silent_cpe() + silent_cpe()},
      {"coupling channel", 0, silent_sce() + BitWriter{{kCce, 3}, {0, 4}}},
      {"low frequency channel", 0, silent_sce() + BitWriter{{kLfe, 3}, {0, 4}, {100, 8}, {0, 14}}},
      {"254 bytes of data", 1, data_element(254, 0xFF) + silent_sce()},
      {"265 bytes of data", 1, data_element(265, 0xFF) + silent_sce()},
      {"aligned data", 1, aligned_data_element()},
      {"fill of 14 bytes by an escape of 0", 1,
       BitWriter{{kFil, 3}, {15, 4}, {0, 8}}.append(Bytes(14, 0x0F)) + silent_sce()},
      {"empty fill", 1, BitWriter{{kFil, 3}, {0, 4}} + silent_sce()},
      {"fill data", 1, fill_element({{1, 4}, {0, 4}, {0xA5A5, 16}}) + silent_sce()},
      {"SBR ahead of the channel is skipped", 1, fill_element({{13, 4}, {0xFFFFF, 20}}) + silent_sce()},
      {"program", 1, program(k44100) + silent_sce()},
      {"program with another rate", 0, program(3) + silent_sce()},
      {"prediction of the main profile", 0, kOpenSce + BitWriter{{0, 10}, {1, 1}} + kNoTools},
      {"more bands than the window has", 0, bands(50) + BitWriter{{0, 4}, {31, 5}, {19, 5}} + kNoTools},
      {"all bands of the window", 1, bands(49) + BitWriter{{0, 4}, {31, 5}, {18, 5}} + kNoTools},
      {"empty sections", 1, bands(2) + BitWriter{{0, 4}, {0, 5}, {3, 4}, {0, 5}, {0, 4}, {2, 5}} + kNoTools},
      {"section beyond max_sfb", 0, bands(2) + BitWriter{{0, 4}, {3, 5}} + kNoTools},
      {"reserved book", 0, bands(1) + BitWriter{{12, 4}, {1, 5}} + kNoTools},
      {"intensity in a single channel", 1, bands(1) + BitWriter{{15, 4}, {1, 5}, {0, 1}} + kNoTools},
      {"gain control", 0, kCodedSce + BitWriter{{1, 3}} + kZeros},
      {"pulses past the last band", 0,
       kCodedSce + BitWriter{{1, 1}, {0, 2}, {49, 6}, {0, 5}, {1, 4}, {0, 2}} + kZeros},
      {"pulse past the last line", 0,
       kCodedSce + BitWriter{{1, 1}, {3, 2}, {48, 6}, {24, 5}, {1, 4}, {24, 5}, {1, 4}, {24, 5}, {1, 4}} +
           BitWriter{{24, 5}, {1, 4}, {0, 2}} + kZeros},
      {"pulses in a short block", 0, kOpenSce + BitWriter{{4, 4}, {0, 4}, {127, 7}, {1, 1}, {0, 19}}},
      {"TNS of order 12", 1, tns_of_order(12)},
      {"TNS of order 13", 0, tns_of_order(13)},
      {"reserved value of the stereo mask", 2,
       BitWriter{{kCpe, 3}, {0, 4}, {1, 1}, {0, 11}, {3, 2}, {100, 8}, {0, 3}, {100, 8}, {0, 3}}},
  };
  for (const BlockCase& c : cases) check(c);
}

TEST(RawDataBlock, KeptOneFillPayloadIsReadAndAReservedBitIgnored) {
  const BitWriter dynamic_range{{11, 4}, {0, 4}, {0, 8}};
  check({"the bytes after a payload are the next element", 1,
         BitWriter{{kFil, 3}, {4, 4}} + dynamic_range + silent_sce()});
  check({"padding is the next element", 0,
         silent_sce() + BitWriter{{kFil, 3}, {4, 4}} + dynamic_range + BitWriter{{0, 16}}});
  check({"reserved bit of ics_info", 1, kOpenSce + BitWriter{{8, 4}, {0, 7}} + kNoTools});
}

TEST(RawDataBlock, KeptTagsStayBoundAcrossBlocksExceptForPairs) {
  Parser parser;
  EXPECT_EQ(parser.parse(silent_sce(3)), 1);
  EXPECT_EQ(parser.parse(silent_sce(5)), 0);
  EXPECT_EQ(parser.parse(silent_sce(3) + silent_sce(5)), 2);
  EXPECT_EQ(parser.parse(silent_sce(5)), 0);
  for (const uint64_t tag : {0, 9, 3}) EXPECT_EQ(parser.parse(silent_cpe(tag)), 2);
}

TEST(RawDataBlock, PulsesIncreaseMagnitudesAndMakeZerosNegative) {
  Parser parser;
  ASSERT_EQ(parser.parse(kCodedSce +
                         BitWriter{{1, 1}, {2, 2}, {0, 11}, {4, 4}, {1, 5}, {5, 4}, {1, 5}, {6, 4}, {0, 2}} +
                         quad(1, -1, 0, 1)),
            1);
  const int16_t* const lines = parser.frame->quantised[0];
  EXPECT_EQ(std::vector<int16_t>(lines, lines + 4), (std::vector<int16_t>{5, -6, -6, 1}));
}

TEST(RawDataBlock, LongTermPredictionIsReadForLongWindowsOfItsProfile) {
  const BitWriter channel = BitWriter{{100, 8}, {0, 4}, {3, 5}} + kNoTools;
  const BitWriter block = BitWriter{{kCpe, 3}, {0, 4}, {1, 1}, {0, 4}, {3, 6}, {1, 1}} +
                          BitWriter{{1, 1}, {1500, 11}, {5, 3}, {0b101, 3}} +
                          BitWriter{{1, 1}, {7, 11}, {2, 3}, {0b010, 3}, {0, 2}} + channel + channel;
  EXPECT_EQ(Parser(kProfileLc).parse(block), 0);
  Parser parser(kProfileLtp);
  ASSERT_EQ(parser.parse(block), 2);
  const LtpData& left = parser.frame->channel[0].ltp;
  const LtpData& right = parser.frame->channel[1].ltp;
  EXPECT_TRUE(left.present && right.present);
  EXPECT_TRUE(left.long_used[0] && !left.long_used[1] && left.long_used[2] && right.long_used[1]);
  // The next block does not inherit it.
  ASSERT_EQ(parser.parse(silent_cpe()), 2);
  EXPECT_FALSE(left.present || right.present);
  EXPECT_EQ(parser.parse(kOpenSce + BitWriter{{4, 4}, {0, 4}, {127, 7}, {0, 3}}), 1);
}

TEST(DynamicRange, KeptReachesLine1031AndUsesTheLastReferenceLevel) {
  const BitWriter two_bands =
      BitWriter{{11, 4}, {1, 1}, {0x35, 8}, {1, 1}, {0x7F, 7}, {1, 1}, {0, 7}, {0, 1}} +
      BitWriter{{1, 1}, {0x10, 8}, {9, 8}, {255, 8}, {1, 1}, {0xA1, 8}} + BitWriter{{0x85, 8}, {0x7F, 8}};
  Parser parser;
  const DynamicRange& range = parser.frame->dynamic_range;
  ASSERT_EQ(parser.parse(silent_sce() + BitWriter{{kFil, 3}, {two_bands.size() / 8 + 1, 4}} + two_bands), 1);
  ASSERT_EQ(range.band_count, 2);
  EXPECT_EQ(range.program_reference_level, 0x50);
  EXPECT_EQ(range.band_top[0], 9);
  EXPECT_EQ(range.band_top[1], 255);
  EXPECT_TRUE(range.negative[0] && !range.negative[1]);
  EXPECT_EQ(range.control[0], 5);
  EXPECT_EQ(range.control[1], 127);
  // One band, without a new reference level.
  ASSERT_EQ(parser.parse(silent_sce() + BitWriter{{kFil, 3}, {2, 4}, {11, 4}, {0, 4}, {0x83, 8}}), 1);
  EXPECT_EQ(range.band_count, 1);
  EXPECT_EQ(range.band_top[0], 257);
  EXPECT_EQ(range.program_reference_level, 0x50);
  ASSERT_EQ(parser.parse(silent_sce()), 1);
  EXPECT_EQ(range.band_count, 0);
}

}  // namespace
}  // namespace zdr::test
