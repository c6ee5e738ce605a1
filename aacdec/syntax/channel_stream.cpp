// Parses a channel stream. The functions are in bit order: ics_info, section_data, scale_factor_data,
// spectral_data.
#include "aacdec/syntax/channel_stream.h"

#include <algorithm>
#include <array>

#include "aacdec/syntax/huffman.h"
#include "aacdec/syntax/huffman_skip.h"
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
constexpr int kFirstNoiseBits = 9;

void group_windows(uint32_t grouping, IcsInfo& ics) {
  ics.group_count = 1;
  ics.group_length[0] = 1;
  for (int window = 1; window < kMaxWindows; ++window) {
    const bool joins = (grouping >> (kMaxWindows - 1 - window) & 1) != 0;
    if (!joins) ics.group_length[ics.group_count++] = 0;
    ++ics.group_length[ics.group_count - 1];
  }
}

void add_section(int group, int book, int start, int end, ChannelStream& channel) {
  if (start == end) return;
  if (start > 0) {
    Section& previous = channel.section[channel.section_count - 1];
    if (previous.book == book) {
      previous.end = static_cast<uint8_t>(end);
      return;
    }
  }
  channel.section[channel.section_count++] = {static_cast<uint8_t>(group), static_cast<uint8_t>(book),
                                              static_cast<uint8_t>(start), static_cast<uint8_t>(end)};
}

bool parse_section_data(BitReader& reader, ChannelStream& channel) {
  constexpr int kBookBits = 4;
  const IcsInfo& ics = channel.ics;
  const int length_bits = ics.is_short() ? 3 : 5;
  const int escape = (1 << length_bits) - 1;
  BitCache bits(reader);
  channel.section_count = 0;
  for (int group = 0; group < ics.group_count; ++group) {
    int sfb = 0;
    while (sfb < ics.max_sfb) {
      // A section may be empty: without this check the zeros past the end of the data would loop forever.
      if (bits.past_end()) return false;
      bits.require(kBookBits + length_bits);
      const auto book = static_cast<int>(bits.take(kBookBits));
      if (book == kReservedBook) return false;
      int end = sfb;
      int increment = 0;
      do {
        bits.require(length_bits);
        increment = static_cast<int>(bits.take(length_bits));
        end += increment;
      } while (increment == escape && end <= ics.max_sfb);
      if (end > ics.max_sfb) return false;
      add_section(group, book, sfb, end, channel);
      sfb = end;
    }
  }
  reader.seek(bits.position());
  return true;
}

// Calls action(section, band), `band` being the index of its first band.
template <class Action>
void for_each_section(const ChannelStream& channel, Action action) {
  for (int i = 0; i < channel.section_count; ++i) {
    const Section& section = channel.section[i];
    action(section, channel.ics.band(section.group, section.start));
  }
}

void fill_codebooks(ChannelStream& channel) {
  std::fill_n(channel.codebook, channel.ics.band(channel.ics.group_count, 0), uint8_t{kZeroBook});
  for_each_section(channel, [&](const Section& section, int band) {
    std::fill_n(channel.codebook + band, section.end - section.start, section.book);
  });
}

// The three running values of scale_factor_data: scale factor, noise energy (PNS) and intensity position.
class ScaleFactorDecoder {
 public:
  explicit ScaleFactorDecoder(int global_gain)
      : scale_factor_(global_gain), noise_energy_(global_gain - kNoiseOffset) {}

  void decode(BitCache& bits, int book, std::span<int16_t> scales) {
    if (book == kZeroBook) return;
    int& value = running_value(book);
    size_t done = 0;
    if (book == kNoiseBook && first_noise_) {
      first_noise_ = false;
      bits.require(kFirstNoiseBits);
      scales[done++] = static_cast<int16_t>(value += static_cast<int>(bits.take(kFirstNoiseBits)));
    }
    for (int16_t& scale : scales.subspan(done)) {
      bits.require(HuffmanEntry::kMaxCodeLength);
      scale = static_cast<int16_t>(value += ScaleFactorBook::kTable.take(bits) - kScaleFactorOffset);
    }
  }

 private:
  int& running_value(int book) {
    if (book == kNoiseBook) return noise_energy_;
    return book >= kIntensityOutOfPhaseBook ? intensity_position_ : scale_factor_;
  }

  int scale_factor_;
  int noise_energy_;
  int intensity_position_ = 0;
  bool first_noise_ = true;
};

bool parse_scale_factor_data(BitReader& reader, ChannelStream& channel) {
  std::fill_n(channel.scale, channel.ics.band(channel.ics.group_count, 0), int16_t{0});
  ScaleFactorDecoder decoder(channel.global_gain);
  BitCache bits(reader);
  for_each_section(channel, [&](const Section& section, int band) {
    const auto count = static_cast<size_t>(section.end - section.start);
    decoder.decode(bits, section.book, {channel.scale + band, count});
  });
  reader.seek(bits.position());
  return !bits.past_end();
}

// Numbers of Huffman words before and after the value of the first noise band, which is not Huffman-coded.
struct ScaleFactorWords {
  int before_noise = 0;
  int after_noise = 0;
  bool has_noise = false;
};

ScaleFactorWords count_scale_factor_words(const ChannelStream& channel) {
  ScaleFactorWords words;
  for (int i = 0; i < channel.section_count; ++i) {
    const Section& section = channel.section[i];
    if (section.book == kZeroBook) continue;
    int count = section.end - section.start;
    if (section.book == kNoiseBook && !words.has_noise) {
      words.has_noise = true;
      --count;
    }
    (words.has_noise ? words.after_noise : words.before_noise) += count;
  }
  return words;
}

// Reads scale_factor_data without storing values.
bool skip_scale_factor_data(BitReader& reader, const ChannelStream& channel) {
  static constexpr HuffmanTable kTable = ScaleFactorBook::kTable;
  static constexpr HuffmanSkipTable kSkips = make_skip_table<NoEscapes>(kTable);
  const ScaleFactorWords words = count_scale_factor_words(channel);
  BitCache bits = skip_words<NoEscapes>(BitCache(reader), kTable, kSkips, words.before_noise);
  if (words.has_noise) {
    bits.require(kFirstNoiseBits);
    bits.consume(kFirstNoiseBits);
    bits = skip_words<NoEscapes>(bits, kTable, kSkips, words.after_noise);
  }
  reader.seek(bits.position());
  return !reader.past_end();
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
                             bool keep_values, ChannelStream& channel) {
  channel.global_gain = static_cast<uint8_t>(reader.read(8));
  if (!common_window && !parse_ics_info(reader, format, channel.ics, channel.ltp, nullptr)) return false;
  if (!parse_section_data(reader, channel)) return false;
  if (keep_values) {
    fill_codebooks(channel);
    if (!parse_scale_factor_data(reader, channel)) return false;
  } else if (!skip_scale_factor_data(reader, channel)) {
    return false;
  }

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
  int group = 0;
  int group_start = 0;
  for (int i = 0; i < channel.section_count; ++i) {
    const Section& section = channel.section[i];
    while (group < section.group) group_start += ics.group_length[group++] * ics.window_length();
    if (section.book == kNoiseBook) channel.uses_noise = true;
    if (!is_spectral_book(section.book)) continue;
    const int windows = ics.group_length[group];
    const int start = group_start + bands.offsets[section.start] * windows;
    const int count = (bands.offsets[section.end] - bands.offsets[section.start]) * windows;
    const auto values = quantised.subspan(static_cast<size_t>(start), static_cast<size_t>(count));
    if (!decode_spectral_values(reader, section.book, values)) return false;
  }
  if (channel.pulse.present) add_pulses(channel.pulse, bands, quantised);
  return true;
}

bool skip_spectral_data(BitReader& reader, const StreamFormat& format, const ChannelStream& channel) {
  const IcsInfo& ics = channel.ics;
  const ScaleFactorBands bands = scale_factor_bands(format.sampling_index, ics.is_short());
  std::array<SpectralRun, kMaxBands> runs;
  size_t count = 0;
  for (int i = 0; i < channel.section_count; ++i) {
    const Section& section = channel.section[i];
    if (!is_spectral_book(section.book)) continue;
    const int lines = bands.offsets[section.end] - bands.offsets[section.start];
    runs[count++] = {section.book, static_cast<uint16_t>(lines * ics.group_length[section.group])};
  }
  return skip_spectral_values(reader, std::span(runs).first(count));
}

}  // namespace zdr::aacdec
