// SBR payloads: random bits decode to pinned values; headers, extended data and fill elements.
#include "aacdec/syntax/sbr_payload.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <tuple>

#include "aacdec/syntax/raw_data_block.h"
#include "aacdec/syntax/sampling_rates.h"
#include "aacdec/syntax/sbr_bands.h"
#include "aacdec/tables/sbr_codes.h"
#include "mediakit/aac/block_writer.h"
#include "mediakit/aac/sbr_stream.h"
#include "tests/aacdec/checksum.h"

namespace zdr::test {
namespace {

using namespace aacdec;

constexpr int32_t kCoreRate = 22050;
constexpr size_t kOptional = 7;  // fields of a header

struct Payload {
  // Zeros follow the bits of the writer.
  SbrResult parse(const BitWriter& writer, bool pair = false, bool with_crc = false) {
    const Bytes bytes = writer.bytes();
    BitReader reader(bytes.data(), bytes.size());
    frame = {};
    const SbrResult result = parse_sbr_payload(reader, with_crc, {0, pair}, parser, frame, ps_signalled);
    position = reader.position();
    return result;
  }

  SbrParser parser{kCoreRate};
  SbrFrame frame;
  const SbrChannelFrame& first = frame.channel[0];
  bool ps_signalled = false;
  uint64_t position = 0;
};

BitWriter header_bits(uint8_t start_freq, uint8_t stop_freq) {
  SbrHeader header;
  header.start_freq = start_freq;
  header.stop_freq = stop_freq;
  header.alter_scale = 1;
  return BitWriter{{1, 1}} + sbr_header_bits(header);
}

// A payload whose header leaves no room for SBR, because it ends below its start; up to its extended data.
// Even so, each envelope and noise floor has a start value.
BitWriter smallest_payload(bool pair = false) {
  return header_bits(15, 0) + (pair ? BitWriter{{1, 2}, {0, 9}, {77, 7}, {9, 5}, {20, 6}, {9, 5}, {0, 2}}
                                    : BitWriter{{0, 8}, {77, 7}, {9, 5}, {0, 1}});
}

void add(const SbrChannelFrame& frame, Checksum& sum) {
  const SbrGrid& grid = frame.grid;
  const int fields[] = {frame.amp_res, frame.coupled, grid.envelope_count, grid.noise_count, grid.transient};
  sum.add(fields, grid.border, grid.noise_border, grid.high_resolution, frame.invf_mode, frame.envelope,
          frame.noise, frame.add_harmonic);
}

// The checksums are pinned; a change here changes every decoder output with SBR. They cover every grid class,
// valid and invalid borders and pointers, both resolutions and directions, coupling, and both amplitude
// resolutions.
TEST(SbrPayload, RandomBitsDecodeToPinnedValues) {
  struct Case {
    char element;
    int parsed;
    uint64_t hash;
  };
  for (const Case& c : {Case{'s', 2146, 0x805DB9228174C908}, Case{'p', 1561, 0x46F22A624B30DBBC},
                        Case{'c', 2146, 0x922DA67306F1F847}}) {
    std::mt19937 random(3);
    Payload payload;
    Checksum sum;
    int parsed = 0;
    for (int number = 0; number < 3000; ++number) {
      BitWriter w{{number % 10 == 0 ? 1 : 0, 1}};
      if (number % 10 == 0) w.append(sbr_header_bits(random_sbr_header(random, kCoreRate)));
      w.append(sbr_element_start(c.element)).append(random_bits(random, 300));
      if (payload.parse(w, c.element != 's') != SbrResult::kParsed) continue;
      ++parsed;
      for (const SbrChannelFrame& channel : payload.frame.channel) add(channel, sum);
      sum.add(payload.position);
    }
    EXPECT_EQ(parsed, c.parsed) << c.element;
    EXPECT_EQ(sum.value, c.hash) << c.element << std::hex << ' ' << sum.value;
  }
}

TEST(SbrPayload, KeptCheckWordMissingHeaderAndHeaderWithoutBandsAreNotErrors) {
  Payload payload;
  EXPECT_EQ(payload.parse(header_bits(0, 13)), SbrResult::kInvalidBands);  // does not count as a header
  EXPECT_EQ(payload.parse({{0, 1}, {0xFFFF, 16}}), SbrResult::kNoHeader);
  EXPECT_EQ(payload.first.status, SbrStatus::kNoHeader);
  EXPECT_EQ(payload.position, 1U);
  const BitWriter w = BitWriter{{0x3FF, 10}} + smallest_payload() + BitWriter{{0, 1}};
  EXPECT_EQ(payload.parse(w, false, true), SbrResult::kParsed);
  EXPECT_EQ(payload.position, w.size());
  EXPECT_EQ(payload.first.bands.m, 0);
}

// The second header, if any, follows the first. All of them send other values than those of a new stream.
TEST(SbrHeaderRules, KeptOmittedFieldsHaveTheirInitialValuesInTheFirstHeader) {
  struct Case {
    const char* groups;                 // of each header: 0 none, 1 the first, 2 the second, 3 both
    std::array<int, kOptional> fields;  // after the last header
    uint32_t generation;                // of the band tables
  };
  const Case cases[] = {
      {"0", {2, 2, 2, 2, 2, 1, 1}, 1},  {"1", {1, 0, 1, 2, 2, 1, 1}, 1},  {"2", {2, 2, 2, 1, 0, 0, 0}, 1},
      {"3", {1, 0, 1, 1, 0, 0, 0}, 1},  {"00", {2, 2, 2, 2, 2, 1, 1}, 1}, {"01", {1, 0, 1, 2, 2, 1, 1}, 2},
      {"12", {1, 0, 1, 1, 0, 0, 0}, 1}, {"30", {1, 0, 1, 1, 0, 0, 0}, 1},
  };
  const SbrHeader sent = {0, 8, 9, 0, 1, 0, 1, 1, 0, 0, 0};
  for (const Case& c : cases) {
    Payload payload;
    for (const char* groups = c.groups; *groups != 0; ++groups) {
      const int bits = *groups - '0';
      const BitWriter header = sbr_header_bits(sent, (bits & 1) != 0, (bits & 2) != 0);
      ASSERT_EQ(payload.parse(BitWriter{{1, 1}} + header), SbrResult::kParsed) << c.groups;
    }
    for (size_t i = 0; i < kOptional; ++i) {
      EXPECT_EQ(payload.first.header.*kSbrHeaderFields[kSbrExtra1 + i].field, c.fields[i]) << c.groups << i;
    }
    EXPECT_EQ(payload.first.bands_generation, c.generation) << c.groups;
  }
}

// Changes one header field at a time, with the optional groups of fields sent or omitted. The tables are
// rebuilt only if a field that they depend on changes. An invalid header is discarded.
TEST(SbrHeaderRules, KeptOmittedFieldsHaveThePreviousValues) {
  std::mt19937 random(5);
  Payload payload;
  ASSERT_EQ(payload.parse(header_bits(8, 9)), SbrResult::kParsed);
  const SbrParserState& state = payload.parser.channel[0];
  SbrHeader header = state.header;
  SbrBandTables bands = state.bands;
  uint32_t generation = 1;
  for (int step = 0; step < 500; ++step) {
    SbrHeader next = header;
    const size_t changed = random() % std::size(kSbrHeaderFields);
    const auto& [field, bits] = kSbrHeaderFields[changed];
    next.*field = static_cast<uint8_t>(random() % (1U << bits));
    const bool extra_1 = random() % 2 != 0;
    const bool extra_2 = random() % 2 != 0;
    const BitWriter sent = BitWriter{{1, 1}} + sbr_header_bits(next, extra_1, extra_2);
    const bool is_sent = changed < kSbrExtra1 || (changed < kSbrExtra2 ? extra_1 : extra_2);
    if (!is_sent) next = header;
    SbrBandTables built;
    const bool is_valid = build_sbr_bands(next, 2 * kCoreRate, built);
    if (is_valid) {
      if (changed >= 1 && changed < kSbrExtra2 && next != header) ++generation;
      header = next;
      bands = built;
      build_limiter_bands(header, bands);
    }
    ASSERT_EQ(payload.parse(sent), is_valid ? SbrResult::kParsed : SbrResult::kInvalidBands) << step;
    ASSERT_EQ(state.header, header) << step;
    ASSERT_EQ(state.bands_generation, generation) << step;
    ASSERT_EQ(state.bands.limiter_count, bands.limiter_count) << step;
    ASSERT_TRUE(std::equal(bands.limiter, bands.limiter + bands.limiter_count + 1, state.bands.limiter))
        << step;
  }
  EXPECT_GT(generation, 50U);
}

// Four envelopes in every frame, of which each value differs from the previous one by -60 or 60.
TEST(SbrPayload, ValuesEndAtTheRangeOf16Bits) {
  for (const auto& [code, limit] : {std::pair(0U, -32768), std::pair(120U, 32767)}) {
    Payload payload;
    ASSERT_EQ(payload.parse(BitWriter{{1, 1}} + sbr_header_bits({0, 8, 9, 0, 2, 1, 2, 2, 2, 1, 1})),
              SbrResult::kParsed);
    BitWriter w{{0, 2}, {0, 2}, {2, 2}, {0, 1}, {63, 6}};
    w.put(0, 2 * payload.first.bands.noise_count);
    for (int i = 0; i < 4 * payload.first.bands.low_count; ++i) w.put(kLevelTime15Codes[code]);
    for (int i = 0; i < 2 * payload.first.bands.noise_count; ++i) w.put(kNoiseTimeCodes[31]);
    for (int number = 0; number < 140; ++number) ASSERT_EQ(payload.parse(w), SbrResult::kParsed);
    for (int band = 0; band < payload.first.bands.low_count; ++band) {
      EXPECT_EQ(payload.first.envelope[3][band], limit);
    }
  }
}

// Parametric stereo data with a header without parameters and one fixed envelope.
TEST(PsInExtendedData, KeptIsReadOnlyInSingleChannelsAndOncePerContainer) {
  const BitWriter ps{{1, 1}, {0, 3}, {0, 1}, {1, 2}};
  const BitWriter reserved{{1, 1}, {1, 1}, {7, 3}};
  struct Case {
    const char* name;
    bool pair;
    uint64_t id;
    BitWriter data;  // padded with ones
    bool is_signalled, is_present;
  };
  const Case cases[] = {
      {"single channel", false, 2, ps, true, true},
      {"pair", true, 2, ps, false, false},
      {"reserved mode after it", false, 2, ps + BitWriter{{2, 2}} + reserved, true, true},
      {"another extension", false, 1, ps, false, false},
      {"before a header", false, 2, {{0, 1}}, true, false},
      {"reserved mode", false, 2, reserved, false, false},
  };
  for (const Case& c : cases) {
    for (const BitWriter& length : {BitWriter{{3, 4}}, BitWriter{{15, 4}, {1, 8}}}) {
      SCOPED_TRACE(c.name);
      BitWriter w = smallest_payload(c.pair) + BitWriter{{1, 1}} + length;
      const size_t end = w.size() + 8 * (length.size() == 4 ? 3 : 16);
      w.put(c.id, 2).append(c.data).pad_to(end, true);
      Payload payload;
      EXPECT_EQ(payload.parse(w, c.pair), SbrResult::kParsed);
      EXPECT_EQ(payload.position, end);
      EXPECT_EQ(payload.ps_signalled, c.is_signalled);
      EXPECT_EQ(payload.first.ps.present, c.is_present);
    }
  }
}

TEST(SbrInABlock, EndsInsideItsFillElement) {
  // The ones at the end of the extended data read as an END element if the fill element is too short.
  const BitWriter payload = BitWriter{{13, 4}} + smallest_payload() + BitWriter{{1, 1}, {1, 4}, {0xFF, 8}};
  const size_t bytes = (payload.size() + 7) / 8;
  SbrParser parser(kCoreRate);
  // The bytes of the fill element, which truncate the payload or pad it, and whether the block is valid.
  for (const auto& [count, sbr, is_valid] :
       {std::tuple(bytes, &parser, true), std::tuple(bytes + 9, &parser, true),
        std::tuple(bytes - 1, &parser, false), std::tuple(bytes, static_cast<SbrParser*>(nullptr), true)}) {
    BlockContext context;
    context.format.sampling_index = sampling_index_of(kCoreRate);
    context.keep_values = true;
    context.sbr = sbr;
    const Bytes block = block_of(silent_sce() + fill_element(payload, count, true));
    BitReader reader(block.data(), block.size());
    EXPECT_EQ(parse_raw_data_block(reader, context, *std::make_unique<Frame>()).has_value(), is_valid);
    EXPECT_TRUE(!is_valid || reader.bytes_read() == block.size());
    EXPECT_TRUE(context.sbr_signalled);
  }
}

}  // namespace
}  // namespace zdr::test
