// Parses a channel stream. The functions are in bit order: ics_info, section_data, scale_factor_data,
// spectral_data.
#include "aacdec/syntax/channel_stream.h"

#include <algorithm>

#include "aacdec/syntax/huffman.h"
#include "aacdec/syntax/scale_factor_bands.h"
#include "aacdec/syntax/spectral_huffman.h"
#include "aacdec/syntax/tools_data.h"
#include "aacdec/tables/scale_factor_codes.h"

namespace zdr::aacdec {
namespace {

using ScaleFactorBook = HuffmanBook<kScaleFactorCodes, 9>;
constexpr int kScaleFactorOffset = 60;
// noise_nrg starts 90 below global_gain, and its first value is coded in 9 bits with an offset of 256.
constexpr int kNoiseOffset = 90 + 256;

void group_windows(uint32_t grouping, IcsInfo& ics) {
  ics.group_count = 1;
  ics.group_length[0] = 1;
  for (int window = 1; window < kMaxWindows; ++window) {
    const bool joins = (grouping >> (kMaxWindows - 1 - window) & 1) != 0;
    if (!joins) ics.group_length[ics.group_count++] = 0;
    ++ics.group_length[ics.group_count - 1];
  }
}

bool parse_section_data(BitReader& reader, ChannelStream& channel) {
  const IcsInfo& ics = channel.ics;
  const int length_bits = ics.is_short() ? 3 : 5;
  const int escape = (1 << length_bits) - 1;
  for (int group = 0; group < ics.group_count; ++group) {
    uint8_t* const books = channel.codebook + ics.band(group, 0);
    int sfb = 0;
    while (sfb < ics.max_sfb) {
      // A section may be empty: without this check the zeros past the end of the data would loop forever.
      if (reader.past_end()) return false;
      const auto book = static_cast<uint8_t>(reader.read(4));
      if (book == kReservedBook) return false;
      int end = sfb;
      int increment = 0;
      do {
        increment = static_cast<int>(reader.read(length_bits));
        end += increment;
      } while (increment == escape && end <= ics.max_sfb);
      if (end > ics.max_sfb) return false;
      std::fill(books + sfb, books + end, book);
      sfb = end;
    }
    std::fill(books + sfb, books + ics.band_count, uint8_t{kZeroBook});
  }
  return true;
}

// The three running values of scale_factor_data: scale factor, noise energy (PNS) and intensity position.
class ScaleFactorDecoder {
 public:
  explicit ScaleFactorDecoder(int global_gain)
      : scale_factor_(global_gain), noise_energy_(global_gain - kNoiseOffset) {}

  int next(BitCache& bits, int book) {
    if (book == kZeroBook) return 0;
    bits.require(HuffmanEntry::kMaxCodeLength);
    if (book == kNoiseBook && first_noise_) {
      first_noise_ = false;
      return noise_energy_ += static_cast<int>(bits.take(9));
    }
    const int difference = ScaleFactorBook::kTable.take(bits) - kScaleFactorOffset;
    if (book == kNoiseBook) return noise_energy_ += difference;
    if (book >= kIntensityOutOfPhaseBook) return intensity_position_ += difference;
    return scale_factor_ += difference;
  }

 private:
  int scale_factor_;
  int noise_energy_;
  int intensity_position_ = 0;
  bool first_noise_ = true;
};

bool parse_scale_factor_data(BitReader& reader, ChannelStream& channel) {
  const IcsInfo& ics = channel.ics;
  ScaleFactorDecoder decoder(channel.global_gain);
  BitCache bits(reader);
  for (int group = 0; group < ics.group_count; ++group) {
    const int first = ics.band(group, 0);
    for (int band = first; band < first + ics.max_sfb; ++band) {
      channel.scale[band] = static_cast<int16_t>(decoder.next(bits, channel.codebook[band]));
    }
    std::fill(channel.scale + first + ics.max_sfb, channel.scale + first + ics.band_count, int16_t{0});
  }
  reader.seek(bits.position());
  return !bits.past_end();
}

// Returns the end of the run of bands that share the codebook of `sfb`.
int run_end(const ChannelStream& channel, int group, int sfb) {
  const uint8_t* const books = channel.codebook + channel.ics.band(group, 0);
  int end = sfb + 1;
  while (end < channel.ics.max_sfb && books[end] == books[sfb]) ++end;
  return end;
}

bool parse_spectral_run(BitCache& bits, int book, int start, int count, std::span<int16_t> quantised) {
  if (quantised.empty()) return skip_spectral_values(bits, book, count);
  return decode_spectral_values(bits, book,
                                quantised.subspan(static_cast<size_t>(start), static_cast<size_t>(count)));
}

}  // namespace

bool parse_ics_info(BitReader& reader, const StreamFormat& format, IcsInfo& ics, LtpData& ltp,
                    LtpData* second_ltp) {
  IcsInfo read;
  // ics_reserved_bit, window_sequence and window_shape.
  //
  // Kept: the reserved bit is ignored, because some encoders set it.
  const uint32_t head = reader.read(4);
  read.window_sequence = static_cast<WindowSequence>(head >> 1 & 3);
  read.window_shape = static_cast<uint8_t>(head & 1);
  read.band_count = static_cast<uint8_t>(scale_factor_bands(format.sampling_index, read.is_short()).count);
  read.max_sfb = static_cast<uint8_t>(reader.read(read.is_short() ? 4 : 6));
  if (read.is_short()) group_windows(reader.read(kMaxWindows - 1), read);
  if (read.max_sfb > read.band_count) return false;
  if (!read.is_short() && reader.read_bit()) {
    // The Main profile uses the same bit for its prediction, which is not supported.
    if (format.profile != kProfileLtp) return false;
    parse_ltp_data(reader, read.max_sfb, ltp);
    if (second_ltp != nullptr) parse_ltp_data(reader, read.max_sfb, *second_ltp);
  }
  ics = read;
  return true;
}

bool parse_channel_side_info(BitReader& reader, const StreamFormat& format, bool common_window,
                             ChannelStream& channel) {
  channel.global_gain = static_cast<uint8_t>(reader.read(8));
  if (!common_window && !parse_ics_info(reader, format, channel.ics, channel.ltp, nullptr)) return false;
  if (!parse_section_data(reader, channel)) return false;
  if (!parse_scale_factor_data(reader, channel)) return false;

  const ScaleFactorBands bands = scale_factor_bands(format.sampling_index, channel.ics.is_short());
  const bool has_pulses = reader.read_bit();
  if (has_pulses && !parse_pulse_data(reader, bands, channel.ics, channel.pulse)) return false;
  const bool has_tns = reader.read_bit();
  if (has_tns && !parse_tns_data(reader, channel.ics, channel.tns)) return false;
  // gain_control_data belongs to the SSR profile.
  const bool has_gain_control = reader.read_bit();
  return !has_gain_control;
}

bool parse_spectral_data(BitReader& reader, const StreamFormat& format, ChannelStream& channel,
                         std::span<int16_t> quantised) {
  const IcsInfo& ics = channel.ics;
  const ScaleFactorBands bands = scale_factor_bands(format.sampling_index, ics.is_short());
  std::fill(quantised.begin(), quantised.end(), int16_t{0});
  BitCache bits(reader);
  int group_start = 0;
  for (int group = 0; group < ics.group_count; ++group) {
    const int windows = ics.group_length[group];
    for (int sfb = 0; sfb < ics.max_sfb;) {
      const int book = channel.codebook[ics.band(group, sfb)];
      const int end = run_end(channel, group, sfb);
      if (book == kNoiseBook) channel.uses_noise = true;
      if (is_spectral_book(book)) {
        const int start = group_start + bands.offsets[sfb] * windows;
        const int count = (bands.offsets[end] - bands.offsets[sfb]) * windows;
        if (!parse_spectral_run(bits, book, start, count, quantised)) return false;
      }
      sfb = end;
    }
    group_start += windows * ics.window_length();
  }
  reader.seek(bits.position());
  if (channel.pulse.present && !quantised.empty()) add_pulses(channel.pulse, bands, quantised);
  return true;
}

}  // namespace zdr::aacdec
