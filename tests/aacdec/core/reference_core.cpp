// Evaluates the formulas of the core as plain sums in double precision.
#include "tests/aacdec/core/reference_core.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "aacdec/syntax/scale_factor_bands.h"
#include "aacdec/tables/tools_tables.h"

namespace zdr::test {

using namespace aacdec;

namespace {

constexpr double kPi = std::numbers::pi;
const double kLtpGain[8] = {0.570829, 0.696616, 0.813004, 0.911304, 0.984900, 1.067894, 1.194601, 1.369533};

// The rising half of a window, sine or Kaiser-Bessel derived.
Lines rising_half(int shape, size_t length) {
  Lines window;
  const auto size = static_cast<double>(length);
  for (size_t n = 0; n < length; ++n)
    window.push_back(std::sin(kPi / (2 * size) * (static_cast<double>(n) + 0.5)));
  if (shape == 0) return window;
  const double alpha = length == kFrameLength ? 4 : 6;
  double sum = 0;
  for (size_t n = 0; n <= length; ++n) {
    const double place = 2 * static_cast<double>(n) / size - 1;
    sum += std::cyl_bessel_i(0, kPi * alpha * std::sqrt(1 - place * place));
    if (n < length) window[n] = sum;
  }
  for (double& w : window) w = std::sqrt(w / sum);
  return window;
}

// cos(2 pi / N (n + n0) (k + 1/2)) for N samples, from a table of the full circle.
double cosine(size_t samples, size_t n, size_t k) {
  static const Lines circle = [] {
    Lines table(8 * kFrameLength);
    for (size_t i = 0; i < table.size(); ++i) {
      table[i] = std::cos(2 * kPi * static_cast<double>(i) / static_cast<double>(table.size()));
    }
    return table;
  }();
  return circle[(2 * n + samples / 2 + 1) * (2 * k + 1) % (4 * samples) * (2 * kFrameLength / samples)];
}

// Scales by 2 / N.
Lines inverse_transform(std::span<const double> lines) {
  const size_t samples = 2 * lines.size();
  Lines x(samples);
  for (size_t n = 0; n < samples; ++n) {
    for (size_t k = 0; k < lines.size(); ++k) x[n] += lines[k] * cosine(samples, n, k);
    x[n] *= 2 / static_cast<double>(samples);
  }
  return x;
}

Lines forward_transform(std::span<const double> samples) {
  Lines lines(samples.size() / 2);
  for (size_t k = 0; k < lines.size(); ++k) {
    for (size_t n = 0; n < samples.size(); ++n) lines[k] += 2 * samples[n] * cosine(samples.size(), n, k);
  }
  return lines;
}

// Joins a rising half and the mirror image of `fall`.
Lines window_of(Lines rise, const Lines& fall) {
  rise.insert(rise.end(), fall.rbegin(), fall.rend());
  return rise;
}

// The window of any block other than eight short ones.
Lines long_window(WindowSequence sequence, int previous_shape, int shape) {
  const auto half = [](bool has_short_slope, int of_shape) {
    if (!has_short_slope) return rising_half(of_shape, kFrameLength);
    Lines slope = rising_half(of_shape, kShortLength);
    slope.insert(slope.begin(), 448, 0.0);
    slope.resize(kFrameLength, 1.0);
    return slope;
  };
  return window_of(half(sequence == WindowSequence::kLongStop, previous_shape),
                   half(sequence == WindowSequence::kLongStart, shape));
}

void add_windowed(std::span<const double> lines, const Lines& window, double* block) {
  const Lines x = inverse_transform(lines);
  for (size_t n = 0; n < x.size(); ++n) block[n] += x[n] * window[n];
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
void for_bands(const IcsInfo& ics, const StreamFormat& format, Visit visit) {
  const auto offsets = scale_factor_bands(format.sampling_index, ics.is_short()).offsets;
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

Lines dequantised(const ChannelStream& channel, const int16_t* quantised, const StreamFormat& format) {
  Lines spectrum(kFrameLength);
  for_bands(channel.ics, format, [&](const Band& band) {
    if (!is_spectral_book(channel.codebook[band.number])) return;
    const double scale = std::exp2((channel.scale[band.number] - 100) / 4.0);
    for (size_t k = 0; k < band.width; ++k) {
      const double value = quantised[band.first_value + k];
      spectrum[band.first_line + k] = std::copysign(std::pow(std::abs(value), 4.0 / 3) * scale, value);
    }
  });
  return spectrum;
}

void apply_stereo(const Frame& frame, const StreamFormat& format, Lines& left, Lines& right) {
  const PairData& pair = frame.pair;
  const ChannelStream& second = frame.channel[1];
  for_bands(second.ics, format, [&](const Band& band) {
    const int n = band.number;
    const bool used = pair.ms_mask_present == 2 || (pair.ms_mask_present == 1 && pair.ms_used[n] != 0);
    const int book = second.codebook[n];
    for (size_t k = band.first_line; k < band.first_line + band.width; ++k) {
      if (book >= kIntensityOutOfPhaseBook) {
        const bool inverted = pair.ms_mask_present == 1 && used;
        const double sign = (book == kIntensityInPhaseBook) != inverted ? 1 : -1;
        right[k] = sign * std::exp2(-second.scale[n] / 4.0) * left[k];
      } else if (used && book != kNoiseBook && frame.channel[0].codebook[n] != kNoiseBook) {
        const double mid = left[k];
        left[k] = mid + right[k];
        right[k] = mid - right[k];
      }
    }
  });
}

Lines predictor(const TnsFilter& filter, int resolution) {
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

void filter_lines(const Lines& a, bool synthesis, double* lines, std::ptrdiff_t step, int count) {
  Lines in;
  for (int n = 0; n < count; ++n) {
    double& line = lines[n * step];
    in.push_back(line);
    for (int i = 1; i < static_cast<int>(a.size()) && i <= n; ++i) {
      line +=
          a[static_cast<size_t>(i)] * (synthesis ? -lines[(n - i) * step] : in[static_cast<size_t>(n - i)]);
    }
  }
}

void shape(const ChannelStream& channel, const StreamFormat& format, bool synthesis, Lines& spectrum) {
  if (!channel.tns.present) return;
  const IcsInfo& ics = channel.ics;
  const ScaleFactorBands bands = scale_factor_bands(format.sampling_index, ics.is_short());
  const int limit = std::min<int>(
      (ics.is_short() ? kTnsMaxBandsShort : kTnsMaxBandsLong)[format.sampling_index], ics.max_sfb);
  for (int w = 0; w < ics.window_count(); ++w) {
    int bottom = bands.count;
    for (int f = 0; f < channel.tns.window[w].filter_count; ++f) {
      const TnsFilter& filter = channel.tns.window[w].filter[f];
      const int top = bottom;
      bottom = std::max(0, top - filter.length);
      const int start = bands.offsets[std::min(bottom, limit)];
      const int end = bands.offsets[std::min(top, limit)];
      if (filter.order == 0 || end <= start) continue;
      double* const window = spectrum.data() + w * ics.window_length();
      filter_lines(predictor(filter, channel.tns.window[w].resolution), synthesis,
                   filter.downwards ? window + end - 1 : window + start, filter.downwards ? -1 : 1,
                   end - start);
    }
  }
}

}  // namespace

ReferenceCore::ReferenceCore() {
  for (Channel& channel : channel_) {
    channel.history.resize(2 * kFrameLength);
    channel.overlap.resize(kFrameLength);
  }
}

void ReferenceCore::add_prediction(int channel, const Frame& frame, const StreamFormat& format,
                                   Lines& spectrum) {
  const ChannelStream& stream = frame.channel[channel];
  if (!stream.ltp.present || stream.ics.is_short()) return;
  const Channel& state = channel_[channel];
  Lines past = state.history;
  past.insert(past.end(), state.overlap.begin(), state.overlap.end());
  past.resize(4 * kFrameLength);
  Lines window = long_window(stream.ics.window_sequence, state.previous_shape, stream.ics.window_shape);
  for (size_t i = 0; i < window.size(); ++i) {
    window[i] *= kLtpGain[stream.ltp.coefficient] * past[2 * kFrameLength - stream.ltp.lag + i];
  }
  Lines predicted = forward_transform(window);
  shape(stream, format, false, predicted);
  for_bands(stream.ics, format, [&](const Band& band) {
    if (band.number >= kMaxLtpBands || !stream.ltp.long_used[band.number]) return;
    for (size_t k = band.first_line; k < band.first_line + band.width; ++k) spectrum[k] += predicted[k];
  });
}

std::vector<Lines> ReferenceCore::reconstruct(const Frame& frame, const StreamFormat& format) {
  std::vector<Lines> spectra;
  for (int c = 0; c < frame.channel_count; ++c) {
    spectra.push_back(dequantised(frame.channel[c], frame.quantised[c], format));
  }
  if (frame.channel_count == 2 && frame.is_pair) apply_stereo(frame, format, spectra[0], spectra[1]);
  for (int c = 0; c < frame.channel_count; ++c) {
    Lines& spectrum = spectra[static_cast<size_t>(c)];
    if (format.profile == kProfileLtp) add_prediction(c, frame, format, spectrum);
    shape(frame.channel[c], format, true, spectrum);
  }
  return spectra;
}

std::vector<Lines> ReferenceCore::synthesise(const Frame& frame, const std::vector<Lines>& spectra) {
  std::vector<Lines> output;
  for (size_t c = 0; c < spectra.size(); ++c) {
    Channel& state = channel_[c];
    const IcsInfo& ics = frame.channel[c].ics;
    Lines block(2 * kFrameLength);
    for (size_t w = 0; ics.is_short() && w < kMaxWindows; ++w) {
      const Lines rise = rising_half(w == 0 ? state.previous_shape : ics.window_shape, kShortLength);
      add_windowed(std::span(spectra[c]).subspan(w * kShortLength, kShortLength),
                   window_of(rise, rising_half(ics.window_shape, kShortLength)),
                   block.data() + 448 + kShortLength * w);
    }
    if (!ics.is_short()) {
      add_windowed(spectra[c], long_window(ics.window_sequence, state.previous_shape, ics.window_shape),
                   block.data());
    }
    for (size_t n = 0; n < kFrameLength; ++n) block[n] += state.overlap[n];
    state.overlap.assign(block.begin() + kFrameLength, block.end());
    state.previous_shape = ics.window_shape;
    block.resize(kFrameLength);
    output.push_back(block);
  }
  return output;
}

void ReferenceCore::remember(int channel, std::span<const int16_t> pcm) {
  Lines& history = channel_[channel].history;
  history.erase(history.begin(), history.begin() + kFrameLength);
  history.insert(history.end(), pcm.begin(), pcm.end());
}

}  // namespace zdr::test
