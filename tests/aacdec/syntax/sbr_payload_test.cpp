// SBR payloads: random bits decode to pinned values; headers, grids, extended data and fill elements.
#include "aacdec/syntax/sbr_payload.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

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

struct Payload {
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

SbrHeader usual_header() {
  SbrHeader header;
  header.start_freq = 8;
  header.stop_freq = 9;
  header.alter_scale = 1;
  return header;
}

SbrBandTables bands_of(const SbrHeader& header) {
  SbrBandTables bands;
  EXPECT_TRUE(build_sbr_bands(header, 2 * kCoreRate, bands));
  return bands;
}

const BitWriter kUsualHeader = BitWriter{{1, 1}} + sbr_header_bits(usual_header());

// The smallest single channel element or coupled pair, up to its extended data: FIXFIX of one low resolution
// envelope, all differences along time and 0, no sinusoids.
BitWriter smallest_element(const SbrBandTables& bands, bool pair = false) {
  const int channels = pair ? 2 : 1;
  BitWriter w = sbr_element_start(pair ? 'c' : 's') + BitWriter{{0, 5}, {pair ? 15 : 3, 2 * channels}};
  w.put(0, 2 * bands.noise_count);
  for (int c = 0; c < channels; ++c) {
    for (int band = 0; band < bands.low_count; ++band)
      w.put(c == 0 ? kLevelTime15Codes[60] : kBalanceTime15Codes[24]);
    for (int band = 0; band < bands.noise_count; ++band)
      w.put(c == 0 ? kNoiseTimeCodes[31] : kNoiseBalanceTimeCodes[12]);
  }
  return w.put(0, channels);
}

const BitWriter kNoExtendedData{{0, 1}};

uint64_t hash_of(const SbrChannelFrame& frame, uint64_t hash) {
  const SbrGrid& grid = frame.grid;
  const int fields[] = {frame.amp_res, frame.coupled, grid.envelope_count, grid.noise_count, grid.transient};
  hash = fnv1a<int>(fields, hash);
  hash = fnv1a<uint8_t>(grid.border, hash);
  hash = fnv1a<uint8_t>(grid.noise_border, hash);
  hash = fnv1a<bool>(grid.high_resolution, hash);
  hash = fnv1a<uint8_t>(frame.invf_mode, hash);
  for (const auto& envelope : frame.envelope) hash = fnv1a<int16_t>(envelope, hash);
  for (const auto& floor : frame.noise) hash = fnv1a<int16_t>(floor, hash);
  return fnv1a<uint8_t>(frame.add_harmonic, hash);
}

// The checksums are pinned; a change here changes every decoder output with SBR. They cover every grid class,
// both resolutions and directions, coupling, and both amplitude resolutions.
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
    uint64_t hash = kFnv1aStart;
    int parsed = 0;
    for (int number = 0; number < 3000; ++number) {
      BitWriter w{{number % 10 == 0 ? 1 : 0, 1}};
      if (number % 10 == 0) w.append(sbr_header_bits(random_sbr_header(random, kCoreRate)));
      w.append(sbr_element_start(c.element)).append(random_bits(random, 300));
      if (payload.parse(w, c.element != 's') != SbrResult::kParsed) continue;
      ++parsed;
      for (const SbrChannelFrame& channel : payload.frame.channel) hash = hash_of(channel, hash);
      hash = fnv1a<uint64_t>(std::span(&payload.position, 1), hash);
    }
    EXPECT_EQ(parsed, c.parsed) << c.element;
    EXPECT_EQ(hash, c.hash) << c.element << std::hex << ' ' << hash;
  }
}

TEST(SbrPayload, KeptCheckWordIsSkippedAndDataBeforeAHeaderAreNotAnError) {
  Payload payload;
  EXPECT_EQ(payload.parse({{0, 1}, {0xFFFF, 16}}), SbrResult::kNoHeader);
  EXPECT_EQ(payload.first.status, SbrStatus::kNoHeader);
  EXPECT_EQ(payload.position, 1U);
  const BitWriter w =
      BitWriter{{0x3FF, 10}} + kUsualHeader + smallest_element(bands_of(usual_header())) + kNoExtendedData;
  EXPECT_EQ(payload.parse(w, false, true), SbrResult::kParsed);
  EXPECT_EQ(payload.position, w.size());
}

// Changes one header field at a time, with the optional groups of fields sent or omitted. The tables are
// rebuilt only if a field that they depend on changes.
TEST(SbrHeaderRules, KeptOmittedFieldsHaveThePreviousValues) {
  std::mt19937 random(5);
  Payload payload;
  SbrHeader header = usual_header();
  uint32_t generation = 1;
  for (int step = 0; step < 500; ++step) {
    SbrHeader next = header;
    const size_t changed = random() % std::size(kSbrHeaderFields);
    const auto& [field, bits] = kSbrHeaderFields[changed];
    next.*field = static_cast<uint8_t>(random() % (1U << bits));
    const bool extra_1 = step == 0 || random() % 2 != 0;
    const bool extra_2 = step == 0 || random() % 2 != 0;
    const BitWriter sent = BitWriter{{1, 1}} + sbr_header_bits(next, extra_1, extra_2);
    const bool is_sent = changed < kSbrExtra1 || (changed < kSbrExtra2 ? extra_1 : extra_2);
    if (!is_sent) next = header;
    SbrBandTables bands;
    if (!build_sbr_bands(next, 2 * kCoreRate, bands) || bands.m == 0) continue;
    if (step > 0 && changed >= 1 && changed < kSbrExtra2 && next != header) ++generation;
    header = next;
    build_limiter_bands(header, bands);
    ASSERT_EQ(payload.parse(sent + smallest_element(bands) + kNoExtendedData), SbrResult::kParsed) << step;
    ASSERT_EQ(payload.first.header, header) << step;
    ASSERT_EQ(payload.first.bands_generation, generation) << step;
    ASSERT_TRUE(
        std::equal(bands.limiter, bands.limiter + bands.limiter_count + 1, payload.first.bands.limiter))
        << step;
  }
  EXPECT_GT(generation, 50U);
}

TEST(SbrHeaderRules, InvalidHeaderIsDiscarded) {
  SbrHeader wide = usual_header();
  wide.start_freq = 0;
  wide.stop_freq = 13;
  const BitWriter bad = BitWriter{{1, 1}} + sbr_header_bits(wide);
  const BitWriter good = kUsualHeader + smallest_element(bands_of(usual_header())) + kNoExtendedData;
  Payload payload;
  // Before any valid header, the stream still has none.
  EXPECT_EQ(payload.parse(bad), SbrResult::kInvalidBands);
  EXPECT_EQ(payload.parse({{0, 8}}), SbrResult::kNoHeader);
  ASSERT_EQ(payload.parse(good), SbrResult::kParsed);
  EXPECT_EQ(payload.parse(bad), SbrResult::kInvalidBands);
  ASSERT_EQ(payload.parse(good), SbrResult::kParsed);
  EXPECT_EQ(payload.first.bands_generation, 1U);
}

TEST(SbrHeaderRules, KeptHeaderWithoutRoomForSbrYieldsNoBands) {
  // stop_freq 0 ends below the start of start_freq 15.
  SbrHeader header = usual_header();
  header.start_freq = 15;
  header.stop_freq = 0;
  // Start values are coded even so: one envelope of 7 bits, one noise floor of 5.
  const BitWriter w = BitWriter{{1, 1}} + sbr_header_bits(header) +
                      BitWriter{{0, 1}, {0, 4}, {0, 3}, {77, 7}, {9, 5}, {0, 1}, {0, 1}};
  Payload payload;
  EXPECT_EQ(payload.parse(w), SbrResult::kParsed);
  EXPECT_EQ(payload.position, w.size());
  EXPECT_EQ(payload.first.bands.m, 0);
}

TEST(SbrGridRules, BordersAscendAndThePointerStaysInRange) {
  struct Case {
    const char* name;
    BitWriter grid;
    bool is_valid;
  };
  const Case cases[] = {
      {"eight envelopes", {{0, 2}, {3, 2}, {0, 1}}, false},
      {"six envelopes", {{3, 2}, {0, 2}, {0, 2}, {3, 2}, {2, 2}}, false},
      {"end before start", {{2, 2}, {3, 2}, {2, 2}, {3, 2}, {3, 2}, {0, 2}, {0, 3}}, false},
      {"crossing halves", {{3, 2}, {0, 2}, {0, 2}, {1, 2}, {1, 2}, {3, 2}, {3, 2}, {0, 2}, {0, 3}}, false},
      {"touching halves", {{3, 2}, {0, 2}, {0, 2}, {1, 2}, {1, 2}, {3, 2}, {2, 2}, {0, 2}, {0, 3}}, true},
      {"pointer past the end", {{1, 2}, {0, 2}, {3, 2}, {0, 6}, {6, 3}, {0, 4}}, false},
      {"pointer to the end", {{1, 2}, {0, 2}, {3, 2}, {0, 6}, {5, 3}, {0, 4}}, true},
  };
  for (const Case& c : cases) {
    for (const bool coupled_pair : {false, true}) {
      SCOPED_TRACE(c.name);
      Payload payload;
      const BitWriter start = coupled_pair ? BitWriter{{1, 2}} : BitWriter{{0, 1}};
      const SbrResult result = payload.parse(kUsualHeader + start + c.grid, coupled_pair);
      EXPECT_EQ(result, c.is_valid ? SbrResult::kParsed : SbrResult::kInvalid);
      EXPECT_EQ(payload.first.status, c.is_valid ? SbrStatus::kParsed : SbrStatus::kNoHeader);
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
  const SbrBandTables bands = bands_of(usual_header());
  for (const Case& c : cases) {
    for (const size_t bytes : {3U, 16U}) {
      SCOPED_TRACE(c.name);
      BitWriter w = kUsualHeader + smallest_element(bands, c.pair) + BitWriter{{1, 1}};
      if (bytes < 15) w.put(bytes, 4);
      if (bytes >= 15) w.fields({{15, 4}, {bytes - 15, 8}});
      const size_t end = w.size() + 8 * bytes;
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
  const BitWriter payload =
      BitWriter{{13, 4}} + kUsualHeader + smallest_element(bands_of(usual_header())) + kNoExtendedData;
  const size_t bytes = (payload.size() + 7) / 8;
  SbrParser parser(kCoreRate);
  BlockContext context;
  context.format.sampling_index = sampling_index_of(kCoreRate);
  context.keep_values = true;
  // `count`: bytes of the fill element, which truncates the payload or pads it.
  const auto is_valid = [&](size_t count) {
    const Bytes block = block_of(silent_sce() + fill_element(payload, count, true));
    BitReader reader(block.data(), block.size());
    const auto frame = std::make_unique<Frame>();
    const bool valid = parse_raw_data_block(reader, context, *frame).has_value();
    EXPECT_TRUE(!valid || reader.bytes_read() == block.size());
    return valid;
  };
  context.sbr = &parser;
  EXPECT_TRUE(is_valid(bytes));
  EXPECT_TRUE(is_valid(bytes + 9));
  EXPECT_FALSE(is_valid(bytes - 1));
  EXPECT_TRUE(context.sbr_signalled);
  // Without SBR, only the count matters.
  context.sbr = nullptr;
  EXPECT_TRUE(is_valid(bytes));
}

}  // namespace
}  // namespace zdr::test
