#include "aacdec/syntax/raw_data_block.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "aacdec/tables/spectral_codes.h"
#include "mediakit/aac/block_writer.h"

namespace zdr::aacdec {
namespace {

using namespace test;

constexpr int k44100 = 4;

struct Parser {
  explicit Parser(int profile = kProfileLc) {
    context.format = {k44100, profile};
    context.keep_values = true;
  }
  // Channels of the block, 0 for an invalid one.
  int parse(const std::vector<uint8_t>& block) {
    reader = BitReader(block.data(), block.size());
    return parse_raw_data_block(reader, context, *frame).value_or(0);
  }

  BlockContext context;
  BitReader reader;
  std::unique_ptr<Frame> frame = std::make_unique<Frame>();
};

BitWriter bits(std::initializer_list<std::pair<uint64_t, int>> fields) {
  return BitWriter().fields(fields);
}
BitWriter operator+(BitWriter a, const BitWriter& b) {
  return a.append(b);
}
BitWriter silent_sce(uint64_t tag) {
  BitWriter w;
  return put_silent_sce(w, tag);
}
BitWriter silent_cpe() {
  BitWriter w;
  return put_silent_cpe(w);
}

// A single channel element up to its section data, of `max_sfb` long bands.
BitWriter open_sce(int max_sfb) {
  BitWriter w = bits({{kSce, 3}, {0, 4}, {100, 8}});
  return put_long_ics(w, max_sfb);
}

// One band of book 1, up to the tools' flags.
BitWriter open_coded_sce() {
  BitWriter w = open_sce(1) + bits({{1, 4}, {1, 5}});
  return put_scale_factor(w, 0);
}

BitWriter four(int a, int b, int c, int d) {
  return BitWriter().put(quad(a, b, c, d));
}

BitWriter tns_of_order(int order) {
  const auto field = static_cast<uint64_t>(order);
  BitWriter w = open_sce(0) + bits({{0, 1}, {1, 1}, {1, 2}, {0, 1}, {9, 6}, {field, 5}, {0, 1}, {0, 1}});
  for (int i = 0; i < order; ++i) w.put(5, 3);
  return w.put(0, 1);
}

BitWriter filler(uint64_t byte, int count) {
  BitWriter w;
  for (int i = 0; i < count; ++i) w.put(byte, 8);
  return w;
}

// Of one front channel.
BitWriter program(uint64_t rate_index) {
  return bits({{kPce, 3}, {0, 4}, {1, 2}, {rate_index, 4}, {1, 4}, {0, 20}, {0, 5}}).align().put(0, 8);
}

struct BlockCase {
  const char* name;
  int channels;  // 0: invalid
  BitWriter block;
};

const BitWriter kNoTools = bits({{0, 3}});

const BlockCase kBlocks[] = {
    {"EndAlone", 0, {}},
    {"DualMono", 2, silent_sce(3) + silent_sce(5)},
    {"DualMonoOfOneTag", 0, silent_sce(3) + silent_sce(3)},
    {"ThreeSingleChannels", 0, silent_sce(0) + silent_sce(1) + silent_sce(2)},
    {"PairAfterSingle", 0, silent_sce(0) + silent_cpe()},
    {"SingleAfterPair", 0, silent_cpe() + silent_sce(1)},
    {"TwoPairs", 0, silent_cpe() + silent_cpe()},
    {"CouplingChannel", 0, silent_sce(0) + bits({{kCce, 3}, {0, 4}})},
    {"LowFrequencyChannel", 0, silent_sce(0) + bits({{kLfe, 3}, {0, 4}, {100, 8}, {0, 11}, {0, 3}})},
    {"DataStreamOf254Bytes", 1,
     bits({{kDse, 3}, {9, 4}, {0, 1}, {254, 8}}) + filler(0xFF, 254) + silent_sce(0)},
    {"DataStreamOf265Bytes", 1,
     bits({{kDse, 3}, {9, 4}, {0, 1}, {255, 8}, {10, 8}}) + filler(0xFF, 265) + silent_sce(0)},
    // The field behind the alignment starts on another bit than the element's own end.
    {"AlignedDataStream", 1,
     (silent_sce(0) + bits({{kDse, 3}, {9, 4}, {1, 1}, {2, 8}})).align() + filler(0xFF, 2)},
    {"FillOf14BytesByAnEscapeOf0", 1, bits({{kFil, 3}, {15, 4}, {0, 8}}) + filler(0x0F, 14) + silent_sce(0)},
    {"EmptyFill", 1, bits({{kFil, 3}, {0, 4}}) + silent_sce(0)},
    {"FillData", 1, bits({{kFil, 3}, {3, 4}, {1, 4}, {0, 4}, {0xA5A5, 16}}) + silent_sce(0)},
    {"SbrAheadOfTheChannelIsPassedOver", 1,
     bits({{kFil, 3}, {3, 4}, {13, 4}, {0xFFFFF, 20}}) + silent_sce(0)},
    // Dynamic range data of 16 bits; the bytes behind them are no second payload but the next element.
    {"RequiredThatOnePayloadIsReadOfAFill", 1,
     bits({{kFil, 3}, {4, 4}, {11, 4}, {0, 4}, {0, 8}}) + silent_sce(0)},
    {"RequiredThatPaddingOfDynamicRangeDataIsReadAsTheNextElement", 0,
     silent_sce(0) + bits({{kFil, 3}, {4, 4}, {11, 4}, {0, 4}, {0, 8}, {0, 16}})},
    {"Program", 1, program(k44100) + silent_sce(0)},
    {"ProgramOfAnotherRate", 0, program(3) + silent_sce(0)},
    {"PredictionOfTheMainProfile", 0, bits({{kSce, 3}, {0, 4}, {100, 8}, {0, 10}, {1, 1}}) + kNoTools},
    {"RequiredThatTheReservedIcsBitIsIgnored", 1,
     bits({{kSce, 3}, {0, 4}, {100, 8}, {8, 4}, {0, 7}}) + kNoTools},
    {"MoreBandsThanTheWindowHas", 0, open_sce(50) + bits({{0, 4}, {31, 5}, {19, 5}}) + kNoTools},
    {"AllBandsOfTheWindow", 1, open_sce(49) + bits({{0, 4}, {31, 5}, {18, 5}}) + kNoTools},
    {"EmptySections", 1, open_sce(2) + bits({{0, 4}, {0, 5}, {3, 4}, {0, 5}, {0, 4}, {2, 5}}) + kNoTools},
    {"SectionBeyondMaxSfb", 0, open_sce(2) + bits({{0, 4}, {3, 5}}) + kNoTools},
    {"ReservedBook", 0, open_sce(1) + bits({{12, 4}, {1, 5}}) + kNoTools},
    {"IntensityInASingleChannel", 1, open_sce(1) + bits({{15, 4}, {1, 5}, {0, 1}}) + kNoTools},
    {"GainControl", 0, open_coded_sce() + bits({{1, 3}}) + four(0, 0, 0, 0)},
    {"PulsesBehindTheLastBand", 0,
     open_coded_sce() + bits({{1, 1}, {0, 2}, {49, 6}, {0, 5}, {1, 4}, {0, 2}}) + four(0, 0, 0, 0)},
    {"PulseBehindTheLastLine", 0,
     open_coded_sce() + bits({{1, 1}, {3, 2}, {48, 6}, {24, 5}, {1, 4}, {24, 5}, {1, 4}, {24, 5}, {1, 4}}) +
         bits({{24, 5}, {1, 4}, {0, 2}}) + four(0, 0, 0, 0)},
    {"PulsesInAShortBlock", 0,
     bits({{kSce, 3}, {0, 4}, {100, 8}, {4, 4}, {0, 4}, {127, 7}, {1, 1}, {0, 8}, {0, 9}, {0, 2}})},
    {"TnsOrder12", 1, tns_of_order(12)},
    {"TnsOrder13", 0, tns_of_order(13)},
    {"StereoMaskReservedValue", 2,
     bits({{kCpe, 3}, {0, 4}, {1, 1}, {0, 11}, {3, 2}, {100, 8}, {0, 3}, {100, 8}, {0, 3}})},
};

class Blocks : public testing::TestWithParam<BlockCase> {};

TEST_P(Blocks, AreAcceptedOrNotAndMeasureAsTheyDecode) {
  BitWriter writer = GetParam().block;
  const size_t end = writer.size() + 3;
  const auto block = end_block(writer);
  for (const bool keep_values : {true, false}) {
    Parser parser;
    parser.context.keep_values = keep_values;
    EXPECT_EQ(parser.parse(block), GetParam().channels);
    EXPECT_TRUE(GetParam().channels == 0 || parser.reader.position() == end);
  }
}

INSTANTIATE_TEST_SUITE_P(All, Blocks, testing::ValuesIn(kBlocks),
                         [](const auto& parameter) { return parameter.param.name; });

TEST(RawDataBlock, TagsStayBoundFromBlockToBlockButRequiredThatThePairsMayBeAny) {
  Parser parser;
  const auto parse = [&parser](BitWriter w) { return parser.parse(end_block(w)); };
  EXPECT_EQ(parse(silent_sce(3)), 1);
  EXPECT_EQ(parse(silent_sce(5)), 0);
  EXPECT_EQ(parse(silent_sce(3) + silent_sce(5)), 2);
  EXPECT_EQ(parse(silent_sce(5)), 0);
  for (const uint64_t tag : {0, 9, 3}) {
    BitWriter w = bits({{kCpe, 3}, {tag, 4}, {0, 1}});
    EXPECT_EQ(parse(put_silent_channel(put_silent_channel(w))), 2);
  }
}

TEST(RawDataBlock, AddsPulsesAwayFromZeroAndDownFromZero) {
  BitWriter w;
  w = open_coded_sce() +
      bits({{1, 1}, {2, 2}, {0, 6}, {0, 5}, {4, 4}, {1, 5}, {5, 4}, {1, 5}, {6, 4}, {0, 2}}) +
      four(1, -1, 0, 1);
  Parser parser;
  ASSERT_EQ(parser.parse(end_block(w)), 1);
  const int16_t* const lines = parser.frame->quantised[0];
  EXPECT_EQ(std::vector<int16_t>(lines, lines + 4), (std::vector<int16_t>{5, -6, -6, 1}));
}

// Nothing of it stays for the next block.
TEST(RawDataBlock, ReadsPredictionOfLongWindowsInItsProfileAlone) {
  BitWriter w = bits({{kCpe, 3}, {0, 4}, {1, 1}, {0, 4}, {3, 6}, {1, 1}}) +
                bits({{1, 1}, {1500, 11}, {5, 3}, {0b101, 3}}) +
                bits({{1, 1}, {7, 11}, {2, 3}, {0b010, 3}, {0, 2}});
  for (int channel = 0; channel < 2; ++channel) put_no_tools(w.fields({{100, 8}, {0, 4}, {3, 5}}));
  const auto block = end_block(w);
  EXPECT_EQ(Parser(kProfileLc).parse(block), 0);
  Parser ltp(kProfileLtp);
  ASSERT_EQ(ltp.parse(block), 2);
  const LtpData& left = ltp.frame->channel[0].ltp;
  const LtpData& right = ltp.frame->channel[1].ltp;
  EXPECT_TRUE(left.present && right.present);
  EXPECT_TRUE(left.long_used[0] && !left.long_used[1] && left.long_used[2] && right.long_used[1]);
  BitWriter silent = silent_cpe();
  ASSERT_EQ(ltp.parse(end_block(silent)), 2);
  EXPECT_FALSE(left.present || right.present);
  BitWriter short_block = bits({{kSce, 3}, {0, 4}, {100, 8}, {4, 4}, {0, 4}, {127, 7}, {0, 3}});
  EXPECT_EQ(ltp.parse(end_block(short_block)), 1);
}

TEST(DynamicRange, KeepsBandsGainsAndTheLastReferenceLevel) {
  BitWriter payload;
  payload.fields({{11, 4}, {1, 1}, {0x35, 8}, {1, 1}, {0x7F, 7}, {1, 1}, {0, 7}, {0, 1}});
  payload.fields({{1, 1}, {0x10, 8}, {9, 8}, {255, 8}, {1, 1}, {0xA1, 8}, {0x85, 8}, {0x7F, 8}});
  BitWriter w;
  put_silent_sce(w, 0).fields({{kFil, 3}, {payload.size() / 8 + 1, 4}}).append(payload);
  Parser parser;
  ASSERT_EQ(parser.parse(end_block(w)), 1);
  const DynamicRange& range = parser.frame->dynamic_range;
  ASSERT_EQ(range.band_count, 2);
  EXPECT_EQ(range.program_reference_level, 0x50);
  EXPECT_EQ(range.band_top[0], 9);
  EXPECT_EQ(range.band_top[1], 255);
  EXPECT_TRUE(range.negative[0] && !range.negative[1]);
  EXPECT_EQ(range.control[0], 5);
  EXPECT_EQ(range.control[1], 127);

  // One band without a level of its own.
  BitWriter next;
  put_silent_sce(next, 0).fields({{kFil, 3}, {2, 4}, {11, 4}, {0, 4}, {0x83, 8}});
  ASSERT_EQ(parser.parse(end_block(next)), 1);
  EXPECT_EQ(range.band_count, 1);
  EXPECT_EQ(range.band_top[0], 257);
  EXPECT_EQ(range.program_reference_level, 0x50);

  BitWriter without;
  put_silent_sce(without, 0);
  ASSERT_EQ(parser.parse(end_block(without)), 1);
  EXPECT_EQ(range.band_count, 0);
}

}  // namespace
}  // namespace zdr::aacdec
