#include "aacdec/ps_payload.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <span>
#include <vector>

#include "aacdec/sbr_payload.h"
#include "aacdec/tables/ps_codes.h"
#include "tests/aacdec/bit_writer.h"
#include "tests/aacdec/sbr_writer.h"

namespace zdr::aacdec {
namespace {

using namespace test;

constexpr int kBands[3] = {10, 20, 34};

// One kind of parameter of a random stream, and the values a decoder should find.
struct Parameter {
  bool enabled = false;
  int mode = 0;
  int low = 0;
  int high = 0;
  std::span<const HuffmanCode> frequency;
  std::span<const HuffmanCode> time;
  std::vector<int> last = std::vector<int>(34, 0);
  std::vector<std::vector<int>> envelopes;

  void put(BitWriter& w, std::mt19937& random, int count) {
    envelopes.clear();
    if (!enabled) {
      last.assign(34, 0);
      return;
    }
    for (int e = 0; e < count; ++e) {
      const bool along_time = random() % 2 != 0;
      w.put(along_time ? 1 : 0, 1);
      const auto codes = along_time ? time : frequency;
      const int half = static_cast<int>(codes.size()) / 2;
      std::vector<int> values(static_cast<size_t>(kBands[mode % 3]));
      int below = 0;
      for (size_t band = 0; band < values.size(); ++band) {
        const int reference = along_time ? last[band] : below;
        values[band] = low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
        values[band] = std::clamp(values[band], reference - half, reference + half);
        w.put(codes[static_cast<size_t>(values[band] - reference + half)]);
        below = values[band];
      }
      std::copy(values.begin(), values.end(), last.begin());
      envelopes.push_back(values);
    }
  }

  // On 20 bands; of an envelope that wasn't sent, the last one.
  std::vector<int> mapped(size_t envelope) const {
    std::vector<int> sent = envelope < envelopes.size() ? envelopes[envelope] : last;
    if (!enabled) sent.assign(34, 0);
    std::vector<int> bands(20);
    for (size_t b = 0; b < 20; ++b) {
      if (kBands[mode % 3] == 10) bands[b] = sent[b / 2];
      if (kBands[mode % 3] == 20) bands[b] = sent[b];
      if (kBands[mode % 3] == 34) bands[b] = folded(sent, b);
    }
    return bands;
  }

  static int folded(const std::vector<int>& p, size_t band) {
    const int sums[20] = {(2 * p[0] + p[1]) / 3,
                          (p[1] + 2 * p[2]) / 3,
                          (2 * p[3] + p[4]) / 3,
                          (p[4] + 2 * p[5]) / 3,
                          (p[6] + p[7]) / 2,
                          (p[8] + p[9]) / 2,
                          p[10],
                          p[11],
                          (p[12] + p[13]) / 2,
                          (p[14] + p[15]) / 2,
                          p[16],
                          p[17],
                          p[18],
                          p[19],
                          (p[20] + p[21]) / 2,
                          (p[22] + p[23]) / 2,
                          (p[24] + p[25]) / 2,
                          (p[26] + p[27]) / 2,
                          (p[28] + p[29] + p[30] + p[31]) / 4,
                          (p[32] + p[33]) / 2};
    return sums[band];
  }
};

struct PsWriter {
  explicit PsWriter(unsigned seed) : random(seed) {}

  void put_header(BitWriter& w) {
    iid.enabled = random() % 4 != 0;
    icc.enabled = random() % 4 != 0;
    if (iid.enabled) iid.mode = static_cast<int>(random() % 6);
    if (icc.enabled) icc.mode = static_cast<int>(random() % 6);
    const bool fine = iid.mode >= 3;
    iid.low = fine ? -15 : -7;
    iid.high = -iid.low;
    iid.frequency = fine ? std::span<const HuffmanCode>(kIidFineFreqCodes) : kIidCoarseFreqCodes;
    iid.time = fine ? std::span<const HuffmanCode>(kIidFineTimeCodes) : kIidCoarseTimeCodes;
    icc.high = 7;
    icc.frequency = kIccFreqCodes;
    icc.time = kIccTimeCodes;
    extension = random() % 2 != 0;
    // What was sent at another scale is no reference.
    iid.last.assign(34, 0);
    icc.last.assign(34, 0);
    w.put(iid.enabled ? 1 : 0, 1);
    if (iid.enabled) w.put(static_cast<uint64_t>(iid.mode), 3);
    w.put(icc.enabled ? 1 : 0, 1);
    if (icc.enabled) w.put(static_cast<uint64_t>(icc.mode), 3);
    w.put(extension ? 1 : 0, 1);
  }

  void put_frame(BitWriter& w, bool header) {
    w.put(header ? 1 : 0, 1);
    if (header) put_header(w);
    const bool variable = random() % 2 != 0;
    const size_t choice = random() % 4;
    w.put(variable ? 1 : 0, 1).put(choice, 2);
    const int counts[2][4] = {{0, 1, 2, 4}, {1, 2, 3, 4}};
    const int count = counts[variable ? 1 : 0][choice];
    borders.clear();
    for (int e = 0; e < count; ++e) {
      const int border = variable ? 8 * e + 1 + static_cast<int>(random() % 8) : 32 * (e + 1) / count;
      borders.push_back(border);
      if (variable) w.put(static_cast<uint64_t>(border - 1), 5);
    }
    if (borders.empty() || borders.back() != 32) borders.push_back(32);
    iid.put(w, random, count);
    icc.put(w, random, count);
    if (extension) w.fields({{15, 4}, {2, 8}}).put(0, 64).put(0xFFFFFFFFFFFFFFFF, 64).put(1, 8);
  }

  std::mt19937 random;
  Parameter iid;
  Parameter icc;
  bool extension = false;
  std::vector<int> borders;
};

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
