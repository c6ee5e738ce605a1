// Builds SBR payloads and keeps what a decoder should read from them: a plain model of the coding.
#pragma once

#include <array>
#include <cstdint>
#include <random>
#include <span>
#include <vector>

#include "aacdec/syntax/sbr_payload.h"
#include "aacdec/tables/sbr_codes.h"
#include "mediakit/aac/bit_writer.h"

namespace zdr::aacdec::test {

struct SbrHeaderBits {
  SbrHeader header;
  bool extra_1 = true;
  bool extra_2 = true;
};

inline BitWriter& put_sbr_header(BitWriter& w, const SbrHeaderBits& bits) {
  const SbrHeader& h = bits.header;
  w.fields({{h.amp_res, 1}, {h.start_freq, 4}, {h.stop_freq, 4}, {h.xover_band, 3}, {3, 2}});
  w.put(bits.extra_1 ? 1 : 0, 1).put(bits.extra_2 ? 1 : 0, 1);
  if (bits.extra_1) w.fields({{h.freq_scale, 2}, {h.alter_scale, 1}, {h.noise_bands, 2}});
  if (bits.extra_2)
    w.fields({{h.limiter_bands, 2}, {h.limiter_gains, 2}, {h.interpol_freq, 1}, {h.smoothing_mode, 1}});
  return w;
}

// The model of one channel: values of this frame, and the last ones, which time differences refer to.
struct SbrModel {
  SbrGrid grid;
  int amp_res = 0;
  bool coupled = false;
  std::vector<std::vector<int>> envelope;
  std::vector<std::vector<int>> noise;
  std::vector<int> invf;
  std::vector<int> harmonics;
  // Of the frame before.
  int border_before = 16;
  bool high_before = false;
  std::vector<int> envelope_before = std::vector<int>(48, 0);
  std::vector<int> noise_before = std::vector<int>(5, 0);
};

class SbrFrameWriter {
 public:
  SbrFrameWriter(std::mt19937& random, const SbrHeader& header, const SbrBandTables& bands)
      : random_(random), header_(header), bands_(bands) {}

  // The part of their range that values are drawn from, in hundredths; narrower for streams that somebody
  // listens to.
  struct Part {
    int low = 0;
    int high = 100;
    int lowest(int range) const { return range * low / 100; }
    int highest(int range) const { return range * high / 100; }
  };
  Part levels;
  Part balances;
  Part noise_floors;
  // Each frame begins where the one before ended, as in a stream that can be played.
  bool continuous = false;
  // Nothing is coded against the frame before, as behind a header that changes the bands.
  bool begins_anew = false;

  // How one kind of value is coded, and its range in a sane stream.
  struct Coding {
    int start_bits;
    std::span<const HuffmanCode> frequency;
    std::span<const HuffmanCode> time;
    int highest;
    int lowest = 0;
    int factor = 1;  // of balances, which are doubled
  };

  // Random sbr_single_channel_element, without extended data.
  void put_single(BitWriter& w, SbrModel& model);
  // Random sbr_channel_pair_element.
  void put_pair(BitWriter& w, SbrModel& left, SbrModel& right, bool coupled);

 private:
  void put_grid(BitWriter& w, SbrModel& model);
  FrameClass choose_class(const SbrModel& model);
  void put_fixed_grid(BitWriter& w, SbrGrid& grid);
  int put_variable_grid(BitWriter& w, int first, SbrGrid& grid);
  std::vector<int> choose_lengths(int count, int room);
  void put_directions(BitWriter& w, const SbrModel& model, std::vector<int>& envelopes,
                      std::vector<int>& floors);
  void put_invf(BitWriter& w, SbrModel& model);
  void put_envelopes(BitWriter& w, SbrModel& model, const std::vector<int>& directions);
  void put_noise(BitWriter& w, SbrModel& model, const std::vector<int>& directions);
  Coding scaled(Coding coding, bool balance, const Part& part) const;
  std::vector<int> put_values(BitWriter& w, const Coding& coding, int count,
                              const std::vector<int>* references);
  void put_harmonics(BitWriter& w, SbrModel& model);
  int put_difference(BitWriter& w, std::span<const HuffmanCode> codes, int value, int low, int high,
                     int factor);
  int put_drawn(BitWriter& w, int count, int bits);
  int draw_between(int low, int high) { return low + draw(high - low + 1); }
  int draw(int count) { return static_cast<int>(random_() % static_cast<unsigned>(count)); }

  std::mt19937& random_;
  const SbrHeader& header_;
  const SbrBandTables& bands_;
};

}  // namespace zdr::aacdec::test
