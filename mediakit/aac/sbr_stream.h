// Random SBR and parametric stereo data, and a core signal for them.
//
// The Huffman codes of both are complete, so the fixed fields followed by random bits are a valid payload
// unless its time grid or its borders are invalid.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <random>
#include <vector>

#include "aacdec/syntax/sbr_bands.h"
#include "aacdec/syntax/sbr_payload.h"
#include "mediakit/aac/bit_writer.h"

namespace zdr::test {

// The fields of sbr_header in the order of the syntax.
struct SbrHeaderField {
  uint8_t aacdec::SbrHeader::*field;
  int bits;
};
inline constexpr SbrHeaderField kSbrHeaderFields[] = {
    {&aacdec::SbrHeader::amp_res, 1},       {&aacdec::SbrHeader::start_freq, 4},
    {&aacdec::SbrHeader::stop_freq, 4},     {&aacdec::SbrHeader::xover_band, 3},
    {&aacdec::SbrHeader::freq_scale, 2},    {&aacdec::SbrHeader::alter_scale, 1},
    {&aacdec::SbrHeader::noise_bands, 2},   {&aacdec::SbrHeader::limiter_bands, 2},
    {&aacdec::SbrHeader::limiter_gains, 2}, {&aacdec::SbrHeader::interpol_freq, 1},
    {&aacdec::SbrHeader::smoothing_mode, 1}};
// The first field of each group that a header may leave out.
inline constexpr size_t kSbrExtra1 = 4;
inline constexpr size_t kSbrExtra2 = 7;

inline BitWriter sbr_header_bits(const aacdec::SbrHeader& header, bool with_extra_1 = true,
                                 bool with_extra_2 = true) {
  BitWriter w;
  for (size_t i = 0; i < std::size(kSbrHeaderFields); ++i) {
    if (i == kSbrExtra1) w.fields({{3, 2}, {with_extra_1 ? 1 : 0, 1}, {with_extra_2 ? 1 : 0, 1}});
    const bool is_sent = i < kSbrExtra1 || (i < kSbrExtra2 ? with_extra_1 : with_extra_2);
    if (is_sent) w.put(header.*kSbrHeaderFields[i].field, kSbrHeaderFields[i].bits);
  }
  return w;
}

// A random header that yields bands at the core rate.
inline aacdec::SbrHeader random_sbr_header(std::mt19937& random, int32_t core_rate_hz) {
  aacdec::SbrHeader header;
  aacdec::SbrBandTables bands;
  do {
    for (const auto& [field, bits] : kSbrHeaderFields) {
      header.*field = static_cast<uint8_t>(random() % (1U << bits));
    }
    bands = {};
  } while (!build_sbr_bands(header, 2 * core_rate_hz, bands) || bands.m == 0);
  return header;
}

inline BitWriter random_bits(std::mt19937& random, size_t bytes) {
  BitWriter w;
  for (size_t i = 0; i < bytes; ++i) w.put(random() % 256, 8);
  return w;
}

// The fields before the time grid of a single channel ('s'), a pair ('p') or a coupled pair ('c').
inline BitWriter sbr_element_start(char element) {
  return element == 's' ? BitWriter{{0, 1}} : BitWriter{{0, 1}, {element == 'c' ? 1 : 0, 1}};
}

// Noise, steady tones, and occasional clicks.
class CoreSignal {
 public:
  explicit CoreSignal(uint32_t seed) : random_(seed) {}
  std::vector<int16_t> frame() {
    std::normal_distribution<double> noise(0, 300);
    std::vector<int16_t> pcm(1024);
    for (int16_t& sample : pcm) {
      ++time_;
      double value = noise(random_);
      for (const double turns : {0.0207, 0.111, 0.186}) value += 1500 * std::sin(2 * M_PI * turns * time_);
      if (random_() % 1500 == 0) value += 12000;
      sample = static_cast<int16_t>(std::lround(value));
    }
    return pcm;
  }

 private:
  std::mt19937 random_;
  double time_ = 0;
};

// Parsed frames of random payloads, with levels as in music and envelopes that begin where the previous ones
// ended.
class SbrStream {
 public:
  SbrStream(uint32_t seed, int32_t core_rate_hz, bool with_ps)
      : random_(seed), rate_hz_(core_rate_hz), with_ps_(with_ps), parser_(core_rate_hz) {
    header_ = random_sbr_header(random_, rate_hz_);
  }

  // The next frame has a new header.
  void change_header() {
    const uint8_t smoothing = header_.smoothing_mode;
    header_ = random_sbr_header(random_, rate_hz_);
    // How smoothing starts without a reset is undefined.
    header_.smoothing_mode = smoothing;
    header_due_ = true;
  }

  const aacdec::SbrHeader& header() const { return header_; }

  // `element` is that of sbr_element_start.
  const aacdec::SbrFrame& next(char element = 's') {
    while (!try_next(element)) {
    }
    header_due_ = false;
    for (auto& channel : frame_.channel) limit_values(channel, channel.coupled ? frame_.channel[0] : channel);
    if (with_ps_ && element == 's') make_ps(frame_.channel[0].ps);
    return frame_;
  }

 private:
  // False if the payload is invalid or an envelope would end before it begins.
  bool try_next(char element) {
    BitWriter w{{header_due_ ? 1 : 0, 1}};
    if (header_due_) w.append(sbr_header_bits(header_));
    const Bytes bytes = w.append(sbr_element_start(element)).append(random_bits(random_, 400)).bytes();
    aacdec::BitReader reader(bytes.data(), bytes.size());
    bool ps_signalled = false;
    frame_ = {};
    const bool pair = element != 's';
    if (parse_sbr_payload(reader, false, {0, pair}, parser_, frame_, ps_signalled) !=
        aacdec::SbrResult::kParsed) {
      return false;
    }
    for (size_t c = 0; c < (pair ? 2 : 1); ++c) {
      aacdec::SbrGrid& grid = frame_.channel[c].grid;
      const uint8_t start = ends_[frame_.channel[c].coupled ? 0 : c];
      if (grid.border[1] <= start) return false;
      std::replace(std::begin(grid.noise_border), std::end(grid.noise_border), grid.border[0], start);
      grid.border[0] = start;
      frame_.channel[c].ps.present = false;
    }
    for (size_t c = 0; c < (pair ? 2 : 1); ++c) {
      const aacdec::SbrGrid& grid = frame_.channel[c].grid;
      ends_[c] = static_cast<uint8_t>(grid.border[grid.envelope_count] - aacdec::kSbrTimeSlots);
    }
    return true;
  }

  // `levels` is the channel that carries the levels.
  static void limit_values(aacdec::SbrChannelFrame& channel, const aacdec::SbrChannelFrame& levels) {
    // Balances beyond this range would silence a channel. Balances are even.
    const auto limit = [&channel](auto& rows, int level_count, int balance_count) {
      for (auto& row : rows) {
        for (int16_t& value : row) {
          const int size = std::abs(value);
          value = static_cast<int16_t>(channel.coupled ? 2 * (size % balance_count) : size % level_count);
        }
      }
    };
    const int steps = levels.amp_res != 0 ? 2 : 1;
    limit(channel.envelope, 36 / steps, 24 / steps + 1);
    limit(channel.noise, 31, 13);
  }

  // Every fourth frame has no data.
  void make_ps(aacdec::PsFrame& frame) {
    if (++count_ % 4 == 3) return;
    const bool with_header = !ps_.header_seen || count_ % 5 == 0;
    do {
      const Bytes bytes = (BitWriter{{with_header ? 1 : 0, 1}} + random_bits(random_, 400)).bytes();
      aacdec::BitReader reader(bytes.data(), bytes.size());
      parse_ps_data(reader, 8 * bytes.size(), ps_, frame);
    } while (!frame.present);
  }

  std::mt19937 random_;
  int32_t rate_hz_;
  bool with_ps_;
  aacdec::SbrHeader header_;
  bool header_due_ = true;
  aacdec::SbrParser parser_;
  aacdec::PsParserState ps_;
  aacdec::SbrFrame frame_{};
  uint8_t ends_[2] = {};  // of the envelopes, past the end of the frame
  int count_ = 0;
};

}  // namespace zdr::test
