#include "tests/aacdec/core/reference_core.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "aacdec/syntax/scale_factor_bands.h"
#include "aacdec/tables/tools_tables.h"

namespace zdr::aacdec::test {
namespace {

constexpr double kPi = std::numbers::pi;
const double kLtpGain[8] = {0.570829, 0.696616, 0.813004, 0.911304, 0.984900, 1.067894, 1.194601, 1.369533};

Lines rising_half(int shape, int length) {
  Lines window(static_cast<size_t>(length));
  if (shape == 0) {
    for (int n = 0; n < length; ++n)
      window[static_cast<size_t>(n)] = std::sin(kPi / (2 * length) * (n + 0.5));
    return window;
  }
  const double alpha = length == kFrameLength ? 4 : 6;
  Lines sums;
  double sum = 0;
  for (int n = 0; n <= length; ++n) {
    const double place = 2.0 * n / length - 1;
    sums.push_back(sum += std::cyl_bessel_i(0, kPi * alpha * std::sqrt(1 - place * place)));
  }
  for (size_t n = 0; n < window.size(); ++n) window[n] = std::sqrt(sums[n] / sum);
  return window;
}

// cos(2 pi / N (n + n0) (k + 1/2)) for N samples, by a table of the full circle.
class TransformCosines {
 public:
  explicit TransformCosines(size_t samples) : samples_(samples), table_(4 * samples) {
    for (size_t i = 0; i < table_.size(); ++i) {
      table_[i] = std::cos(2 * kPi * static_cast<double>(i) / static_cast<double>(table_.size()));
    }
  }
  double at(size_t n, size_t k) const {
    return table_[(2 * n + samples_ / 2 + 1) * (2 * k + 1) % table_.size()];
  }

 private:
  size_t samples_;
  Lines table_;
};

const TransformCosines& cosines(size_t samples) {
  static const TransformCosines long_cosines(2 * kFrameLength);
  static const TransformCosines short_cosines(2 * kShortLength);
  return samples == 2 * kFrameLength ? long_cosines : short_cosines;
}

// visit(band, window, first line within the spectrum, width)
template <typename Visit>
void for_bands(const IcsInfo& ics, const StreamFormat& format, Visit visit) {
  const ScaleFactorBands bands = scale_factor_bands(format.sampling_index, ics.is_short());
  int window = 0;
  for (int g = 0; g < ics.group_count; ++g) {
    for (int w = 0; w < ics.group_length[g]; ++w, ++window) {
      for (int sfb = 0; sfb < ics.max_sfb; ++sfb) {
        visit(ics.band(g, sfb), window, window * ics.window_length() + bands.offsets[sfb],
              bands.offsets[sfb + 1] - bands.offsets[sfb]);
      }
    }
  }
}

// Values stand group after group, band after band, window after window.
Lines dequantised(const ChannelStream& channel, const int16_t* quantised, const StreamFormat& format) {
  const IcsInfo& ics = channel.ics;
  const ScaleFactorBands bands = scale_factor_bands(format.sampling_index, ics.is_short());
  Lines spectrum(kFrameLength);
  int first_window = 0;
  for (int g = 0; g < ics.group_count; ++g) {
    const int16_t* next = quantised + first_window * ics.window_length();
    for (int sfb = 0; sfb < ics.max_sfb; ++sfb) {
      const double scale = std::exp2((channel.scale[ics.band(g, sfb)] - 100) / 4.0);
      for (int w = first_window; w < first_window + ics.group_length[g]; ++w) {
        for (int k = bands.offsets[sfb]; k < bands.offsets[sfb + 1]; ++k, ++next) {
          if (!is_spectral_book(channel.codebook[ics.band(g, sfb)])) continue;
          spectrum[static_cast<size_t>(w * ics.window_length() + k)] =
              std::copysign(std::pow(std::abs(static_cast<double>(*next)), 4.0 / 3) * scale, *next);
        }
      }
    }
    first_window += ics.group_length[g];
  }
  return spectrum;
}

void apply_stereo(const Frame& frame, const StreamFormat& format, Lines& left, Lines& right) {
  const PairData& pair = frame.pair;
  const ChannelStream& second = frame.channel[1];
  for_bands(second.ics, format, [&](int band, int, int first, int width) {
    const bool used = pair.ms_mask_present == 2 || (pair.ms_mask_present == 1 && pair.ms_used[band] != 0);
    const int book = second.codebook[band];
    for (auto k = static_cast<size_t>(first); k < static_cast<size_t>(first + width); ++k) {
      if (book >= kIntensityOutOfPhaseBook) {
        const bool inverted = pair.ms_mask_present == 1 && used;
        const double sign = (book == kIntensityInPhaseBook) != inverted ? 1 : -1;
        right[k] = sign * std::exp2(-second.scale[band] / 4.0) * left[k];
      } else if (used && book != kNoiseBook && frame.channel[0].codebook[band] != kNoiseBook) {
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
    const double x = line;
    for (int i = 1; i < static_cast<int>(a.size()) && i <= n; ++i) {
      if (synthesis) {
        line -= a[static_cast<size_t>(i)] * lines[(n - i) * step];
      } else {
        line += a[static_cast<size_t>(i)] * in[static_cast<size_t>(n - i)];
      }
    }
    in.push_back(x);
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

// Adds the eight windowed transforms to `block`, 2 * kFrameLength samples.
void add_short_windows(const Lines& spectrum, int previous_shape, int shape, Lines& block) {
  for (size_t w = 0; w < kMaxWindows; ++w) {
    const Lines x = inverse_transform(std::span(spectrum).subspan(w * kShortLength, kShortLength));
    const Lines rise = rising_half(w == 0 ? previous_shape : shape, kShortLength);
    const Lines fall = rising_half(shape, kShortLength);
    for (size_t n = 0; n < kShortLength; ++n) {
      block[448 + kShortLength * w + n] += x[n] * rise[n];
      block[448 + kShortLength * (w + 1) + n] += x[kShortLength + n] * fall[kShortLength - 1 - n];
    }
  }
}

}  // namespace

Lines long_block_window(WindowSequence sequence, int previous_shape, int shape) {
  const auto half = [](bool with_short_slope, int of_shape) {
    if (!with_short_slope) return rising_half(of_shape, kFrameLength);
    Lines window(448, 0.0);
    const Lines slope = rising_half(of_shape, kShortLength);
    window.insert(window.end(), slope.begin(), slope.end());
    window.resize(kFrameLength, 1.0);
    return window;
  };
  Lines window = half(sequence == WindowSequence::kLongStop, previous_shape);
  const Lines fall = half(sequence == WindowSequence::kLongStart, shape);
  window.insert(window.end(), fall.rbegin(), fall.rend());
  return window;
}

Lines inverse_transform(std::span<const double> lines) {
  const size_t samples = 2 * lines.size();
  const TransformCosines& cosine = cosines(samples);
  Lines x(samples);
  for (size_t n = 0; n < samples; ++n) {
    for (size_t k = 0; k < lines.size(); ++k) x[n] += lines[k] * cosine.at(n, k);
    x[n] *= 2 / static_cast<double>(samples);
  }
  return x;
}

Lines forward_transform(std::span<const double> samples) {
  const TransformCosines& cosine = cosines(samples.size());
  Lines lines(samples.size() / 2);
  for (size_t k = 0; k < lines.size(); ++k) {
    for (size_t n = 0; n < samples.size(); ++n) lines[k] += 2 * samples[n] * cosine.at(n, k);
  }
  return lines;
}

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
  Lines window = long_block_window(stream.ics.window_sequence, state.previous_shape, stream.ics.window_shape);
  for (size_t i = 0; i < window.size(); ++i) {
    window[i] *= kLtpGain[stream.ltp.coefficient] * past[2 * kFrameLength - stream.ltp.lag + i];
  }
  Lines predicted = forward_transform(window);
  shape(stream, format, false, predicted);
  for_bands(stream.ics, format, [&](int band, int, int first, int width) {
    if (band >= kMaxLtpBands || !stream.ltp.long_used[band]) return;
    for (auto k = static_cast<size_t>(first); k < static_cast<size_t>(first + width); ++k) {
      spectrum[k] += predicted[k];
    }
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
    if (ics.is_short()) {
      add_short_windows(spectra[c], state.previous_shape, ics.window_shape, block);
    } else {
      block = inverse_transform(spectra[c]);
      const Lines window = long_block_window(ics.window_sequence, state.previous_shape, ics.window_shape);
      for (size_t n = 0; n < block.size(); ++n) block[n] *= window[n];
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

}  // namespace zdr::aacdec::test
