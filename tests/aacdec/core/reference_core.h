// Reference model of the AAC core in double precision: the formulas of ISO/IEC 14496-3, with plain sums
// instead of fast transforms.
#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>
#include <span>
#include <vector>

#include "aacdec/syntax/frame.h"
#include "aacdec/syntax/scale_factor_bands.h"
#include "aacdec/tables/tools_tables.h"

namespace zdr::test {

using Lines = std::vector<double>;

// Output is in steps of 16-bit PCM, unclipped. Noise bands stay silent.
class ReferenceCore {
 public:
  explicit ReferenceCore(const aacdec::StreamFormat& format) : format_(format) {}

  // Returns the lines of each channel after all spectral tools, in the scale of the standard.
  std::vector<Lines> reconstruct(const aacdec::Frame& frame) const {
    std::vector<Lines> spectra;
    for (int c = 0; c < frame.channel_count; ++c) {
      spectra.push_back(dequantised(frame.channel[c], frame.quantised[c]));
    }
    if (frame.channel_count == 2 && frame.is_pair) apply_stereo(frame, spectra[0], spectra[1]);
    for (size_t c = 0; c < spectra.size(); ++c) {
      if (format_.profile == aacdec::kProfileLtp) add_prediction(c, frame.channel[c], spectra[c]);
      shape(frame.channel[c], true, spectra[c]);
    }
    return spectra;
  }

  // Returns kFrameLength unrounded samples for each channel of the frame.
  std::vector<Lines> synthesise(const aacdec::Frame& frame, const std::vector<Lines>& spectra) {
    std::vector<Lines> output;
    for (size_t c = 0; c < spectra.size(); ++c) {
      Channel& state = channel_[c];
      const aacdec::IcsInfo& ics = frame.channel[c].ics;
      Lines block(2 * kLong);
      for (size_t w = 0; ics.is_short() && w < aacdec::kMaxWindows; ++w) {
        const Lines rise = rising_half(w == 0 ? state.previous_shape : ics.window_shape, kShort);
        add_windowed(std::span(spectra[c]).subspan(w * kShort, kShort),
                     window_of(rise, rising_half(ics.window_shape, kShort)), block.data() + 448 + kShort * w);
      }
      if (!ics.is_short()) add_windowed(spectra[c], long_window(ics, state.previous_shape), block.data());
      for (size_t n = 0; n < kLong; ++n) block[n] += state.overlap[n];
      state.overlap.assign(block.begin() + kLong, block.end());
      state.previous_shape = ics.window_shape;
      block.resize(kLong);
      output.push_back(block);
    }
    return output;
  }

  // Stores the clipped and rounded output of the decoder, to which long term prediction refers.
  void remember(size_t channel, std::span<const int16_t> pcm) {
    Lines& history = channel_[channel].history;
    history.erase(history.begin(), history.begin() + kLong);
    history.insert(history.end(), pcm.begin(), pcm.end());
  }

 private:
  static constexpr size_t kLong = aacdec::kFrameLength;
  static constexpr size_t kShort = aacdec::kShortLength;
  static constexpr double kPi = std::numbers::pi;

  struct Channel {
    Lines history = Lines(2 * kLong);
    Lines overlap = Lines(kLong);
    int previous_shape = 0;
  };

  // The rising half of a window, sine or Kaiser-Bessel derived.
  static Lines rising_half(int shape, size_t length) {
    Lines window(length);
    const auto size = static_cast<double>(length);
    const double alpha = length == kLong ? 4 : 6;
    double sum = 0;
    for (size_t n = 0; n <= length; ++n) {
      const double place = 2 * static_cast<double>(n) / size - 1;
      sum += std::cyl_bessel_i(0, kPi * alpha * std::sqrt(1 - place * place));
      if (n < length) window[n] = sum;
    }
    for (size_t n = 0; n < length; ++n) {
      const double sine = std::sin(kPi / (2 * size) * (static_cast<double>(n) + 0.5));
      window[n] = shape == 0 ? sine : std::sqrt(window[n] / sum);
    }
    return window;
  }

  // Joins a rising half and the mirror image of `fall`.
  static Lines window_of(Lines rise, const Lines& fall) {
    rise.insert(rise.end(), fall.rbegin(), fall.rend());
    return rise;
  }

  // The window of any block other than eight short ones.
  static Lines long_window(const aacdec::IcsInfo& ics, int previous_shape) {
    const auto half = [](bool has_short_slope, int shape) {
      if (!has_short_slope) return rising_half(shape, kLong);
      Lines slope = rising_half(shape, kShort);
      slope.insert(slope.begin(), 448, 0.0);
      slope.resize(kLong, 1.0);
      return slope;
    };
    return window_of(half(ics.window_sequence == aacdec::WindowSequence::kLongStop, previous_shape),
                     half(ics.window_sequence == aacdec::WindowSequence::kLongStart, ics.window_shape));
  }

  // cos(2 pi / N (n + n0) (k + 1/2)) for N samples, from a table of the full circle.
  static double cosine(size_t samples, size_t n, size_t k) {
    static const Lines circle = [] {
      Lines table(8 * kLong);
      for (size_t i = 0; i < table.size(); ++i) {
        table[i] = std::cos(2 * kPi * static_cast<double>(i) / static_cast<double>(table.size()));
      }
      return table;
    }();
    return circle[(2 * n + samples / 2 + 1) * (2 * k + 1) % (4 * samples) * (2 * kLong / samples)];
  }

  // The inverse transform scales by 2 / N.
  static void add_windowed(std::span<const double> lines, const Lines& window, double* block) {
    const size_t samples = window.size();
    for (size_t n = 0; n < samples; ++n) {
      double x = 0;
      for (size_t k = 0; k < lines.size(); ++k) x += lines[k] * cosine(samples, n, k);
      block[n] += x * window[n] * 2 / static_cast<double>(samples);
    }
  }

  static Lines forward_transform(std::span<const double> samples) {
    Lines lines(samples.size() / 2);
    for (size_t k = 0; k < lines.size(); ++k) {
      for (size_t n = 0; n < samples.size(); ++n) lines[k] += 2 * samples[n] * cosine(samples.size(), n, k);
    }
    return lines;
  }

  // A scale factor band in one window: its number, and the positions of its lines and coded values.
  struct Band {
    int number;
    size_t first_line;
    size_t first_value;
    size_t width;
  };

  // Values are ordered by group, band, window.
  template <typename Visit>
  void for_bands(const aacdec::IcsInfo& ics, Visit visit) const {
    const auto offsets = aacdec::scale_factor_bands(format_.sampling_index, ics.is_short()).offsets;
    const auto window_length = static_cast<size_t>(ics.window_length());
    size_t window = 0;
    for (int g = 0; g < ics.group_count; ++g) {
      const size_t windows = ics.group_length[g];
      for (int sfb = 0; sfb < ics.max_sfb; ++sfb) {
        const auto width = static_cast<size_t>(offsets[sfb + 1] - offsets[sfb]);
        for (size_t w = 0; w < windows; ++w) {
          visit(Band{ics.band(g, sfb), (window + w) * window_length + offsets[sfb],
                     window * window_length + offsets[sfb] * windows + w * width, width});
        }
      }
      window += windows;
    }
  }

  Lines dequantised(const aacdec::ChannelStream& channel, const int16_t* quantised) const {
    Lines spectrum(kLong);
    for_bands(channel.ics, [&](const Band& band) {
      if (!aacdec::is_spectral_book(channel.codebook[band.number])) return;
      const double scale = std::exp2((channel.scale[band.number] - 100) / 4.0);
      for (size_t k = 0; k < band.width; ++k) {
        const double value = quantised[band.first_value + k];
        spectrum[band.first_line + k] = std::copysign(std::pow(std::abs(value), 4.0 / 3) * scale, value);
      }
    });
    return spectrum;
  }

  void apply_stereo(const aacdec::Frame& frame, Lines& left, Lines& right) const {
    const aacdec::PairData& pair = frame.pair;
    const aacdec::ChannelStream& second = frame.channel[1];
    for_bands(second.ics, [&](const Band& band) {
      const int n = band.number;
      const bool used = pair.ms_mask_present == 2 || (pair.ms_mask_present == 1 && pair.ms_used[n] != 0);
      const int book = second.codebook[n];
      const bool has_noise = book == aacdec::kNoiseBook || frame.channel[0].codebook[n] == aacdec::kNoiseBook;
      for (size_t k = band.first_line; k < band.first_line + band.width; ++k) {
        if (book >= aacdec::kIntensityOutOfPhaseBook) {
          const bool inverted = pair.ms_mask_present == 1 && used;
          const double sign = (book == aacdec::kIntensityInPhaseBook) != inverted ? 1 : -1;
          right[k] = sign * std::exp2(-second.scale[n] / 4.0) * left[k];
        } else if (used && !has_noise) {
          const double mid = left[k];
          left[k] = mid + right[k];
          right[k] = mid - right[k];
        }
      }
    });
  }

  void add_prediction(size_t number, const aacdec::ChannelStream& stream, Lines& spectrum) const {
    constexpr double kGain[8] = {0.570829, 0.696616, 0.813004, 0.911304,
                                 0.984900, 1.067894, 1.194601, 1.369533};
    if (!stream.ltp.present || stream.ics.is_short()) return;
    const Channel& state = channel_[number];
    Lines past = state.history;
    past.insert(past.end(), state.overlap.begin(), state.overlap.end());
    past.resize(4 * kLong);
    Lines window = long_window(stream.ics, state.previous_shape);
    for (size_t i = 0; i < window.size(); ++i) {
      window[i] *= kGain[stream.ltp.coefficient] * past[2 * kLong - stream.ltp.lag + i];
    }
    Lines predicted = forward_transform(window);
    shape(stream, false, predicted);
    for_bands(stream.ics, [&](const Band& band) {
      if (band.number >= aacdec::kMaxLtpBands || !stream.ltp.long_used[band.number]) return;
      for (size_t k = band.first_line; k < band.first_line + band.width; ++k) spectrum[k] += predicted[k];
    });
  }

  static Lines predictor(const aacdec::TnsFilter& filter, int resolution) {
    Lines a = {1};
    for (int m = 0; m < filter.order; ++m) {
      const double v = filter.coefficient[m];
      const double steps = (1 << (resolution - 1)) + (v < 0 ? 0.5 : -0.5);
      const double k = std::sin(v * kPi / 2 / steps);
      Lines next = a;
      next.push_back(k);
      for (size_t i = 1; i < a.size(); ++i) next[i] += k * a[a.size() - i];
      a = next;
    }
    return a;
  }

  static void filter_lines(const Lines& a, bool synthesis, double* lines, std::ptrdiff_t step, int count) {
    Lines in;
    for (int n = 0; n < count; ++n) {
      double& line = lines[n * step];
      in.push_back(line);
      for (int i = 1; i < static_cast<int>(a.size()) && i <= n; ++i) {
        const double before = synthesis ? -lines[(n - i) * step] : in[static_cast<size_t>(n - i)];
        line += a[static_cast<size_t>(i)] * before;
      }
    }
  }

  void shape(const aacdec::ChannelStream& channel, bool synthesis, Lines& spectrum) const {
    const aacdec::IcsInfo& ics = channel.ics;
    const aacdec::ScaleFactorBands bands = aacdec::scale_factor_bands(format_.sampling_index, ics.is_short());
    const auto& most = ics.is_short() ? aacdec::kTnsMaxBandsShort : aacdec::kTnsMaxBandsLong;
    const int limit = std::min<int>(most[format_.sampling_index], ics.max_sfb);
    for (int w = 0; channel.tns.present && w < ics.window_count(); ++w) {
      const aacdec::TnsWindow& tns = channel.tns.window[w];
      int bottom = bands.count;
      for (const aacdec::TnsFilter& filter : std::span(tns.filter, tns.filter_count)) {
        const int top = bottom;
        bottom = std::max(0, top - filter.length);
        const int start = bands.offsets[std::min(bottom, limit)];
        const int end = bands.offsets[std::min(top, limit)];
        if (filter.order == 0 || end <= start) continue;
        double* const window = spectrum.data() + w * ics.window_length();
        filter_lines(predictor(filter, tns.resolution), synthesis,
                     filter.downwards ? window + end - 1 : window + start, filter.downwards ? -1 : 1,
                     end - start);
      }
    }
  }

  aacdec::StreamFormat format_;
  Channel channel_[aacdec::kMaxChannels];
};

}  // namespace zdr::test
