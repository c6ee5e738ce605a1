// Writes random parametric stereo data.
#pragma once

#include <algorithm>
#include <cstdint>
#include <random>
#include <span>
#include <vector>

#include "aacdec/tables/ps_codes.h"
#include "mediakit/aac/bit_writer.h"

namespace zdr::test {

// One of the two kinds of parameter (IID or ICC), and the coding of its values.
struct PsParameter {
  bool enabled = false;
  int mode = 0;
  int low = 0;
  int high = 0;
  std::span<const aacdec::HuffmanCode> frequency;
  std::span<const aacdec::HuffmanCode> time;
  std::vector<int> last = std::vector<int>(34, 0);

  void put(BitWriter& w, std::mt19937& random, int count) {
    if (!enabled) last.assign(34, 0);
    for (int e = 0; enabled && e < count; ++e) put_envelope(w, random);
  }

 private:
  void put_envelope(BitWriter& w, std::mt19937& random) {
    const bool along_time = random() % 2 != 0;
    w.put(along_time ? 1 : 0, 1);
    const auto codes = along_time ? time : frequency;
    const int half = static_cast<int>(codes.size()) / 2;
    constexpr size_t kSentBands[3] = {10, 20, 34};
    const size_t count = kSentBands[mode % 3];
    for (size_t band = 0; band < count; ++band) {
      const int reference = along_time ? last[band] : band > 0 ? last[band - 1] : 0;
      const int value = low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
      last[band] = std::clamp(value, reference - half, reference + half);
      w.put(codes[static_cast<size_t>(last[band] - reference + half)]);
    }
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
    iid.frequency =
        fine ? std::span<const aacdec::HuffmanCode>(aacdec::kIidFineFreqCodes) : aacdec::kIidCoarseFreqCodes;
    iid.time =
        fine ? std::span<const aacdec::HuffmanCode>(aacdec::kIidFineTimeCodes) : aacdec::kIidCoarseTimeCodes;
    icc.high = 7;
    icc.frequency = aacdec::kIccFreqCodes;
    icc.time = aacdec::kIccTimeCodes;
    extension = random() % 2 != 0;
    drawn = true;
  }

  void put_frame(BitWriter& w, bool with_header) {
    w.put(with_header ? 1 : 0, 1);
    if (with_header && (!drawn || !keeps_header)) draw_header();
    for (const PsParameter* parameter : {&iid, &icc}) {
      if (with_header) w.put(parameter->enabled ? 1 : 0, 1);
      if (with_header && parameter->enabled) w.put(static_cast<uint64_t>(parameter->mode), 3);
    }
    if (with_header) w.put(extension ? 1 : 0, 1);
    const int count = put_borders(w);
    iid.put(w, random, count);
    icc.put(w, random, count);
    if (extension) w.fields({{15, 4}, {2, 8}, {0, 64}, {0xFFFFFFFFFFFFFFFF, 64}, {1, 8}});
  }

  std::mt19937 random;
  // The ranges from which headers and indices are drawn; narrow for streams meant for listening.
  bool keeps_header = false;  // all headers are like the first
  unsigned modes = 6;
  int widest_iid = 15;
  PsParameter iid;
  PsParameter icc;
  bool extension = false;
  bool drawn = false;

 private:
  // Returns the number of envelopes that follow.
  int put_borders(BitWriter& w) {
    const bool variable = random() % 2 != 0;
    const size_t choice = random() % 4;
    w.put(variable ? 1 : 0, 1).put(choice, 2);
    constexpr int kCounts[2][4] = {{0, 1, 2, 4}, {1, 2, 3, 4}};
    const int count = kCounts[variable ? 1 : 0][choice];
    for (int e = 0; e < count && variable; ++e) {
      w.put(static_cast<uint64_t>(8 * e) + random() % 8, 5);
    }
    return count;
  }
};

}  // namespace zdr::test
