// Dequantises in three ranges: small values from a table of results, values below 256 from the table of
// powers, larger ones by interpolation between its entries.
#include "aacdec/core/dequantiser.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

#include "aacdec/fixed/fixed_point.h"
#include "aacdec/tables/power_law_table.h"

namespace zdr::aacdec {
namespace {

constexpr int kTabulatedPowers = kPowerLawEntries - 1;
// The scale factor at which a value of 1 becomes 2^14: the Q19 power shifted right by 5.
constexpr int kUnityScaleFactor = 144;
constexpr int kPowerLawShift = 5;
// For values of 256 and more: the scale factor that corresponds to a shift of 0 when the shift is checked
// against kLargestShift.
constexpr int kLargeUnityScaleFactor = 108;
constexpr int kLargestShift = 31;

constexpr int kTabulatedScaleFactors = 256;  // all that an undamaged stream uses
constexpr int kTabulatedValues = 16;         // 0 to 15 and their negatives

struct SmallValueTable {
  alignas(64) int32_t value[kTabulatedScaleFactors][2 * kTabulatedValues];
};

constexpr SmallValueTable make_small_value_table() {
  SmallValueTable table = {};
  for (int sf = 0; sf < kTabulatedScaleFactors; ++sf) {
    for (int q = 0; q < kTabulatedValues; ++q) {
      const int32_t value =
          scale_by_quarter_steps(kPowerLaw.value[q] >> kPowerLawShift, sf - kUnityScaleFactor);
      table.value[sf][kTabulatedValues + q] = value;
      table.value[sf][kTabulatedValues - q] = -value;
    }
  }
  return table;
}

// Dequantised q at [scale factor][kTabulatedValues + q]; covers nearly every value of a stream.
constexpr SmallValueTable kSmallValues = make_small_value_table();

// q^(4/3) in Q14 for q of 256 and more, up to 2^31.4: (2^s q')^(4/3) is 2^(4s/3) q'^(4/3), with linear
// interpolation between the entries of the table.
int64_t interpolated_power(int q) {
  const auto shift = static_cast<int>(std::bit_width(static_cast<unsigned>(q) >> 8));
  const int index = q >> shift;
  const int rest = q & ((1 << shift) - 1);
  const int64_t low = kPowerLaw.value[index];
  const int64_t step = kPowerLaw.value[index + 1] - low;
  return (low + (rest * step >> shift)) * kPowerLaw.value[1 << shift] >> 24;
}

// Like scale_by_quarter_steps(), for a number that may need one bit more than the word has.
int32_t scale_large(int64_t v, int exponent) {
  const int shift = exponent > 0 ? (exponent + 3) / 4 : -exponent / 4;
  if (shift > kLargestShift) return 0;
  const int32_t shifted = saturate(exponent > 0 ? v << shift : v >> shift);
  const int steps = -exponent & 3;
  return steps == 0 ? shifted : mul_q31(shifted, kQuarterSteps[steps]);
}

int32_t dequantise_magnitude(int q, int scale_factor) {
  const int exponent = scale_factor - kUnityScaleFactor;
  if (q < kTabulatedPowers) return scale_by_quarter_steps(kPowerLaw.value[q] >> kPowerLawShift, exponent);
  if (scale_factor - kLargeUnityScaleFactor > 4 * kLargestShift) return 0;
  return scale_large(interpolated_power(q), exponent);
}

int32_t with_sign(int32_t v, int q) {
  return q < 0 ? -v : v;
}

// Returns the OR of the magnitudes of a run.
unsigned combined_magnitudes(const int16_t* quantised, int count) {
  unsigned bits = 0;
  for (int i = 0; i < count; ++i) bits |= static_cast<unsigned>(std::abs(int{quantised[i]}));
  return bits;
}

// True if all values of the band are below kTabulatedValues: without pulses, the other codebooks reach at
// most 12.
bool is_small(const ChannelStream& channel, int band) {
  constexpr int kEscapeBook = 11;
  return channel.codebook[band] != kEscapeBook && !channel.pulse.present;
}

// `count` is a multiple of 4, as all widths of bands are.
void dequantise_small(const int16_t* quantised, int count, const int32_t* table, int32_t* lines) {
  const int32_t* values = table + kTabulatedValues;
  for (int i = 0; i < count; i += 4) {
    const int32_t four[] = {values[quantised[i]], values[quantised[i + 1]], values[quantised[i + 2]],
                            values[quantised[i + 3]]};
    std::copy_n(four, 4, lines + i);
  }
}

// Values below kTabulatedPowers: scale_by_quarter_steps() with everything that depends on the scale factor
// alone outside of the loop.
void dequantise_tabulated(const int16_t* quantised, int count, int scale_factor, int32_t* lines) {
  const int exponent = scale_factor - kUnityScaleFactor;
  const int left = exponent > 0 ? (exponent + 3) / 4 : 0;
  const int right = exponent > 0 ? 0 : -exponent / 4;
  const int steps = -exponent & 3;
  if (left >= 32 || right >= 32) {
    std::fill_n(lines, count, 0);
    return;
  }
  for (int i = 0; i < count; ++i) {
    const int q = quantised[i];
    const int64_t power = kPowerLaw.value[std::abs(q)] >> kPowerLawShift;
    const auto shifted = static_cast<int32_t>(std::min<int64_t>(power << left, kInt32Max) >> right);
    lines[i] = with_sign(steps == 0 ? shifted : mul_q31(shifted, kQuarterSteps[steps]), q);
  }
}

// `bits` is the OR of the magnitudes, or 0 if the codebook keeps them small.
bool dequantise_any(const int16_t* quantised, int count, int scale_factor, unsigned bits, int32_t* lines) {
  static_assert(std::has_single_bit(kMaxQuantised + 1U));
  if (bits > kMaxQuantised) return false;
  if (bits < kTabulatedPowers) {
    dequantise_tabulated(quantised, count, scale_factor, lines);
    return true;
  }
  // A scale factor that shifts large values out of the word silences the whole band.
  if (scale_factor - kLargeUnityScaleFactor > 4 * kLargestShift) {
    std::fill_n(lines, count, 0);
    return true;
  }
  for (int i = 0; i < count; ++i) lines[i] = dequantise_value(quantised[i], scale_factor);
  return true;
}

// One band of one window.
bool dequantise_run(const ChannelStream& channel, int band, const int16_t* quantised, int count,
                    int32_t* lines) {
  const int scale_factor = channel.scale[band];
  const unsigned bits = is_small(channel, band) ? 0 : combined_magnitudes(quantised, count);
  if (bits < kTabulatedValues && scale_factor >= 0 && scale_factor < kTabulatedScaleFactors) {
    dequantise_small(quantised, count, kSmallValues.value[scale_factor], lines);
    return true;
  }
  return dequantise_any(quantised, count, scale_factor, bits, lines);
}

// One band of all windows of a group: runs that follow each other in `quantised` and are `window_length`
// apart in `lines`.
bool dequantise_band(const ChannelStream& channel, int band, const int16_t* quantised, int width, int windows,
                     int32_t* lines) {
  const int window_length = channel.ics.window_length();
  for (int w = 0; w < windows; ++w, quantised += width, lines += window_length) {
    if (!is_spectral_book(channel.codebook[band])) {
      std::fill_n(lines, width, 0);
    } else if (!dequantise_run(channel, band, quantised, width, lines)) {
      return false;
    }
  }
  return true;
}

}  // namespace

int32_t dequantise_value(int q, int scale_factor) {
  return with_sign(dequantise_magnitude(std::abs(q), scale_factor), q);
}

bool dequantise(const ChannelStream& channel, const ScaleFactorBands& bands, const int16_t* quantised,
                int32_t* spectrum) {
  const IcsInfo& ics = channel.ics;
  for (int group = 0; group < ics.group_count; ++group) {
    const int windows = ics.group_length[group];
    for (int sfb = 0; sfb < ics.max_sfb; ++sfb) {
      const int start = bands.offsets[sfb];
      const int width = bands.offsets[sfb + 1] - start;
      if (!dequantise_band(channel, ics.band(group, sfb), quantised + start * windows, width, windows,
                           spectrum + start)) {
        return false;
      }
    }
    const int coded = bands.offsets[ics.max_sfb];
    quantised += windows * ics.window_length();
    for (int w = 0; w < windows; ++w, spectrum += ics.window_length()) {
      std::fill(spectrum + coded, spectrum + ics.window_length(), 0);
    }
  }
  return true;
}

}  // namespace zdr::aacdec
