// SBR and parametric stereo data: random bits decode to pinned values; headers and their band tables,
// extended data and fill elements.
#include "aacdec/syntax/sbr_payload.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <memory>
#include <numeric>
#include <optional>
#include <tuple>

#include "aacdec/syntax/raw_data_block.h"
#include "aacdec/syntax/sampling_rates.h"
#include "aacdec/syntax/sbr_bands.h"
#include "aacdec/tables/sbr_codes.h"
#include "mediakit/aac/block_writer.h"
#include "mediakit/aac/sbr_stream.h"
#include "tests/support/checksum.h"

namespace zdr::test {
namespace {

using namespace aacdec;

constexpr int32_t kCoreRate = 22050;

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
  SbrFrame frame{};
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

// Streams of random headers, each of which changes one field and sends or omits the optional groups of
// fields. The tables are rebuilt only if a field that they depend on changes. An invalid header is discarded.
TEST(SbrHeaderRules, KeptOmittedFieldsHaveThePreviousOrTheInitialValues) {
  std::mt19937 random(5);
  for (int stream = 0; stream < 100; ++stream) {
    Payload payload;
    const SbrParserState& state = payload.parser.channel[0];
    SbrHeader header = {1, 5, 0, 0, 2, 2, 2, 2, 2, 1, 1};
    SbrBandTables bands;
    uint32_t generation = 0;
    for (int step = 0; step < 20; ++step) {
      SbrHeader sent = header;
      sent.alter_scale = std::min(sent.alter_scale, uint8_t{1});  // has one bit
      const auto& [changed, bits] = kSbrHeaderFields[random() % std::size(kSbrHeaderFields)];
      sent.*changed = static_cast<uint8_t>(random() % (1U << bits));
      const bool extra_1 = random() % 2 != 0;
      const bool extra_2 = random() % 2 != 0;
      SbrHeader next = header;
      bool rebuilds = generation == 0;
      for (size_t i = 0; i < std::size(kSbrHeaderFields); ++i) {
        if (i >= kSbrExtra1 && !(i < kSbrExtra2 ? extra_1 : extra_2)) continue;
        const auto field = kSbrHeaderFields[i].field;
        rebuilds |= i >= 1 && i < kSbrExtra2 && sent.*field != header.*field;
        next.*field = sent.*field;
      }
      SbrBandTables built;
      const bool is_valid = build_sbr_bands(next, 2 * kCoreRate, built);
      ASSERT_EQ(payload.parse(BitWriter{{1, 1}} + sbr_header_bits(sent, extra_1, extra_2)),
                is_valid ? SbrResult::kParsed : SbrResult::kInvalidBands);
      if (is_valid) {
        generation += rebuilds ? 1 : 0;
        header = next;
        bands = built;
        build_limiter_bands(header, bands);
      }
      ASSERT_EQ(state.header, header) << stream << ' ' << step;
      ASSERT_EQ(state.bands_generation, generation) << stream << ' ' << step;
      ASSERT_EQ(state.bands.limiter_count, bands.limiter_count);
      ASSERT_TRUE(std::equal(bands.limiter, bands.limiter + bands.limiter_count + 1, state.bands.limiter));
    }
  }
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

// --- Bands ---

constexpr int kHeaders = 16 * 16 * 4 * 2 * 8;

SbrHeader header_of(int number) {
  SbrHeader h;
  h.start_freq = static_cast<uint8_t>(number & 15);
  h.stop_freq = static_cast<uint8_t>(number >> 4 & 15);
  h.freq_scale = static_cast<uint8_t>(number >> 8 & 3);
  h.alter_scale = static_cast<uint8_t>(number >> 10 & 1);
  h.xover_band = static_cast<uint8_t>(number >> 11);
  h.noise_bands = static_cast<uint8_t>((number + number / 7) & 3);
  h.limiter_bands = static_cast<uint8_t>((number + number / 5) & 3);
  return h;
}

template <typename Record>
auto bytes_of(const Record& record) {
  return std::bit_cast<std::array<uint8_t, sizeof record>>(record);
}

std::optional<SbrBandTables> build(const SbrHeader& header, int32_t rate_hz) {
  SbrBandTables tables;
  if (!build_sbr_bands(header, rate_hz, tables)) return std::nullopt;
  build_limiter_bands(header, tables);
  return tables;
}

// The checksum is pinned; a change here changes every decoder output with SBR. The standard allows 45 bands
// between 32 and 48 kHz, and has no sixth patch.
TEST(SbrBands, KeptAtMost35BandsAndFivePatchesAndAnyAlterScaleActsAs1) {
  Checksum sum;
  int valid = 0;
  int widest = 0;  // at 44100 Hz
  int unfilled = 0;
  for (const int32_t rate_hz :
       {14700, 16000, 22050, 24000, 32000, 44100, 48000, 64000, 88200, 96000, 128000, 176400, 192000}) {
    for (int number = 0; number < kHeaders; ++number) {
      SbrHeader header = header_of(number);
      const auto tables = build(header, rate_hz);
      sum.add(tables.has_value(), bytes_of(tables.value_or(SbrBandTables{})));
      header.alter_scale = static_cast<uint8_t>(2 * header.alter_scale);
      ASSERT_EQ(bytes_of(build(header, rate_hz).value_or(SbrBandTables{})),
                bytes_of(tables.value_or(SbrBandTables{})));
      if (!tables) continue;
      ++valid;
      if (rate_hz == 44100) widest = std::max(widest, tables->k2 - tables->k0);
      const int end =
          std::accumulate(tables->patch_width, tables->patch_width + kMaxPatches, int{tables->kx});
      if (tables->patch_count == kMaxPatches && end + 2 < tables->kx + tables->m) ++unfilled;
    }
  }
  EXPECT_EQ(valid, 115825);
  EXPECT_EQ(sum.value, 0xA3E8C6D8AB1C6F6BU) << std::hex << sum.value;
  EXPECT_EQ(widest, 35);
  EXPECT_GT(unfilled, 0);
}

// --- Parametric stereo ---

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
      PsFrame frame{};
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
