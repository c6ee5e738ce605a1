// Blocks built element by element: which are valid, and what is read from their side information.
#include "aacdec/syntax/raw_data_block.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <vector>

#include "mediakit/aac/block_writer.h"

namespace zdr::test {
namespace {

using namespace aacdec;

constexpr int k44100 = 4;

struct Parser {
  explicit Parser(bool keep_values = true) {
    context.format = {k44100, kProfileLc};
    context.keep_values = keep_values;
  }
  // Returns the number of channels, 0 for an invalid block.
  int parse(const BitWriter& elements) {
    const Bytes block = block_of(elements);
    BitReader reader(block.data(), block.size());
    const int channels = parse_raw_data_block(reader, context, *frame).value_or(0);
    EXPECT_TRUE(channels == 0 || reader.position() == elements.size() + 3);
    return channels;
  }

  BlockContext context;
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
  return bands(0) + BitWriter{{0, 1}, {1, 1}, {1, 2}, {0, 1}, {9, 6}}.put(order, 5).put(
                        0, static_cast<int>(2 + 3 * order + 1));
}

struct BlockCase {
  const char* name;
  int channels;  // 0: invalid
  BitWriter block;
};

// Measuring accepts the same blocks as decoding.
void check(std::initializer_list<BlockCase> cases) {
  for (const BlockCase& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Parser(true).parse(c.block), c.channels);
    EXPECT_EQ(Parser(false).parse(c.block), c.channels);
  }
}

TEST(RawDataBlock, ValidBlocksAreAcceptedAndMeasuredLikeDecoded) {
  check({
      {"only an end element", 0, {}},
      {"dual mono", 2, silent_sce(3) + silent_sce(5)},
      {"dual mono with one tag", 0, silent_sce(3) + silent_sce(3)},
      {"three single channels", 0, silent_sce(0) + silent_sce(1) + silent_sce(2)},
      {"pair after single", 0, silent_sce() + silent_cpe()},
      {"single after pair", 0, silent_cpe() + silent_sce(1)},
      {"two pairs", 0, silent_cpe() + silent_cpe()},
      {"coupling channel", 0, silent_sce() + BitWriter{{kCce, 3}, {0, 4}}},
      {"low frequency channel", 0, silent_sce() + BitWriter{{kLfe, 3}, {0, 4}, {100, 8}, {0, 14}}},
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
  });
}

TEST(RawDataBlock, KeptOneFillPayloadIsReadAndAReservedBitIgnored) {
  const BitWriter dynamic_range{{11, 4}, {0, 4}, {0, 8}};
  check({
      {"the bytes after a payload are the next element", 1,
       BitWriter{{kFil, 3}, {4, 4}} + dynamic_range + silent_sce()},
      {"padding is the next element", 0,
       silent_sce() + BitWriter{{kFil, 3}, {4, 4}} + dynamic_range + BitWriter{{0, 16}}},
      {"reserved bit of ics_info", 1, kOpenSce + BitWriter{{8, 4}, {0, 7}} + kNoTools},
  });
}

TEST(RawDataBlock, KeptTagsStayBoundAcrossBlocksExceptForPairs) {
  Parser parser;
  EXPECT_EQ(parser.parse(silent_sce(3)), 1);
  EXPECT_EQ(parser.parse(silent_sce(5)), 0);
  EXPECT_EQ(parser.parse(silent_sce(3) + silent_sce(5)), 2);
  EXPECT_EQ(parser.parse(silent_sce(5)), 0);
  for (const uint64_t tag : {0u, 9u, 3u}) EXPECT_EQ(parser.parse(silent_cpe(tag)), 2);
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

TEST(RawDataBlock, LongTermPredictionEndsWithItsBlock) {
  Parser parser;
  parser.context.format.profile = kProfileLtp;
  const BitWriter prediction{{0, 10}, {1, 1}, {1, 1}, {1500, 11}, {5, 3}};
  ASSERT_EQ(parser.parse(kOpenSce + prediction + kNoTools), 1);
  ASSERT_TRUE(parser.frame->channel[0].ltp.present);
  ASSERT_EQ(parser.parse(silent_sce()), 1);
  EXPECT_FALSE(parser.frame->channel[0].ltp.present);
}

TEST(DynamicRange, KeptReachesLine1031AndUsesTheLastReferenceLevel) {
  const BitWriter two_bands =
      BitWriter{{11, 4}, {1, 1}, {0x35, 8}, {1, 1}, {0x7F, 7}, {1, 1}, {0, 7}, {0, 1}} +
      BitWriter{{1, 1}, {0x10, 8}, {9, 8}, {255, 8}, {1, 1}, {0xA1, 8}} + BitWriter{{0x85, 8}, {0x7F, 8}};
  const BitWriter one_band{{11, 4}, {0, 4}, {0x83, 8}};  // without a new reference level
  struct Case {
    BitWriter block;
    std::vector<std::array<int, 3>> bands;  // top, sign, control
  };
  const Case cases[] = {
      {silent_sce() + BitWriter{{kFil, 3}, {two_bands.size() / 8 + 1, 4}} + two_bands,
       {{9, 1, 5}, {255, 0, 127}}},
      {silent_sce() + BitWriter{{kFil, 3}, {2, 4}} + one_band, {{257, 1, 3}}},
      {silent_sce(), {}},
  };
  Parser parser;
  const DynamicRange& range = parser.frame->dynamic_range;
  for (const auto& [block, bands] : cases) {
    ASSERT_EQ(parser.parse(block), 1);
    EXPECT_EQ(range.program_reference_level, 0x50);
    ASSERT_EQ(range.band_count, bands.size());
    for (size_t i = 0; i < bands.size(); ++i) {
      EXPECT_EQ((std::array<int, 3>{range.band_top[i], range.negative[i], range.control[i]}), bands[i]);
    }
  }
}

}  // namespace
}  // namespace zdr::test
