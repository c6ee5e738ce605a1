// Writes random SBR payloads.
#pragma once

#include <array>
#include <random>
#include <span>

#include "aacdec/syntax/sbr_payload.h"
#include "mediakit/aac/bit_writer.h"

namespace zdr::test {

// Returns sbr_extended_data with one extension, or without any if `data` is empty.
BitWriter sbr_extended_data(uint64_t id, const BitWriter& data);

using SbrValues = std::array<int16_t, aacdec::kMaxSbrBands>;

// The state of one channel: its last frame, and the values to which the time differences of the next frame
// refer.
struct SbrChannelCoding {
  aacdec::SbrChannelFrame frame{};  // only what the coding of the next frame depends on
  bool along_time[aacdec::kMaxEnvelopes] = {};
  bool noise_along_time[aacdec::kMaxNoiseFloors] = {};
  bool high_before = false;
  SbrValues envelope_before{};
  SbrValues noise_before{};
};

class SbrFrameWriter {
 public:
  SbrFrameWriter(std::mt19937& random, const aacdec::SbrHeader& header, const aacdec::SbrBandTables& bands)
      : random_(random), header_(header), bands_(bands) {}

  // The part of its range, in percent, from which a value is drawn; narrow for streams meant for listening.
  struct Part {
    int low = 0;
    int high = 100;
  };
  Part levels;
  Part balances;
  Part noise_floors;

  // Writes a random sbr_single_channel_element for one model or sbr_channel_pair_element for two, without
  // extended data. Each frame begins where the previous one ended.
  void put_element(BitWriter& w, std::span<SbrChannelCoding> models, bool coupled = false);

  // The codes of one kind of value, and the range of values in a valid stream.
  struct Coding {
    int start_bits;
    std::span<const aacdec::HuffmanCode> frequency;
    std::span<const aacdec::HuffmanCode> time;
    int highest;
    int factor = 1;  // value per coded step
    int lowest = 0;
  };

 private:
  void put_grid(BitWriter& w, aacdec::SbrChannelFrame& frame);
  bool put_variable_grid(BitWriter& w, int first, aacdec::SbrGrid& grid);
  void put_directions(BitWriter& w, SbrChannelCoding& model);
  void put_envelopes(BitWriter& w, SbrChannelCoding& model);
  void put_noise(BitWriter& w, SbrChannelCoding& model);
  void put_harmonics(BitWriter& w, aacdec::SbrChannelFrame& frame);
  SbrValues put_values(BitWriter& w, const Coding& coding, int count, const SbrValues* references);
  int put_drawn(BitWriter& w, int count, int bits);
  int draw(int count) { return static_cast<int>(random_() % static_cast<unsigned>(count)); }

  std::mt19937& random_;
  const aacdec::SbrHeader& header_;
  const aacdec::SbrBandTables& bands_;
};

}  // namespace zdr::test
