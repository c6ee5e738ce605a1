// Builds random parametric stereo data and keeps what a decoder should read from them: a plain model of the
// coding.
#pragma once

#include <algorithm>
#include <cstdint>
#include <random>
#include <span>
#include <vector>

#include "aacdec/tables/ps_codes.h"
#include "mediakit/aac/bit_writer.h"

namespace zdr::aacdec::test {

inline constexpr int kPsSentBands[3] = {10, 20, 34};

// One kind of parameter of a random stream, and the values a decoder should find.
struct PsParameter {
  bool enabled = false;
  int mode = 0;
  int low = 0;
  int high = 0;
  std::span<const HuffmanCode> frequency;
  std::span<const HuffmanCode> time;
  std::vector<int> last = std::vector<int>(34, 0);
  std::vector<std::vector<int>> envelopes;
  std::vector<int> held = std::vector<int>(20, 0);  // the last envelope on 20 bands

  void put(BitWriter& w, std::mt19937& random, int count) {
    envelopes.clear();
    if (!enabled) {
      last.assign(34, 0);
      held.assign(20, 0);
      return;
    }
    for (int e = 0; e < count; ++e) {
      const bool along_time = random() % 2 != 0;
      w.put(along_time ? 1 : 0, 1);
      const auto codes = along_time ? time : frequency;
      const int half = static_cast<int>(codes.size()) / 2;
      std::vector<int> values(static_cast<size_t>(kPsSentBands[mode % 3]));
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
    if (count > 0) held = on_20_bands(envelopes.back());
  }

  // Of an envelope that wasn't sent, the last one as it was meant when it was.
  std::vector<int> mapped(size_t envelope) const {
    return envelope < envelopes.size() ? on_20_bands(envelopes[envelope]) : held;
  }

  std::vector<int> on_20_bands(const std::vector<int>& sent) const {
    if (sent.size() == 20) return sent;
    // The bands that each of the 20 is the mean of, one that counts twice named twice.
    static const std::vector<size_t> kParts[20] = {
        {0, 0, 1},        {1, 2, 2}, {3, 3, 4}, {4, 5, 5}, {6, 7}, {8, 9},   {10},     {11},     {12, 13},
        {14, 15},         {16},      {17},      {18},      {19},   {20, 21}, {22, 23}, {24, 25}, {26, 27},
        {28, 29, 30, 31}, {32, 33}};
    std::vector<int> bands(20);
    for (size_t b = 0; b < 20; ++b) {
      if (sent.size() == 10) bands[b] = sent[b / 2];
      if (sent.size() == 10) continue;
      for (const size_t part : kParts[b]) bands[b] += sent[part];
      bands[b] /= static_cast<int>(kParts[b].size());
    }
    return bands;
  }
};

struct PsWriter {
  explicit PsWriter(unsigned seed) : random(seed) {}

  void draw_header() {
    iid.enabled = random() % 4 != 0;
    icc.enabled = random() % 4 != 0;
    if (iid.enabled) iid.mode = static_cast<int>(random() % modes);
    if (icc.enabled) icc.mode = static_cast<int>(random() % modes);
    const bool fine = iid.mode >= 3;
    iid.high = std::min(fine ? 15 : 7, widest_iid);
    iid.low = -iid.high;
    iid.frequency = fine ? std::span<const HuffmanCode>(kIidFineFreqCodes) : kIidCoarseFreqCodes;
    iid.time = fine ? std::span<const HuffmanCode>(kIidFineTimeCodes) : kIidCoarseTimeCodes;
    icc.high = 7;
    icc.frequency = kIccFreqCodes;
    icc.time = kIccTimeCodes;
    extension = random() % 2 != 0;
  }

  void put_header(BitWriter& w) {
    if (!drawn || !keeps_header) draw_header();
    drawn = true;
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
      int border = variable ? 8 * e + 1 + static_cast<int>(random() % 8) : 32 * (e + 1) / count;
      if (variable && touching && e > 0 && border % 4 == 0) border = borders.back();
      borders.push_back(border);
      if (variable) w.put(static_cast<uint64_t>(border - 1), 5);
    }
    if (borders.empty() || borders.back() != 32) borders.push_back(32);
    if (count > 0) held_fine = iid.mode >= 3;
    iid.put(w, random, count);
    icc.put(w, random, count);
    if (extension) w.fields({{15, 4}, {2, 8}}).put(0, 64).put(0xFFFFFFFFFFFFFFFF, 64).put(1, 8);
  }

  std::mt19937 random;
  bool drawn = false;
  // What headers and indices are drawn from; narrower for streams that somebody listens to.
  bool keeps_header = false;  // all headers are like the first
  unsigned modes = 6;
  int widest_iid = 15;
  PsParameter iid;
  PsParameter icc;
  bool touching = false;  // some envelopes end where they begin
  bool extension = false;
  bool held_fine = false;
  std::vector<int> borders;
};

}  // namespace zdr::aacdec::test
