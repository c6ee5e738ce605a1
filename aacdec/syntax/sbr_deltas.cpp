// Decodes the Huffman-coded differences and accumulates them.
#include "aacdec/syntax/sbr_deltas.h"

#include <algorithm>
#include <iterator>

#include "aacdec/syntax/huffman.h"
#include "aacdec/tables/sbr_codes.h"

namespace zdr::aacdec {
namespace {

// A book of differences; its middle index is difference 0.
struct DifferenceBook {
  HuffmanTable table;
  int offset;
};

template <const auto& kCodes>
constexpr DifferenceBook difference_book() {
  return {HuffmanBook<kCodes, 9>::kTable, static_cast<int>(std::size(kCodes)) / 2};
}

// How one kind of value is coded: the width of a start value in bits, the books along frequency and time.
struct DeltaCoding {
  int start_bits;
  DifferenceBook frequency;
  DifferenceBook time;
};

// By [balance][amp_res].
constexpr DeltaCoding kEnvelopeCoding[2][2] = {
    {{7, difference_book<kLevelFreq15Codes>(), difference_book<kLevelTime15Codes>()},
     {6, difference_book<kLevelFreq30Codes>(), difference_book<kLevelTime30Codes>()}},
    {{6, difference_book<kBalanceFreq15Codes>(), difference_book<kBalanceTime15Codes>()},
     {5, difference_book<kBalanceFreq30Codes>(), difference_book<kBalanceTime30Codes>()}}};

// By [balance]. Along frequency, noise floors share the books of the 3 dB envelopes.
constexpr DeltaCoding kNoiseCoding[2] = {
    {5, difference_book<kLevelFreq30Codes>(), difference_book<kNoiseTimeCodes>()},
    {5, difference_book<kBalanceFreq30Codes>(), difference_book<kNoiseBalanceTimeCodes>()}};

int read_difference(BitReader& reader, const DifferenceBook& book) {
  return book.table.read(reader) - book.offset;
}

// Clamps a sum of differences to the range of its type; in damaged streams the sum may grow from frame to
// frame.
int16_t limited(int value) {
  return static_cast<int16_t>(std::clamp(value, -32768, 32767));
}

// Reads values along frequency: a start value, then differences to the band below. The start value is
// transmitted even if the tables are empty.
void read_along_frequency(BitReader& reader, const DeltaCoding& coding, int factor, int count,
                          int16_t* values) {
  int value = factor * static_cast<int>(reader.read(coding.start_bits));
  for (int band = 0; band < count; ++band) {
    if (band > 0) value += factor * read_difference(reader, coding.frequency);
    values[band] = limited(value);
  }
}

void parse_direction_flags(BitReader& reader, int count, bool* flags) {
  for (int i = 0; i < count; ++i) flags[i] = reader.read_bit();
}

// Returns the band of the previous envelope to which a time difference of `band` refers. With different
// resolutions it is the low band that covers a high one, or the high band that starts with a low one.
int reference_band(int band, bool high_now, bool high_before, int high_count) {
  const int odd = high_count % 2;
  if (high_now == high_before) return band;
  if (high_now) return (band + odd) / 2;
  return band == 0 ? 0 : 2 * band - odd;
}

}  // namespace

DeltaDirections parse_delta_directions(BitReader& reader, const SbrGrid& grid) {
  DeltaDirections directions;
  parse_direction_flags(reader, grid.envelope_count, directions.envelope);
  parse_direction_flags(reader, grid.noise_count, directions.noise);
  return directions;
}

void parse_envelopes(BitReader& reader, const DeltaDirections& directions, const SbrParserState& state,
                     SbrChannelFrame& channel) {
  const DeltaCoding& coding = kEnvelopeCoding[channel.coupled ? 1 : 0][channel.amp_res];
  const int factor = channel.coupled ? 2 : 1;
  const int16_t* before = state.envelope;
  bool high_before = state.high_resolution;
  for (int e = 0; e < channel.grid.envelope_count; ++e) {
    const bool high = channel.grid.high_resolution[e];
    const int count = channel.bands.envelope_bands(high);
    int16_t* const values = channel.envelope[e];
    if (!directions.envelope[e]) {
      read_along_frequency(reader, coding, factor, count, values);
    } else {
      for (int band = 0; band < count; ++band) {
        const int reference = before[reference_band(band, high, high_before, channel.bands.high_count)];
        values[band] = limited(reference + factor * read_difference(reader, coding.time));
      }
    }
    before = values;
    high_before = high;
  }
}

void parse_noise_floors(BitReader& reader, const DeltaDirections& directions, const SbrParserState& state,
                        SbrChannelFrame& channel) {
  const DeltaCoding& coding = kNoiseCoding[channel.coupled ? 1 : 0];
  const int factor = channel.coupled ? 2 : 1;
  const int16_t* before = state.noise;
  for (int floor = 0; floor < channel.grid.noise_count; ++floor) {
    int16_t* const values = channel.noise[floor];
    if (!directions.noise[floor]) {
      read_along_frequency(reader, coding, factor, channel.bands.noise_count, values);
    } else {
      for (int band = 0; band < channel.bands.noise_count; ++band) {
        values[band] = limited(before[band] + factor * read_difference(reader, coding.time));
      }
    }
    before = values;
  }
}

}  // namespace zdr::aacdec
