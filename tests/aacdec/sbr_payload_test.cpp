#include "aacdec/sbr_payload.h"

#include <gtest/gtest.h>

#include <memory>

#include "aacdec/raw_data_block.h"
#include "aacdec/sampling_rates.h"
#include "tests/aacdec/block_writer.h"
#include "tests/aacdec/sbr_writer.h"

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

void expect_channel(const SbrChannelFrame& channel, const SbrModel& model) {
  ASSERT_EQ(channel.status, SbrStatus::kParsed);
  const SbrGrid& grid = channel.grid;
  ASSERT_EQ(grid.envelope_count, model.grid.envelope_count);
  ASSERT_EQ(grid.noise_count, model.grid.noise_count);
  ASSERT_EQ(grid.transient, model.grid.transient);
  ASSERT_EQ(channel.amp_res, model.amp_res);
  ASSERT_EQ(channel.coupled, model.coupled);
  ASSERT_TRUE(std::equal(grid.border, grid.border + grid.envelope_count + 1, model.grid.border));
  ASSERT_TRUE(
      std::equal(grid.noise_border, grid.noise_border + grid.noise_count + 1, model.grid.noise_border));
  for (size_t e = 0; e < grid.envelope_count; ++e) {
    ASSERT_EQ(grid.high_resolution[e], model.grid.high_resolution[e]);
    for (size_t band = 0; band < model.envelope[e].size(); ++band) {
      ASSERT_EQ(channel.envelope[e][band], model.envelope[e][band]);
    }
  }
  for (size_t floor = 0; floor < grid.noise_count; ++floor) {
    for (size_t band = 0; band < model.noise[floor].size(); ++band) {
      ASSERT_EQ(channel.noise[floor][band], model.noise[floor][band]);
    }
  }
  for (size_t band = 0; band < model.invf.size(); ++band)
    ASSERT_EQ(channel.invf_mode[band], model.invf[band]);
  for (size_t band = 0; band < model.harmonics.size(); ++band) {
    ASSERT_EQ(channel.add_harmonic[band], model.harmonics[band]);
  }
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

TEST(SbrPayload, BeforeAHeaderIsPassedOver) {
  Payload payload;
  BitWriter w;
  w.put(0, 1).put(0xFFFF, 16);
  EXPECT_EQ(payload.parse(w), SbrResult::kNoHeader);
  EXPECT_EQ(payload.frame.channel[0].status, SbrStatus::kNoHeader);
  EXPECT_EQ(payload.read, 1U);
}

TEST(SbrPayload, SkipsItsCheckWord) {
  Payload payload;
  BitWriter w;
  put_frame(w.put(0x3FF, 10), {usual_header()}, bands_of(usual_header()));
  EXPECT_EQ(payload.parse(w, {}, true), SbrResult::kParsed);
  EXPECT_EQ(payload.read, w.size());
}

TEST(SbrHeaderRules, RequiredThatUnsentGroupsKeepTheirValues) {
  Payload payload;
  SbrHeader first = usual_header();
  first.freq_scale = 1;
  first.alter_scale = 0;
  first.noise_bands = 3;
  first.limiter_bands = 1;
  first.limiter_gains = 3;
  first.interpol_freq = 0;
  first.smoothing_mode = 0;
  BitWriter w;
  ASSERT_EQ(payload.parse(put_frame(w, {first}, bands_of(first))), SbrResult::kParsed);

  SbrHeader second = usual_header();
  second.stop_freq = 8;
  SbrHeader expected = first;
  expected.stop_freq = 8;
  BitWriter again;
  ASSERT_EQ(payload.parse(put_frame(again, {second, false, false}, bands_of(expected))), SbrResult::kParsed);
  const SbrHeader& kept = payload.frame.channel[0].header;
  EXPECT_EQ(kept.stop_freq, 8);
  EXPECT_EQ(kept.freq_scale, 1);
  EXPECT_EQ(kept.alter_scale, 0);
  EXPECT_EQ(kept.noise_bands, 3);
  EXPECT_EQ(kept.limiter_bands, 1);
  EXPECT_EQ(kept.limiter_gains, 3);
  EXPECT_EQ(kept.interpol_freq, 0);
  EXPECT_EQ(kept.smoothing_mode, 0);
  EXPECT_EQ(payload.frame.channel[0].bands_generation, 2U);
}

TEST(SbrHeaderRules, RebuildOnlyWhatAFieldDependsOn) {
  Payload payload;
  const SbrHeader header = usual_header();
  const auto parse = [&payload](const SbrHeader& h) {
    BitWriter w;
    EXPECT_EQ(payload.parse(put_frame(w, {h}, bands_of(h))), SbrResult::kParsed);
  };
  const SbrChannelFrame& channel = payload.frame.channel[0];
  parse(header);
  parse(header);
  EXPECT_EQ(channel.bands_generation, 1U);
  EXPECT_GT(channel.bands.limiter_count, 1);
  SbrHeader limiter = header;
  limiter.limiter_bands = 0;
  parse(limiter);
  EXPECT_EQ(channel.bands_generation, 1U);
  EXPECT_EQ(channel.bands.limiter_count, 1);
  SbrHeader gains = limiter;
  gains.limiter_gains = 0;
  gains.amp_res = 0;
  parse(gains);
  EXPECT_EQ(channel.bands_generation, 1U);
  SbrHeader noise = gains;
  noise.noise_bands = 3;
  parse(noise);
  EXPECT_EQ(channel.bands_generation, 2U);
}

TEST(SbrHeaderRules, AnInvalidOneIsForgotten) {
  Payload payload;
  BitWriter good;
  BitWriter bad;
  SbrHeader wide = usual_header();
  wide.start_freq = 0;
  wide.stop_freq = 13;
  put_sbr_header(bad.put(1, 1), {wide});
  // Ahead of any valid header the stream still has none.
  EXPECT_EQ(payload.parse(bad), SbrResult::kInvalidBands);
  EXPECT_EQ(payload.parse(BitWriter().put(0, 8)), SbrResult::kNoHeader);
  ASSERT_EQ(payload.parse(put_frame(good, {usual_header()}, bands_of(usual_header()))), SbrResult::kParsed);
  EXPECT_EQ(payload.parse(bad), SbrResult::kInvalidBands);
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

TEST(SbrGridRules, RejectsWhatIsNoGrid) {
  struct Case {
    const char* name;
    std::initializer_list<std::pair<uint64_t, int>> fields;
    bool valid;
  };
  const Case cases[] = {
      {"eight envelopes", {{0, 2}, {3, 2}, {0, 1}}, false},
      {"four envelopes", {{0, 2}, {2, 2}, {0, 1}}, true},
      {"six envelopes", {{3, 2}, {0, 2}, {0, 2}, {3, 2}, {2, 2}}, false},
      {"end before start", {{2, 2}, {3, 2}, {2, 2}, {3, 2}, {3, 2}, {0, 2}, {0, 3}}, false},
      {"crossing halves", {{3, 2}, {0, 2}, {0, 2}, {1, 2}, {1, 2}, {3, 2}, {3, 2}, {0, 2}, {0, 3}}, false},
      {"touching halves", {{3, 2}, {0, 2}, {0, 2}, {1, 2}, {1, 2}, {3, 2}, {2, 2}, {0, 2}, {0, 3}}, true},
      {"pointer behind the end", {{1, 2}, {0, 2}, {3, 2}, {0, 6}, {6, 3}, {0, 4}}, false},
      {"pointer to the end", {{1, 2}, {0, 2}, {3, 2}, {0, 6}, {5, 3}, {0, 4}}, true},
  };
  for (const Case& c : cases) {
    BitWriter w;
    w.fields(c.fields);
    const auto bytes = w.bytes();
    BitReader reader(bytes.data(), bytes.size());
    SbrGrid grid;
    EXPECT_EQ(parse_sbr_grid(reader, grid), c.valid) << c.name;
    if (c.valid) {
      EXPECT_EQ(reader.position(), w.size()) << c.name;
    }
  }
}

TEST(SbrGridRules, APayloadWithoutAGridIsInvalid) {
  Payload payload;
  BitWriter w;
  put_sbr_header(w.put(1, 1), {usual_header()}).fields({{0, 1}, {0, 2}, {3, 2}, {0, 1}});
  EXPECT_EQ(payload.parse(w), SbrResult::kInvalid);
  EXPECT_EQ(payload.frame.channel[0].status, SbrStatus::kNoHeader);
}

// A whole block with the payload in its fill element.
TEST(SbrInABlock, MustEndInsideItsFillElement) {
  const SbrHeader header = usual_header();
  BitWriter payload;
  put_frame(payload.put(13, 4), {header}, bands_of(header));
  const size_t bytes = (payload.size() + 7) / 8;
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
    if (valid) {
      EXPECT_EQ(reader.bytes_read(), block.size());
    }
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
