#include "aacdec/syntax/sbr_payload.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "aacdec/syntax/raw_data_block.h"
#include "aacdec/syntax/sampling_rates.h"
#include "aacdec/syntax/sbr_bands.h"
#include "mediakit/aac/block_writer.h"
#include "mediakit/aac/sbr_writer.h"

namespace zdr::aacdec {
namespace {

using namespace test;

constexpr int32_t kCoreRate = 22050;

struct Payload {
  SbrResult parse(const BitWriter& writer, SbrElement element = {}, bool with_crc = false) {
    const auto bytes = writer.bytes();
    BitReader reader(bytes.data(), bytes.size());
    const SbrResult result = parse_sbr_payload(reader, with_crc, element, parser, frame, ps_signalled);
    read = reader.position();
    return result;
  }

  SbrParser parser{kCoreRate};
  SbrFrame frame;
  bool ps_signalled = false;
  uint64_t read = 0;
};

SbrHeader usual_header() {
  SbrHeader header;
  header.start_freq = 8;
  header.stop_freq = 9;
  header.alter_scale = 1;
  return header;
}

// A header and the smallest single channel element that goes with it.
BitWriter& put_frame(BitWriter& w, const SbrHeaderBits& header, const SbrBandTables& bands) {
  put_sbr_header(w.put(1, 1), header);
  // FIXFIX of one low resolution envelope, all along time, no sinusoids, no extended data.
  w.fields({{0, 1}, {0, 2}, {0, 2}, {0, 1}, {1, 1}, {1, 1}});
  for (int band = 0; band < bands.noise_count; ++band) w.put(0, 2);
  for (int band = 0; band < bands.low_count; ++band) w.put(kLevelTime15Codes[60]);
  for (int band = 0; band < bands.noise_count; ++band) w.put(kNoiseTimeCodes[31]);
  return w.put(0, 2);
}

SbrBandTables bands_of(const SbrHeader& header) {
  SbrBandTables bands;
  EXPECT_TRUE(build_sbr_bands(header, 2 * kCoreRate, bands));
  return bands;
}

template <typename T>
std::vector<int> list(const T* values, size_t count) {
  return std::vector<int>(values, values + count);
}

void expect_channel(const SbrChannelFrame& channel, const SbrModel& model) {
  ASSERT_EQ(channel.status, SbrStatus::kParsed);
  const SbrGrid& grid = channel.grid;
  const size_t envelopes = model.grid.envelope_count;
  const size_t floors = model.grid.noise_count;
  ASSERT_EQ(grid.envelope_count, envelopes);
  ASSERT_EQ(grid.noise_count, floors);
  ASSERT_EQ(grid.transient, model.grid.transient);
  ASSERT_EQ(channel.amp_res, model.amp_res);
  ASSERT_EQ(channel.coupled, model.coupled);
  ASSERT_EQ(list(grid.border, envelopes + 1), list(model.grid.border, envelopes + 1));
  ASSERT_EQ(list(grid.noise_border, floors + 1), list(model.grid.noise_border, floors + 1));
  ASSERT_EQ(list(grid.high_resolution, envelopes), list(model.grid.high_resolution, envelopes));
  for (size_t e = 0; e < envelopes; ++e) {
    ASSERT_EQ(list(channel.envelope[e], model.envelope[e].size()), model.envelope[e]);
  }
  for (size_t f = 0; f < floors; ++f)
    ASSERT_EQ(list(channel.noise[f], model.noise[f].size()), model.noise[f]);
  ASSERT_EQ(list(channel.invf_mode, model.invf.size()), model.invf);
  ASSERT_EQ(list(channel.add_harmonic, model.harmonics.size()), model.harmonics);
}

// Streams of random frames: every grid class, both resolutions and directions, coupling, both amplitude
// resolutions.
TEST(SbrPayload, GivesWhatAPlainWriterCoded) {
  std::mt19937 random(3);
  for (int stream = 0; stream < 60; ++stream) {
    SbrHeader header = usual_header();
    header.amp_res = static_cast<uint8_t>(stream & 1);
    header.xover_band = static_cast<uint8_t>(stream % 4);
    header.freq_scale = static_cast<uint8_t>(stream / 4 % 4);
    const SbrBandTables bands = bands_of(header);
    SbrFrameWriter writer(random, header, bands);
    const bool pair = stream % 3 != 0;
    Payload payload;
    SbrModel models[2];
    for (int frame = 0; frame < 50; ++frame) {
      BitWriter w;
      w.put(frame % 10 == 0 ? 1 : 0, 1);
      if (frame % 10 == 0) put_sbr_header(w, {header});
      if (pair) {
        writer.put_pair(w, models[0], models[1], random() % 2 != 0);
      } else {
        writer.put_single(w, models[0]);
      }
      w.put(0, 1);
      ASSERT_EQ(payload.parse(w, {0, pair}), SbrResult::kParsed) << stream << ' ' << frame;
      ASSERT_EQ(payload.read, w.size());
      ASSERT_EQ(payload.frame.channel[0].bands_generation, 1U);
      expect_channel(payload.frame.channel[0], models[0]);
      if (pair) expect_channel(payload.frame.channel[1], models[1]);
      if (HasFatalFailure()) FAIL() << "stream " << stream << ", frame " << frame;
    }
  }
}

TEST(SbrPayload, PassesOverItsCheckWordAndWhatComesBeforeAHeader) {
  Payload payload;
  EXPECT_EQ(payload.parse(BitWriter().put(0, 1).put(0xFFFF, 16)), SbrResult::kNoHeader);
  EXPECT_EQ(payload.frame.channel[0].status, SbrStatus::kNoHeader);
  EXPECT_EQ(payload.read, 1U);
  BitWriter w;
  put_frame(w.put(0x3FF, 10), {usual_header()}, bands_of(usual_header()));
  EXPECT_EQ(payload.parse(w, {}, true), SbrResult::kParsed);
  EXPECT_EQ(payload.read, w.size());
}

// Headers that differ in a field, and what is in force behind each. Only fields that the tables depend on
// build them anew.
TEST(SbrHeaderRules, RequiredThatUnsentGroupsKeepTheirValues) {
  constexpr unsigned kCounts[] = {2, 16, 16, 8, 4, 2, 4, 4, 4, 2, 2};
  std::mt19937 random(5);
  Payload payload;
  const SbrChannelFrame& channel = payload.frame.channel[0];
  SbrHeader kept = usual_header();
  uint32_t generation = 1;
  for (int step = 0; step < 500; ++step) {
    SbrHeader next = kept;
    uint8_t* const fields[] = {&next.amp_res,       &next.start_freq,    &next.stop_freq,
                               &next.xover_band,    &next.freq_scale,    &next.alter_scale,
                               &next.noise_bands,   &next.limiter_bands, &next.limiter_gains,
                               &next.interpol_freq, &next.smoothing_mode};
    const size_t changed = random() % std::size(fields);
    *fields[changed] = static_cast<uint8_t>(random() % kCounts[changed]);
    SbrHeaderBits sent{next, step == 0 || random() % 2 != 0, step == 0 || random() % 2 != 0};
    const bool arrives = changed < 4 || (changed < 7 ? sent.extra_1 : sent.extra_2);
    if (!arrives) next = kept;
    SbrBandTables bands;
    if (!build_sbr_bands(next, 2 * kCoreRate, bands) || bands.m == 0) continue;
    const bool builds = changed >= 1 && changed < 7 && next != kept;
    generation += step != 0 && builds ? 1 : 0;
    kept = next;
    build_limiter_bands(kept, bands);
    BitWriter w;
    ASSERT_EQ(payload.parse(put_frame(w, sent, bands)), SbrResult::kParsed) << step;
    ASSERT_EQ(channel.header, kept) << step;
    ASSERT_EQ(channel.bands_generation, generation) << step;
    ASSERT_EQ(list(channel.bands.limiter, channel.bands.limiter_count + 1U),
              list(bands.limiter, bands.limiter_count + 1U))
        << step;
  }
  EXPECT_GT(generation, 50U);
}

TEST(SbrHeaderRules, AnInvalidOneIsForgotten) {
  SbrHeader wide = usual_header();
  wide.start_freq = 0;
  wide.stop_freq = 13;
  Payload payload;
  BitWriter good;
  BitWriter bad;
  put_sbr_header(bad.put(1, 1), {wide});
  put_frame(good, {usual_header()}, bands_of(usual_header()));
  // Ahead of any valid header the stream still has none.
  EXPECT_EQ(payload.parse(bad), SbrResult::kInvalidBands);
  EXPECT_EQ(payload.parse(BitWriter().put(0, 8)), SbrResult::kNoHeader);
  ASSERT_EQ(payload.parse(good), SbrResult::kParsed);
  EXPECT_EQ(payload.parse(bad), SbrResult::kInvalidBands);
  ASSERT_EQ(payload.parse(good), SbrResult::kParsed);
  EXPECT_EQ(payload.frame.channel[0].bands_generation, 1U);
}

TEST(SbrHeaderRules, RequiredThatOneWithoutRoomForSbrGivesNoBands) {
  // stop_freq 0 ends below where start_freq 15 begins.
  SbrHeader header = usual_header();
  header.start_freq = 15;
  header.stop_freq = 0;
  Payload payload;
  BitWriter w;
  put_sbr_header(w.put(1, 1), {header});
  // Start values come all the same: one envelope of 7 bits, one noise floor of 5.
  w.fields({{0, 1}, {0, 2}, {0, 2}, {0, 1}, {0, 1}, {0, 1}, {77, 7}, {9, 5}, {0, 1}, {0, 1}});
  EXPECT_EQ(payload.parse(w), SbrResult::kParsed);
  EXPECT_EQ(payload.read, w.size());
  EXPECT_EQ(payload.frame.channel[0].bands.m, 0);
}

TEST(SbrGridRules, RejectWhatIsNoGrid) {
  struct Case {
    const char* name;
    std::initializer_list<std::pair<uint64_t, int>> fields;
    bool valid;
  };
  const Case cases[] = {
      {"eight envelopes", {{0, 2}, {3, 2}, {0, 1}}, false},
      {"six envelopes", {{3, 2}, {0, 2}, {0, 2}, {3, 2}, {2, 2}}, false},
      {"end before start", {{2, 2}, {3, 2}, {2, 2}, {3, 2}, {3, 2}, {0, 2}, {0, 3}}, false},
      {"crossing halves", {{3, 2}, {0, 2}, {0, 2}, {1, 2}, {1, 2}, {3, 2}, {3, 2}, {0, 2}, {0, 3}}, false},
      {"touching halves", {{3, 2}, {0, 2}, {0, 2}, {1, 2}, {1, 2}, {3, 2}, {2, 2}, {0, 2}, {0, 3}}, true},
      {"pointer behind the end", {{1, 2}, {0, 2}, {3, 2}, {0, 6}, {6, 3}, {0, 4}}, false},
      {"pointer to the end", {{1, 2}, {0, 2}, {3, 2}, {0, 6}, {5, 3}, {0, 4}}, true},
  };
  for (const Case& c : cases) {
    for (const bool coupled_pair : {false, true}) {
      Payload payload;
      BitWriter w;
      put_sbr_header(w.put(1, 1), {usual_header()}).put(coupled_pair ? 1 : 0, coupled_pair ? 2 : 1);
      const SbrResult result = payload.parse(w.fields(c.fields), {0, coupled_pair});
      EXPECT_EQ(result, c.valid ? SbrResult::kParsed : SbrResult::kInvalid) << c.name;
      EXPECT_EQ(payload.frame.channel[0].status, c.valid ? SbrStatus::kParsed : SbrStatus::kNoHeader)
          << c.name;
    }
  }
}

// Extended data with parametric stereo, of a header without parameters and one fixed envelope.
TEST(PsInExtendedData, RequiredInASingleChannelOnlyAndOnceInItsContainer) {
  struct Case {
    const char* name;
    bool pair;
    std::initializer_list<std::pair<uint64_t, int>> data;  // id, then what it stands for; padded with ones
    bool signalled, present;
  };
  const Case cases[] = {
      {"single channel", false, {{2, 2}, {1, 1}, {0, 3}, {0, 1}, {1, 2}}, true, true},
      {"pair", true, {{2, 2}, {1, 1}, {0, 3}, {0, 1}, {1, 2}}, false, false},
      {"reserved mode behind",
       false,
       {{2, 2}, {1, 1}, {0, 4}, {1, 2}, {2, 2}, {1, 1}, {1, 1}, {7, 3}},
       true,
       true},
      {"another extension", false, {{1, 2}, {1, 1}, {0, 3}, {0, 1}, {1, 2}}, false, false},
      {"ahead of a header", false, {{2, 2}, {0, 1}}, true, false},
      {"reserved mode", false, {{2, 2}, {1, 1}, {1, 1}, {7, 3}}, false, false},
  };
  for (const Case& c : cases) {
    for (const size_t size : {3U, 16U}) {
      std::mt19937 random(9);
      SbrModel models[2];
      const SbrHeader header = usual_header();
      const SbrBandTables bands = bands_of(header);
      SbrFrameWriter writer(random, header, bands);
      BitWriter w;
      put_sbr_header(w.put(1, 1), {header});
      c.pair ? writer.put_pair(w, models[0], models[1], false) : writer.put_single(w, models[0]);
      w.put(1, 1);
      if (size < 15) w.put(size, 4);
      if (size >= 15) w.fields({{15, 4}, {size - 15, 8}});
      const size_t end = w.size() + 8 * size;
      w.fields(c.data);
      while (w.size() < end) w.put(1, 1);
      Payload payload;
      EXPECT_EQ(payload.parse(w, {0, c.pair}), SbrResult::kParsed) << c.name;
      EXPECT_EQ(payload.read, end) << c.name;
      EXPECT_EQ(payload.ps_signalled, c.signalled) << c.name;
      EXPECT_EQ(payload.frame.channel[0].ps.present, c.present) << c.name;
    }
  }
}

// A whole block with the payload in its fill element.
TEST(SbrInABlock, MustEndInsideItsFillElement) {
  const SbrHeader header = usual_header();
  BitWriter payload;
  put_frame(payload.put(13, 4), {header}, bands_of(header));
  const size_t bytes = (payload.size() + 7) / 8;
  // Cut to so many bytes, or padded.
  const auto parse = [&](size_t count, BlockContext& context) {
    BitWriter w;
    put_silent_sce(w, 0).put(kFil, 3);
    if (count < 15) w.put(count, 4);
    if (count >= 15) w.fields({{15, 4}, {count - 14, 8}});
    w.append(payload);
    for (size_t bit = payload.size(); bit < 8 * count; ++bit) w.put(1, 1);
    const auto block = end_block(w);
    BitReader reader(block.data(), block.size());
    const auto frame = std::make_unique<Frame>();
    const bool valid = parse_raw_data_block(reader, context, *frame).has_value();
    EXPECT_TRUE(!valid || reader.bytes_read() == block.size());
    return valid;
  };
  SbrParser parser(kCoreRate);
  BlockContext context;
  context.format.sampling_index = sampling_index_of(kCoreRate);
  context.keep_values = true;
  context.sbr = &parser;
  EXPECT_TRUE(parse(bytes, context));
  EXPECT_TRUE(parse(bytes + 9, context));
  EXPECT_FALSE(parse(bytes - 1, context));
  EXPECT_TRUE(context.sbr_signalled);
  // Switched off, only the count matters.
  context.sbr = nullptr;
  EXPECT_TRUE(parse(bytes, context));
}

}  // namespace
}  // namespace zdr::aacdec
